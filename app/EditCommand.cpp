// vesk edit: a note in the user's own editor.

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/Commands.h"
#include "app/CurrentVault.h"
#include "app/NoteEdit.h"
#include "core/base/Error.h"
#include "core/base/Text.h"

namespace vesk::app {

namespace {

constexpr std::string_view noteEnding = ".md";

using IsName = std::function<bool(std::string_view name)>;

// The only note that has such a title or file name; "" when none has. Throws Error when several do.
std::string onlyNote(const VaultSnapshot& snapshot, const IsName& isMeant, std::string_view typed) {
  std::vector<std::string> paths;
  for (const NoteRef& note : snapshot.notes)
    if (isMeant(note->title) || isMeant(note->fileName())) paths.push_back(note->id);
  if (paths.size() > 1)
    throw Error(fmt::format("Several notes are named {}. Write the path of one: {}.", typed, text::join(paths, ", ")));
  return paths.empty() ? "" : paths.front();
}

// By its path, or by its title or file name, regardless of case unless one is written exactly like it. The ending may
// be left out of either.
std::string pathOfNote(const Vault& vault, const std::string& typed) {
  for (const std::string& path : {typed, typed + std::string(noteEnding)})
    if (vault.note(path)) return path;
  std::string_view name = typed;
  if (name.ends_with(noteEnding)) name.remove_suffix(noteEnding.size());
  const VaultSnapshot snapshot = vault.survey();
  const auto isExactly = [&](std::string_view each) { return each == name; };
  const auto isNearly = [&](std::string_view each) { return text::equalIgnoringCase(each, name); };
  for (const IsName& isMeant : {IsName(isExactly), IsName(isNearly)})
    if (std::string path = onlyNote(snapshot, isMeant, typed); !path.empty()) return path;
  throw Error(fmt::format("There is no note {0} in the vault. Look for it with vesk search {0}.", typed));
}

void edit(const std::vector<std::string>& words) {
  const Vault vault = currentVault();
  editNote(vault, pathOfNote(vault, text::join(words, " ")));
}

}  // namespace

void addEditCommand(CLI::App& program) {
  const auto words = std::make_shared<std::vector<std::string>>();
  CLI::App* command = program.add_subcommand("edit", "Open a note in your editor ($VISUAL or $EDITOR).");
  command->add_option("NOTE", *words, "Its path or its title. For example: vesk edit lemon tree")->required();
  command->callback([words] { edit(*words); });
}

}  // namespace vesk::app
