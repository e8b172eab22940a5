#include "core/toolserver/tools/InsightTools.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "core/base/Text.h"
#include "core/base/Time.h"
#include "core/insights/ConnectionMap.h"
#include "core/insights/ContextHealth.h"
#include "core/insights/Insights.h"
#include "core/insights/Sources.h"
#include "core/insights/VaultQuery.h"
#include "core/tasks/TaskTally.h"
#include "core/toolserver/ToolError.h"
#include "core/toolserver/ToolResult.h"
#include "core/toolserver/tools/NoteTools.h"

namespace vesk {

namespace {

constexpr std::size_t titleCharacters = 200;

// The kinds of collections, by the role of the place they are in.
constexpr std::array<std::pair<std::string_view, Bucket>, 3> kinds = {
    {{"project", Bucket::projects}, {"area", Bucket::areas}, {"topic", Bucket::resources}}};

std::string_view kindOf(Bucket role) {
  const auto isIt = [&](const auto& kind) { return kind.second == role; };
  const auto* const found = std::find_if(kinds.begin(), kinds.end(), isIt);
  return found == kinds.end() ? bucket::name(role) : found->first;
}

// A page of notes.
std::string notesPage(std::string_view key, const std::vector<NoteRef>& notes, std::size_t offset, std::size_t limit) {
  toolResult::Page page(key, notes.size(), offset, limit);
  for (std::size_t i = page.begin(); i < page.end(); ++i)
    if (!page.add(noteEntry(*notes[i]))) break;
  return page.text();
}

// ---- get_overview

Json quietCollections(const std::vector<CollectionSummary>& collections, Timestamp now, const Calendar& calendar) {
  constexpr std::size_t mostUnits = 15'000;
  Json::Array entries;
  std::size_t units = 0;
  for (const CollectionSummary& collection : collections) {
    Json entry;
    entry["path"] = collection.folder.id;
    entry["days_quiet"] = collection.daysQuiet(now, calendar).value_or(0);
    entry["open_tasks"] = collection.openTaskCount;
    units += toolResult::unitsAsEntry(entry);
    if (units > mostUnits) break;
    entries.push_back(std::move(entry));
  }
  return entries;
}

std::string getOverview(ToolContext& context, const ToolArguments&) {
  constexpr int days = 15;
  const Timestamp now = context.surroundings().now();
  const Calendar calendar = context.surroundings().calendar();
  TaskTally tasks;
  const VaultSnapshot& snapshot = context.survey({.takesApart = tallyingFilter(tasks), .readsCreationDates = true});
  const auto stalled = Insights::stalledProjects(snapshot, tasks, now, calendar);
  const auto quiet = Insights::untouchedAreas(snapshot, tasks, now, calendar);
  Json saved;
  for (const DayCount& day : Insights::savedPerDay(snapshot, days, now, calendar))
    saved[time::isoDay(day.day)] = day.count;
  Json result;
  result["notes"] = snapshot.notes.size();
  result["waiting_in_inbox"] = snapshot.unsorted(tasks.noteNames()).size();
  result["stalled_projects"] = quietCollections(stalled, now, calendar);
  result["stalled_projects_total"] = stalled.size();
  result["quiet_areas"] = quietCollections(quiet, now, calendar);
  result["quiet_areas_total"] = quiet.size();
  result["next_review"] = time::isoDay(Insights::nextReview(now, calendar));
  result["notes_saved_per_day"] = std::move(saved);
  return result.pretty();
}

// ---- list_collections

Json collectionEntry(const CollectionSummary& collection, Bucket role, Timestamp now, const Calendar& calendar) {
  Json entry;
  entry["path"] = collection.folder.id;
  entry["name"] = collection.folder.name;
  entry["kind"] = kindOf(role);
  entry["status"] = name(collection.status(now, calendar));
  entry["notes"] = collection.noteCount();
  entry["open_tasks"] = collection.openTaskCount;
  entry["done_tasks"] = collection.doneTasks;
  if (collection.lastActivity) entry["last_activity"] = time::iso8601(*collection.lastActivity);
  if (const auto quiet = collection.daysQuiet(now, calendar)) entry["days_quiet"] = *quiet;
  return entry;
}

std::string listCollections(ToolContext& context, const ToolArguments& arguments) {
  constexpr const char* unknownKind = "The kind must be project, area or topic.";
  const Timestamp now = context.surroundings().now();
  const Calendar calendar = context.surroundings().calendar();
  const auto wanted = arguments.given("kind", unknownKind);
  const auto isKnown = [&](const auto& kind) { return kind.first == wanted; };
  if (wanted && std::none_of(kinds.begin(), kinds.end(), isKnown)) throw ToolError(unknownKind);
  TaskTally tasks;
  const VaultSnapshot& snapshot = context.survey({.takesApart = [&](const NoteFile& file) {
    tasks.add(file);
    return false;
  }});
  std::vector<Json> entries;
  for (const auto& [kind, role] : kinds) {
    if (wanted && kind != *wanted) continue;
    for (const CollectionSummary& collection : Insights::collections(role, snapshot, tasks))
      entries.push_back(collectionEntry(collection, role, now, calendar));
  }
  toolResult::Page page("collections", entries.size(), arguments.offset(), arguments.limit());
  for (std::size_t i = page.begin(); i < page.end(); ++i)
    if (!page.add(std::move(entries[i]))) break;
  return page.text();
}

// ---- get_connections

Json entryOf(const ConnectionMap::Connection& connection) {
  Json::Array links;
  for (const ConnectionMap::Link& link : connection.links)
    links.push_back(Json::Object{{"from", link.from->id}, {"to", link.to->id}});
  Json::Array tags;
  for (const ConnectionMap::SharedTag& tag : connection.tags)
    tags.push_back(Json::Object{{"tag", toolResult::shortened(tag.name, titleCharacters)},
                                {"notes", Json::Array{tag.first->id, tag.second->id}}});
  Json entry;
  entry["first"] = connection.first;
  entry["second"] = connection.second;
  entry["kinds"] = Json::Array{kindOf(connection.firstRole), kindOf(connection.secondRole)};
  entry["links_to_second"] = connection.linksToSecond;
  entry["links_to_first"] = connection.linksToFirst;
  entry["shared_tags"] = connection.tagCount;
  if (!links.empty()) entry["links"] = std::move(links);
  if (!tags.empty()) entry["tags"] = std::move(tags);
  return entry;
}

// With as much proof as fits: paths may be thousands of characters long.
Json connectionEntry(ConnectionMap::Connection connection) {
  constexpr std::size_t mostUnits = 20'000;
  Json entry = entryOf(connection);
  while (toolResult::unitsAsEntry(entry) > mostUnits && !(connection.links.empty() && connection.tags.empty())) {
    if (connection.links.size() > connection.tags.size()) {
      connection.links.pop_back();
    } else {
      connection.tags.pop_back();
    }
    entry = entryOf(connection);
  }
  return entry;
}

std::string getConnections(ToolContext& context, const ToolArguments& arguments) {
  constexpr std::size_t commonUnits = 2'000;
  const ConnectionMap map = ConnectionMap::of(context.survey(), arguments.offset(), arguments.limit());
  std::vector<std::string> common;
  for (const TagCount& tag : map.commonTags) common.push_back(tag.name);
  Json result;
  if (!common.empty()) toolResult::addList(result, "tags_too_common_to_count", common, commonUnits);
  toolResult::Page page("connections", map.total, arguments.offset(), arguments.limit(), commonUnits);
  for (const ConnectionMap::Connection& connection : map.connections)
    if (!page.add(connectionEntry(connection))) break;
  return page.text(std::move(result));
}

// ---- list_unprocessed_sources, run_query

std::string listUnprocessedSources(ToolContext& context, const ToolArguments& arguments) {
  return notesPage("sources", unprocessedSources(context.survey()), arguments.offset(), arguments.limit());
}

// As a query compares them.
void requireFolderInAnyCase(ToolContext& context, const std::string& folder) {
  const auto isIt = [&](const FolderSummary& each) { return text::equalIgnoringCase(each.path, folder); };
  if (std::ranges::none_of(context.folders(), isIt))
    throw ToolError("That folder doesn't exist. Use list_folders to see the options.");
}

std::string runQuery(ToolContext& context, const ToolArguments& arguments) {
  const std::string typed = arguments.text("query", "A query is required.");
  if (text::trimWhitespace(typed).empty()) throw ToolError("A query is required.");
  const VaultQuery query = VaultQuery::parse(typed);
  for (const std::string& folder : query.folders) requireFolderInAnyCase(context, folder);
  const std::vector<NoteRef> notes = run(query, context.vault());
  return notesPage("notes", notes, arguments.offset(), query.limit ? notes.size() : arguments.limit());
}

// ---- get_context_health

std::string getContextHealth(ToolContext& context, const ToolArguments& arguments) {
  const auto survey = [&](SurveyOptions options) -> const VaultSnapshot& { return context.survey(std::move(options)); };
  const auto issues = ContextHealth::check(context.vault(), survey, context.surroundings().now());
  std::map<std::string_view, std::size_t> counts;
  for (const ContextIssue& issue : issues) ++counts[name(issue.kind)];
  Json result;
  result["counts"] = Json::Object(counts.begin(), counts.end());
  toolResult::Page page("issues", issues.size(), arguments.offset(), arguments.limit());
  for (std::size_t i = page.begin(); i < page.end(); ++i) {
    Json entry;
    entry["kind"] = name(issues[i].kind);
    entry["path"] = issues[i].path;
    entry["title"] = toolResult::shortened(issues[i].title, titleCharacters);
    if (issues[i].isFolder) entry["is_folder"] = true;
    entry["detail"] = toolResult::shortened(issues[i].detail, 1'000);
    if (!page.add(std::move(entry))) break;
  }
  return page.text(std::move(result));
}

}  // namespace

Tool getOverviewTool() {
  return {
      "get_overview",
      "What Vesk's Overview shows: notes waiting in Inbox, stalled projects, quiet areas, the next review and notes "
      "saved per day.",
      {},
      Effect::reads,
      &AIAccess::canRead,
      getOverview};
}

Tool listCollectionsTool() {
  return {"list_collections",
          "List projects, areas or topics with their status, activity and task counts.",
          {{.name = "kind",
            .type = "string",
            .description = "Which of them. Default all.",
            .values = {"project", "area", "topic"}},
           parameters::limit(),
           parameters::offset()},
          Effect::reads,
          &AIAccess::canRead,
          listCollections};
}

Tool getConnectionsTool() {
  return {"get_connections",
          "What Vesk's Map shows: how projects, areas and topics connect through links and shared tags.",
          {parameters::limit(), parameters::offset()},
          Effect::reads,
          &AIAccess::canRead,
          getConnections};
}

Tool listUnprocessedSourcesTool() {
  return {"list_unprocessed_sources",
          "Sources no note cites yet. To process one, read it and propose notes in the vault's knowledge folder that "
          "link to it with [[its title]].",
          {parameters::limit(), parameters::offset()},
          Effect::reads,
          &AIAccess::canRead,
          listUnprocessedSources};
}

Tool runQueryTool() {
  return {"run_query",
          "List notes by folder, tag and text, the way a query block in a note does.",
          {{"query", "string", "Lines of folder:, tag:, text:, sort: (modified, created or title) and limit:.", true},
           parameters::offset()},
          Effect::reads,
          &AIAccess::canRead,
          runQuery};
}

Tool getContextHealthTool() {
  return {"get_context_health",
          "What makes the vault harder to trust: broken links, duplicates, projects with no summary, and old, empty or "
          "isolated notes.",
          {parameters::limit(), parameters::offset()},
          Effect::reads,
          &AIAccess::canRead,
          getContextHealth};
}

}  // namespace vesk
