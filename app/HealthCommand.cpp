// vesk health: what makes the vault harder to trust.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/Commands.h"
#include "app/CurrentVault.h"
#include "app/Options.h"
#include "app/Terminal.h"
#include "core/base/Json.h"
#include "core/insights/ContextHealth.h"

namespace vesk::app {

namespace {

using Kind = ContextIssue::Kind;
using Issues = std::vector<ContextIssue>;

struct HealthOptions {
  std::size_t limit = unlimited;  // of each kind
  bool asJson = false;
};

struct Group {
  const char* heading = "";
  const char* hint = "";  // how to mend it
  Kind kind = Kind::brokenLink;
  bool saysAll = false;  // what a finding's own sentence would repeat
};

constexpr Group groups[] = {
    {.heading = "Broken links", .kind = Kind::brokenLink},
    {.heading = "Possible duplicates", .kind = Kind::duplicate},
    {.heading = "Projects with no context",
     .hint = "To write one: vesk context PROJECT --edit",
     .kind = Kind::missingContext},
    {.heading = "Not touched in 6 months", .kind = Kind::stale},
    {.heading = "Empty notes", .kind = Kind::empty, .saysAll = true},
    {.heading = "Not connected to anything", .kind = Kind::isolated, .saysAll = true},
};

Issues issuesOf(Kind kind, const Issues& all) {
  Issues issues;
  std::ranges::copy_if(all, std::back_inserter(issues), [&](const ContextIssue& issue) { return issue.kind == kind; });
  return issues;
}

Json toJson(const Issues& issues, std::size_t limit) {
  Json::Array entries;
  Json::Object counts;
  for (const Group& group : groups) {
    Issues some = issuesOf(group.kind, issues);
    counts[std::string(name(group.kind))] = some.size();
    some.resize(std::min(some.size(), limit));
    for (const ContextIssue& issue : some)
      entries.push_back(Json::Object{{"kind", name(issue.kind)},
                                     {"path", issue.path},
                                     {"title", issue.title},
                                     {"is_folder", issue.isFolder},
                                     {"detail", issue.detail}});
  }
  return Json::Object{{"issues", std::move(entries)}, {"counts", std::move(counts)}, {"total", issues.size()}};
}

// The path and what was found, in one line where they fit into it.
void printIssue(const ContextIssue& issue, bool withDetail, const Terminal& terminal) {
  constexpr std::size_t indent = 2;
  const std::string path = safe(issue.path);
  print("{:{}}{}", "", indent, path);
  if (!withDetail) return print("\n");
  const std::string detail = safe(issue.detail);
  const bool fits = !terminal.width || columns(path) + columns(detail) + 2 * indent <= *terminal.width;
  const std::string rest = fits ? "  " + detail : "\n" + wrapped(detail, 3 * indent, terminal);
  print("{}\n", styled(rest, Style::faint, terminal));
}

void printGroup(const Group& group, const Issues& issues, std::size_t limit, const Terminal& terminal) {
  if (issues.empty()) return;
  print("\n{} ({})\n", styled(group.heading, Style::strong, terminal), issues.size());
  for (std::size_t i = 0; i < std::min(limit, issues.size()); ++i) printIssue(issues[i], !group.saysAll, terminal);
  if (limit < issues.size()) print("  and {} more\n", issues.size() - limit);
  if (*group.hint) print("  {}\n", styled(group.hint, Style::faint, terminal));
}

void showHealth(const HealthOptions& options) {
  const Issues issues = ContextHealth::check(currentVault(), std::chrono::system_clock::now());
  if (options.asJson) return print("{}\n", toJson(issues, options.limit).pretty());
  if (issues.empty()) return print("All is well: every link leads somewhere, and no note is double, old or empty.\n");
  print("{} worth a look.\n", counted(issues.size(), "finding"));
  const Terminal terminal = Terminal::ofStandardOutput();
  for (const Group& group : groups) printGroup(group, issuesOf(group.kind, issues), options.limit, terminal);
}

}  // namespace

void addHealthCommand(CLI::App& program) {
  const auto options = std::make_shared<HealthOptions>();
  CLI::App* command = program.add_subcommand("health", "Find broken links, duplicates, and notes that are in neglect.");
  command->add_option("--limit", options->limit, "At most so many of each kind.")->check(positive());
  command->add_flag("--json", options->asJson, "Write JSON.");
  command->callback([options] { showHealth(*options); });
}

}  // namespace vesk::app
