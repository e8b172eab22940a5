// vesk query: the notes that meet conditions.

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/Commands.h"
#include "app/CurrentVault.h"
#include "app/NoteRows.h"
#include "app/Options.h"
#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/insights/VaultQuery.h"

namespace vesk::app {

namespace {

void requireFolder(const Vault& vault, const std::string& path) {
  const auto isMeant = [&](const FolderSummary& folder) { return text::equalIgnoringCase(folder.path, path); };
  if (std::ranges::none_of(vault.folders(), isMeant))
    throw Error(fmt::format("There is no folder {} in the vault.", path));
}

void query(const std::vector<std::string>& lines, bool asJson) {
  VaultQuery query = VaultQuery::parse(text::join(lines, "\n"));
  const std::size_t limit = std::exchange(query.limit, std::nullopt).value_or(unlimited);  // JSON tells the total, too
  const Vault vault = currentVault();
  for (const std::string& folder : query.folders) requireFolder(vault, folder);
  printNotes(run(query, vault), limit, asJson);
}

}  // namespace

void addQueryCommand(CLI::App& program) {
  const auto lines = std::make_shared<std::vector<std::string>>();
  const auto asJson = std::make_shared<bool>(false);
  CLI::App* command = program.add_subcommand("query", "List the notes that meet conditions.");
  command
      ->add_option("LINES", *lines,
                   "folder:, tag: and text:, each as often as you like; sort: (modified, created or title) and limit:. "
                   "For example: vesk query tag:garden \"text:lemon tree\" sort:title")
      ->required();
  command->add_flag("--json", *asJson, "Write JSON.");
  command->callback([lines, asJson] { query(*lines, *asJson); });
}

}  // namespace vesk::app
