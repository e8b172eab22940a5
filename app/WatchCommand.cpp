// vesk watch: tells of changes to the vault as they happen, until it is interrupted.

#include <csignal>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/Commands.h"
#include "app/CurrentVault.h"
#include "app/Terminal.h"
#include "core/base/Json.h"
#include "core/vault/VaultWatcher.h"

namespace vesk::app {

namespace {

// The signals that end the watching. Held back from every thread that is started after this, so that one can wait for
// them.
sigset_t holdBackInterrupts() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

std::string lineFor(const std::string& path, bool asJson) {
  return asJson ? Json(Json::Object{{"path", path}}).compact() : safe(path);
}

std::string lineForAll(bool asJson) {
  return asJson ? Json(Json::Object{{"whole_vault", true}}).compact() : "The whole vault may have changed.";
}

void tell(const std::vector<std::string>& paths, bool asJson) {
  if (paths.empty()) print("{}\n", lineForAll(asJson));
  for (const std::string& path : paths) print("{}\n", lineFor(path, asJson));
  flush();
}

void watch(bool asJson) {
  const Vault vault = currentVault();
  const sigset_t interrupts = holdBackInterrupts();
  const VaultWatcher watcher(vault.root(), [asJson](const std::vector<std::string>& paths) { tell(paths, asJson); });
  fmt::print(stderr, "Watching {} until you press Ctrl-C.\n", safe(vault.root()));
  int received = 0;
  sigwait(&interrupts, &received);
}

}  // namespace

void addWatchCommand(CLI::App& program) {
  const auto asJson = std::make_shared<bool>(false);
  CLI::App* command = program.add_subcommand("watch", "Tell of changes to the vault as they happen.");
  command->add_flag("--json", *asJson, "Write a line of JSON for each.");
  command->callback([asJson] { watch(*asJson); });
}

}  // namespace vesk::app
