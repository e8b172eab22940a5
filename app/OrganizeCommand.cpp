// vesk organize: how the vault is arranged, and the switch to another method.

#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/Arrangement.h"
#include "app/Commands.h"
#include "app/CurrentVault.h"
#include "app/Question.h"
#include "app/Table.h"
#include "app/Terminal.h"
#include "core/base/Json.h"
#include "core/base/Text.h"
#include "core/platform/Environment.h"

namespace vesk::app {

namespace {

using Method = Organization::Method;
using Place = Organization::Place;

struct Options {
  std::string method = {};    // "" shows the one there is
  std::string language = {};  // "" is the user's own
  bool yes = false;
  bool asJson = false;
};

// ---- What there is

// The notes below a top-level folder; nullopt while it is not made.
std::optional<std::size_t> noteCount(const std::vector<FolderSummary>& folders, std::string_view place) {
  std::optional<std::size_t> count;
  for (const FolderSummary& folder : folders)
    if (text::equalIgnoringCase(folder.path.substr(0, folder.path.find('/')), place))
      count = count.value_or(0) + folder.notes;
  return count;
}

Json toJson(const std::vector<Place>& places, const std::vector<FolderSummary>& folders) {
  Json::Array entries;
  for (const auto& [role, folder] : places) {
    Json entry = Json::Object{{"folder", folder}, {"role", bucket::name(role)}};
    entry["notes"] = noteCount(folders, folder).value_or(0);
    entries.push_back(std::move(entry));
  }
  return entries;
}

std::string toText(const std::vector<Place>& places, const std::vector<FolderSummary>& folders) {
  constexpr std::size_t folderName = 0;
  Table table(folderName);
  for (const auto& [role, folder] : places) {
    const auto notes = noteCount(folders, folder);
    table.add({{folder, Style::strong},
               {std::string(bucket::name(role)), Style::faint},
               {notes ? counted(*notes, "note") : "not made yet", Style::plain}});
  }
  return table.text(Terminal::ofStandardOutput());
}

void show(const Vault& vault, bool asJson) {
  const auto organization = vault.organization();
  const auto places = organization.value_or(Organization::para()).places;
  const auto folders = vault.folders();
  if (asJson) {
    Json json;
    json["method"] = organization ? Json(name(organization->method)) : Json();
    json["places"] = toJson(places, folders);
    return print("{}\n", json.pretty());
  }
  print("Organized by {}\n", organization ? name(organization->method) : "no method so far, read as para");
  print("{}", toText(places, folders));
  print("To see what another would move: vesk organize METHOD ({})\n", text::join(methodNames(), ", "));
}

// ---- The switch

// What the user asks for; to what the vault is already when that is it.
OrganizationChange wantedChange(const Vault& vault, const std::optional<Organization>& current,
                                const Options& options) {
  const Method method = methodNamed(options.method).value();
  // Without a word on the language, folders keep the one they have.
  if (current && current->method == method && options.language.empty()) return {.target = *current};
  const Language language = languageNamed(options.language).value_or(environment::language());
  Organization target = organizationFor(vault, method, language);
  // Such a vault is read as PARA, folders like "01 - Projects" included: to say so moves nothing.
  if (!current && method == Method::para) return {.target = std::move(target)};
  return vault.planChange(target);
}

void showPaths(std::string_view heading, const std::vector<std::string>& lines) {
  if (lines.empty()) return;
  print("{} ({})\n", heading, lines.size());
  for (const std::string& line : lines) print("  {}\n", safe(line));
}

void showPlan(const OrganizationChange& change, const std::optional<Organization>& current) {
  std::vector<std::string> moves;
  for (const auto& [from, to] : change.moves) moves.push_back(fmt::format("{} → {}", from, to));
  print("From {}\n  to {}\n", safe(describe(current)), safe(describe(change.target)));
  if (moves.empty()) print("Nothing moves.\n");
  showPaths("Moves", moves);
  showPaths("Stays, as something of that name is there already", change.collisions);
}

Json toJson(const OrganizationChange& change, const std::vector<std::string>& changedMeanwhile, bool isDone) {
  Json::Array moves;
  for (const auto& [from, to] : change.moves)
    if (std::ranges::count(changedMeanwhile, from) == 0) moves.push_back(Json::Object{{"from", from}, {"to", to}});
  Json::Array stay(change.collisions.begin(), change.collisions.end());
  stay.insert(stay.end(), changedMeanwhile.begin(), changedMeanwhile.end());
  Json json;
  json["method"] = name(change.target.method);
  json["moves"] = std::move(moves);
  json["stay"] = std::move(stay);
  json["done"] = isDone;
  return json;
}

// The command that was typed, with the answer that nobody can be asked for.
std::string withYes(const Options& options) {
  const std::string language = options.language.empty() ? "" : fmt::format(" --language {}", options.language);
  return fmt::format("vesk organize {}{} --yes", options.method, language);
}

void organize(const Options& options) {
  const Vault vault = currentVault();
  if (options.method.empty()) return show(vault, options.asJson);
  const auto current = vault.organization();
  const OrganizationChange change = wantedChange(vault, current, options);
  const bool isSo = current == change.target;
  if (options.asJson) {
    const auto changedMeanwhile = options.yes && !isSo ? carryOut(vault, change) : std::vector<std::string>();
    return print("{}\n", toJson(change, changedMeanwhile, isSo || options.yes).pretty());
  }
  if (isSo) return print("It is organized by {} already.\n", options.method);
  showPlan(change, current);
  if (!options.yes && !canAsk()) return print("To carry this out: {}\n", withYes(options));
  if (!options.yes && !isConfirmed(fmt::format("Switch to {}? (y/n)", options.method)))
    return print("Nothing was changed.\n");
  showPaths("Stays, as it changed meanwhile", carryOut(vault, change));
  print("It is organized by {} now.\n", options.method);
}

}  // namespace

void addOrganizeCommand(CLI::App& program) {
  const auto options = std::make_shared<Options>();
  CLI::App* command = program.add_subcommand("organize", "Show how the vault is arranged, or arrange it by a method.");
  CLI::Option* method =
      command
          ->add_option("METHOD", options->method,
                       "What to switch to; what moves is shown first. For example: vesk organize ideas")
          ->check(CLI::IsMember(methodNames()));
  command->add_option("--language", options->language, "The language of the method's folders: en, pt or es.")
      ->check(CLI::IsMember({"en", "pt", "es"}))
      ->needs(method);
  command->add_flag("--yes", options->yes, "Don't ask.")->needs(method);
  command->add_flag("--json", options->asJson, "Write JSON.");
  command->callback([options] { organize(*options); });
}

}  // namespace vesk::app
