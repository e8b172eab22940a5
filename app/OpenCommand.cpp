// vesk open: makes a folder the vault, and arranges it where the user asks for that.

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/Arrangement.h"
#include "app/Commands.h"
#include "app/CurrentVault.h"
#include "app/Terminal.h"
#include "core/base/Error.h"
#include "core/base/Language.h"
#include "core/base/Text.h"
#include "core/platform/Environment.h"
#include "core/platform/FileError.h"
#include "core/vault/Vault.h"

namespace vesk::app {

namespace {

namespace fs = std::filesystem;
using Method = Organization::Method;

struct Options {
  std::string folder = {};
  std::string method = {};    // "" leaves the vault as it is
  std::string language = {};  // "" is the user's own
};

// The real path of the folder that was typed.
std::string vaultFolder(const std::string& typed) {
  std::error_code failure;
  const fs::path real = fs::canonical(typed, failure);
  if (failure == std::errc::no_such_file_or_directory)
    throw Error(fmt::format("There is no folder {}. Create it first, then open it.", typed));
  if (failure) throw FileError("open", typed, failure.value());
  if (!fs::is_directory(real)) throw Error(fmt::format("{} is not a folder.", typed));
  if (!text::isValidUtf8(real.native())) throw Error(fmt::format("The path {} is not UTF-8 text.", real.native()));
  return real;
}

// Arranges a vault that nothing was chosen for so far; no note is moved.
void arrange(const Vault& vault, Method method, Language language) {
  if (method != Method::para) return vault.adopt(organizationFor(vault, method, language), {});
  vault.createStructure({}, {});
  vault.save(Organization::para());
}

// Moves what the old places hold to the new ones.
void rearrange(const Vault& vault, const Organization& target) {
  const OrganizationChange change = vault.planChange(target);
  const std::vector<std::string> changedMeanwhile = carryOut(vault, change);
  const auto stays = [&](const std::string& path) { return std::ranges::count(changedMeanwhile, path) > 0; };
  for (const auto& [from, to] : change.moves)
    if (!stays(from)) print("moved: {} → {}\n", safe(from), safe(to));
  for (const std::string& path : change.collisions)
    print("stays: {} (something of that name is there already)\n", safe(path));
  for (const std::string& path : changedMeanwhile) print("stays: {} (it changed meanwhile)\n", safe(path));
}

void organize(const Vault& vault, Method method, Language language) {
  const auto current = vault.organization();
  if (!current) return arrange(vault, method, language);
  if (current->method == method) return print("It is organized by {} already; nothing was moved.\n", name(method));
  rearrange(vault, organizationFor(vault, method, language));
}

void report(const Vault& vault, const Terminal& terminal) {
  print("Opened {}\n", styled(safe(vault.root()), Style::strong, terminal));
  print("  {} in {}\n", counted(vault.scan().notes.size(), "note"), counted(vault.folders().size(), "folder"));
  print("  {}\n\n", safe(describe(vault.organization())));
  print("What an assistant may do is yours to say:\n  vesk access\n");
  print("Connect one, once (claude-desktop and codex work likewise):\n  vesk connect claude-code\n");
}

void open(const Options& options) {
  const Vault vault(vaultFolder(options.folder));
  vault.folders();  // refuses a folder that can't be read, before anything is changed
  vault.prepare();
  if (const auto method = methodNamed(options.method))
    organize(vault, *method, languageNamed(options.language).value_or(environment::language()));
  changeAccess([&](AIAccess& access) { access.vaultPath = vault.root(); });
  report(vault, Terminal::ofStandardOutput());
}

}  // namespace

void addOpenCommand(CLI::App& program) {
  const auto options = std::make_shared<Options>();
  CLI::App* command = program.add_subcommand("open", "Make a folder of Markdown notes the vault.");
  command->add_option("FOLDER", options->folder, "The folder; it has to exist.")->required();
  CLI::Option* method =
      command->add_option("--method", options->method, "Arrange it by a method: vesk, para, ideas or custom.")
          ->check(CLI::IsMember(methodNames()));
  command->add_option("--language", options->language, "The language of the method's folders: en, pt or es.")
      ->check(CLI::IsMember({"en", "pt", "es"}))
      ->needs(method);
  command->callback([options] { open(*options); });
}

}  // namespace vesk::app
