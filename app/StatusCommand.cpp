// vesk status: which vault is open, what is in it, and what assistants may do.

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/Commands.h"
#include "app/CurrentVault.h"
#include "app/Table.h"
#include "app/ToolServer.h"
#include "core/base/Json.h"
#include "core/base/Text.h"
#include "core/platform/Environment.h"
#include "core/tasks/TaskTally.h"
#include "core/toolserver/Proposal.h"

namespace vesk::app {

namespace {

struct Status {
  std::string vault = {};
  std::optional<Organization> organization = {};
  std::size_t notes = 0;
  std::size_t unsorted = 0;
  std::size_t folders = 0;
  std::size_t tags = 0;
  std::size_t waiting = 0;  // changes that the user is to approve
  AIAccess access = {};
};

std::size_t foldersBelow(const FolderNode& folder) {
  std::size_t count = folder.folders.size();
  for (const FolderNode& below : folder.folders) count += foldersBelow(below);
  return count;
}

Status currentStatus() {
  const Vault vault = currentVault();
  TaskTally tasks;
  const VaultSnapshot snapshot = vault.survey({.takesApart = [&](const NoteFile& file) {
    tasks.add(file);
    return true;
  }});
  return {.vault = vault.root(),
          .organization = vault.organization(),
          .notes = snapshot.notes.size(),
          .unsorted = snapshot.unsorted(tasks.noteNames()).size(),
          .folders = foldersBelow(snapshot.root),
          .tags = snapshot.tags().size(),
          .waiting = ProposalStore(environment::supportDirectory()).all().size(),
          .access = currentAccess()};
}

std::vector<std::string> switchesOn(const AIAccess& access) {
  std::vector<std::string> names;
  for (const AccessSwitch& each : accessSwitches())
    if (access.*each.value) names.emplace_back(each.name);
  return names;
}

Json toJson(const Status& status) {
  Json::Array places;
  if (status.organization)
    for (const auto& [role, folder] : status.organization->places)
      places.push_back(Json::Object{{"folder", folder}, {"role", bucket::name(role)}});
  const auto on = switchesOn(status.access);
  Json json;
  json["vault"] = status.vault;
  json["method"] = status.organization ? Json(name(status.organization->method)) : Json();
  json["places"] = std::move(places);
  json["notes"] = status.notes;
  json["unsorted"] = status.unsorted;
  json["folders"] = status.folders;
  json["tags"] = status.tags;
  json["waiting"] = status.waiting;
  json["level"] = name(status.access.approval);
  json["on"] = Json::Array(on.begin(), on.end());
  json["support_directory"] = environment::supportDirectory();
  json["tool_server"] = toolServerPath();
  return json;
}

std::string toText(const Status& status, const Terminal& terminal) {
  constexpr std::size_t none = 2;  // every line is shown whole
  Table table(none);
  const auto add = [&](const char* what, std::string value) {
    table.add({{what, Style::faint}, {std::move(value), Style::plain}});
  };
  const ApprovalLevel level = status.access.approval;
  add("Vault", status.vault);
  add("Method", describe(status.organization));
  add("Notes", fmt::format("{}, {} of them unsorted", status.notes, status.unsorted));
  add("Folders", fmt::format("{}", status.folders));
  add("Tags", fmt::format("{}", status.tags));
  if (status.waiting > 0)
    add("Waiting", fmt::format("{} for your approval: vesk review", counted(status.waiting, "change")));
  add("Level", fmt::format("{} ({})", name(level), label(level)));
  add("Switched on", text::join(switchesOn(status.access), ", "));
  add("Settings", environment::supportDirectory());
  add("Tool server", toolServerPath());
  return table.text(terminal);
}

}  // namespace

void addStatusCommand(CLI::App& program) {
  const auto asJson = std::make_shared<bool>(false);
  CLI::App* command = program.add_subcommand("status", "Show which vault is open and what is in it.");
  command->add_flag("--json", *asJson, "Write JSON.");
  command->callback([asJson] {
    const Status status = currentStatus();
    if (*asJson) return print("{}\n", toJson(status).pretty());
    print("{}", toText(status, Terminal::ofStandardOutput()));
  });
}

}  // namespace vesk::app
