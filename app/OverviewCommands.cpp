// vesk overview, projects, areas and topics: how the vault's collections are doing.

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/Commands.h"
#include "app/CurrentVault.h"
#include "app/DayChart.h"
#include "app/Days.h"
#include "app/Options.h"
#include "app/Table.h"
#include "app/Terminal.h"
#include "core/base/Calendar.h"
#include "core/base/Json.h"
#include "core/base/Time.h"
#include "core/insights/Insights.h"

namespace vesk::app {

namespace {

using Collections = std::vector<CollectionSummary>;

// What days and quiet times are counted by.
struct Clock {
  Timestamp now = std::chrono::system_clock::now();
  Calendar calendar = Calendar::ofSystem();

  Day today() const { return calendar.day(now); }
};

bool isProject(const CollectionSummary& collection) { return collection.folder.bucket == Bucket::projects; }

Json entryOf(const CollectionSummary& collection, const Clock& clock) {
  Json entry;
  entry["path"] = collection.folder.id;
  entry["name"] = collection.folder.name;
  if (isProject(collection)) entry["status"] = name(collection.status(clock.now, clock.calendar));
  entry["notes"] = collection.noteCount();
  entry["open_tasks"] = collection.openTaskCount;
  entry["done_tasks"] = collection.doneTasks;
  if (collection.lastActivity) entry["last_activity"] = time::iso8601(*collection.lastActivity);
  if (const auto days = collection.daysQuiet(clock.now, clock.calendar)) entry["days_quiet"] = *days;
  return entry;
}

// Of the first `limit`.
Json::Array entriesOf(const Collections& collections, std::size_t limit, const Clock& clock) {
  Json::Array entries;
  for (std::size_t i = 0; i < std::min(limit, collections.size()); ++i)
    entries.push_back(entryOf(collections[i], clock));
  return entries;
}

std::string describeTasks(const CollectionSummary& collection) {
  if (collection.totalTasks() == 0) return "no tasks";
  return fmt::format("{} open, {} done", collection.openTaskCount, collection.doneTasks);
}

std::string describeQuiet(const CollectionSummary& collection, const Clock& clock) {
  const auto days = collection.daysQuiet(clock.now, clock.calendar);
  if (!days) return "no notes";
  return *days == 0 ? "changed today" : fmt::format("quiet for {}", counted(static_cast<std::size_t>(*days), "day"));
}

Table::Cell statusCell(const CollectionSummary& collection, const Clock& clock) {
  const ProjectStatus status = collection.status(clock.now, clock.calendar);
  constexpr std::array styles = {Style::plain, Style::bad, Style::good};
  return {std::string(name(status)), styles[static_cast<std::size_t>(status)]};
}

// ---- projects, areas and topics

struct ListOptions {
  std::size_t limit = unlimited;
  bool asJson = false;
};

std::string toText(const Collections& collections, const Clock& clock) {
  constexpr std::size_t nameColumn = 0;
  Table table(nameColumn);
  for (const CollectionSummary& collection : collections) {
    std::vector<Table::Cell> row = {{collection.folder.name, Style::strong}};
    if (isProject(collection)) row.push_back(statusCell(collection, clock));
    row.push_back({counted(collection.noteCount(), "note")});
    row.push_back({describeTasks(collection)});
    row.push_back({shownTime(collection.lastActivity.value_or(distantPast), clock.calendar), Style::faint});
    table.add(std::move(row));
  }
  return table.text(Terminal::ofStandardOutput());
}

// `nouns` is also the key that JSON has them under.
void listCollections(Bucket role, const std::string& nouns, const ListOptions& options) {
  const Clock clock;
  Collections collections = Insights::collections(role, currentVault().scan());
  if (options.asJson) {
    const Json json =
        Json::Object{{nouns, entriesOf(collections, options.limit, clock)}, {"total", collections.size()}};
    return print("{}\n", json.pretty());
  }
  if (collections.empty()) fmt::print(stderr, "There are no {} in this vault.\n", nouns);
  collections.resize(std::min(collections.size(), options.limit));
  print("{}", toText(collections, clock));
}

void addListCommand(CLI::App& program, Bucket role, const std::string& nouns, const std::string& help) {
  const auto options = std::make_shared<ListOptions>();
  CLI::App* command = program.add_subcommand(nouns, help);
  command->add_option("--limit", options->limit, "At most so many.")->check(positive());
  command->add_flag("--json", options->asJson, "Write JSON.");
  command->callback([role, nouns, options] { listCollections(role, nouns, *options); });
}

// ---- overview

struct Overview {
  std::size_t notes = 0;
  std::size_t unsorted = 0;
  Collections stalled = {};
  Collections quiet = {};
  Day review = {};
  std::vector<DayCount> saved = {};
  Collections projects = {};
};

Overview overviewOf(const Vault& vault, const Clock& clock) {
  constexpr int days = 15;
  TaskTally tasks;
  const VaultSnapshot snapshot = vault.survey({.takesApart = tallyingFilter(tasks), .readsCreationDates = true});
  return {.notes = snapshot.notes.size(),
          .unsorted = snapshot.unsorted(tasks.noteNames()).size(),
          .stalled = Insights::stalledProjects(snapshot, tasks, clock.now, clock.calendar),
          .quiet = Insights::untouchedAreas(snapshot, tasks, clock.now, clock.calendar),
          .review = Insights::nextReview(clock.now, clock.calendar),
          .saved = Insights::savedPerDay(snapshot, days, clock.now, clock.calendar),
          .projects = Insights::collections(Bucket::projects, snapshot, tasks)};
}

Json toJson(const Overview& overview, std::size_t limit, const Clock& clock) {
  Json::Object saved;
  for (const DayCount& day : overview.saved) saved[time::isoDay(day.day)] = day.count;
  return Json::Object{{"notes", overview.notes},
                      {"waiting_in_inbox", overview.unsorted},
                      {"stalled_projects", entriesOf(overview.stalled, limit, clock)},
                      {"stalled_projects_total", overview.stalled.size()},
                      {"quiet_areas", entriesOf(overview.quiet, limit, clock)},
                      {"quiet_areas_total", overview.quiet.size()},
                      {"next_review", time::isoDay(overview.review)},
                      {"notes_saved_per_day", std::move(saved)},
                      {"projects", entriesOf(overview.projects, limit, clock)},
                      {"projects_total", overview.projects.size()}};
}

std::string repeated(std::string_view text, std::size_t count) {
  std::string all;
  for (; count > 0; --count) all += text;
  return all;
}

// Full only when all is done.
std::string progressBar(const CollectionSummary& collection) {
  constexpr std::size_t width = 20;
  if (collection.totalTasks() == 0) return "";
  const std::size_t filled = width * collection.doneTasks / collection.totalTasks();
  return repeated("█", filled) + repeated("░", width - filled);
}

// A heading, and the first `limit` of the collections in columns; nothing when there are none.
template <typename CellsOf>
void printSection(std::string_view heading, const Collections& collections, std::size_t limit, CellsOf cellsOf) {
  if (collections.empty()) return;
  const Terminal terminal = Terminal::ofStandardOutput();
  constexpr std::size_t nameColumn = 1;
  Table table(nameColumn);
  for (std::size_t i = 0; i < std::min(limit, collections.size()); ++i) {
    std::vector<Table::Cell> row = {{}, {collections[i].folder.name}};  // the empty cell indents
    for (Table::Cell& cell : cellsOf(collections[i])) row.push_back(std::move(cell));
    table.add(std::move(row));
  }
  print("\n{}\n{}", styled(heading, Style::strong, terminal), table.text(terminal));
  if (limit < collections.size()) print("  and {} more\n", collections.size() - limit);
}

void printSaved(const std::vector<DayCount>& days) {
  const Terminal terminal = Terminal::ofStandardOutput();
  std::size_t sum = 0;
  for (const DayCount& day : days) sum += day.count;
  const std::string heading = fmt::format("Saved in the last {} days", days.size());
  print("\n{}\n", styled(heading, Style::strong, terminal));
  if (sum == 0) return print("  no notes\n");
  print("{}", dayChart(days, terminal));
}

// "today", "tomorrow" or "in 3 days".
std::string distance(Day day, Day today) {
  const auto days = (std::chrono::sys_days(day) - std::chrono::sys_days(today)).count();
  if (days == 0) return "today";
  return days == 1 ? "tomorrow" : fmt::format("in {} days", days);
}

void printOverview(const Overview& overview, std::size_t limit, const Clock& clock) {
  const auto quiet = [&](const CollectionSummary& collection) {
    return std::vector<Table::Cell>{{describeQuiet(collection, clock)}};
  };
  const auto progress = [&](const CollectionSummary& project) {
    return std::vector<Table::Cell>{
        {progressBar(project)}, {describeTasks(project)}, {describeQuiet(project, clock), Style::faint}};
  };
  print("{}\n\n", styled(longDay(clock.today()), Style::strong, Terminal::ofStandardOutput()));
  if (overview.unsorted == 0) print("Nothing waits to be sorted.\n");
  if (overview.unsorted > 0)
    print("{} {} to be sorted: vesk notes --unsorted\n", counted(overview.unsorted, "note"),
          overview.unsorted == 1 ? "waits" : "wait");
  print("The next review is {}, {}.\n", distance(overview.review, clock.today()), longDay(overview.review));
  printSection("Stalled projects", overview.stalled, limit, quiet);
  printSection(fmt::format("Areas you haven't touched in {} days", Insights::untouchedAfterDays), overview.quiet, limit,
               quiet);
  printSaved(overview.saved);
  printSection("Projects", overview.projects, limit, progress);
}

void showOverview(const ListOptions& options) {
  const Clock clock;
  const Overview overview = overviewOf(currentVault(), clock);
  if (options.asJson) return print("{}\n", toJson(overview, options.limit, clock).pretty());
  printOverview(overview, options.limit, clock);
}

}  // namespace

void addOverviewCommand(CLI::App& program) {
  const auto options = std::make_shared<ListOptions>();
  CLI::App* command = program.add_subcommand("overview", "Show how projects and areas are doing, and what waits.");
  command->add_option("--limit", options->limit, "At most so many projects and areas in each list.")->check(positive());
  command->add_flag("--json", options->asJson, "Write JSON.");
  command->callback([options] { showOverview(*options); });
}

void addProjectsCommand(CLI::App& program) {
  addListCommand(program, Bucket::projects, "projects", "List the projects, with their status and tasks.");
}

void addAreasCommand(CLI::App& program) {
  addListCommand(program, Bucket::areas, "areas", "List the areas, with their tasks and last activity.");
}

void addTopicsCommand(CLI::App& program) {
  addListCommand(program, Bucket::resources, "topics", "List the topics, the folders of the resources.");
}

}  // namespace vesk::app
