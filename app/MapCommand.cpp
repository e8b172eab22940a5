// vesk map: how projects, areas and topics connect.

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
#include "app/Options.h"
#include "app/Terminal.h"
#include "core/base/Json.h"
#include "core/base/Text.h"
#include "core/insights/ConnectionMap.h"

namespace vesk::app {

namespace {

using Connection = ConnectionMap::Connection;

struct MapOptions {
  std::size_t limit = unlimited;
  bool asJson = false;
};

std::string_view kindOf(Bucket role) {
  if (role == Bucket::projects) return "project";
  return role == Bucket::areas ? "area" : "topic";
}

Json entryOf(const Connection& connection) {
  Json::Array links;
  for (const auto& [from, to] : connection.links) links.push_back(Json::Object{{"from", from->id}, {"to", to->id}});
  Json::Array tags;
  for (const auto& [tag, first, second] : connection.tags)
    tags.push_back(Json::Object{{"tag", tag}, {"notes", Json::Array{first->id, second->id}}});
  return Json::Object{{"first", connection.first},
                      {"second", connection.second},
                      {"kinds", Json::Array{kindOf(connection.firstRole), kindOf(connection.secondRole)}},
                      {"links_to_second", connection.linksToSecond},
                      {"links_to_first", connection.linksToFirst},
                      {"shared_tags", connection.tagCount},
                      {"strength", connection.strength},
                      {"links", std::move(links)},
                      {"tags", std::move(tags)}};
}

Json toJson(const ConnectionMap& map) {
  Json::Array connections;
  for (const Connection& connection : map.connections) connections.push_back(entryOf(connection));
  Json::Array common;
  for (const TagCount& tag : map.commonTags) common.push_back(tag.name);
  return Json::Object{
      {"connections", std::move(connections)}, {"tags_too_common_to_count", std::move(common)}, {"total", map.total}};
}

// "#book, #water and 3 more".
std::string describeTags(const Connection& connection) {
  std::vector<std::string> tags;
  for (const auto& tag : connection.tags) tags.push_back("#" + tag.name);
  std::string text = text::join(tags, ", ");
  if (connection.tagCount > tags.size()) text += fmt::format(" and {} more", connection.tagCount - tags.size());
  return text;
}

// "2 links there, 1 back; tags in common: #book, #water and 3 more".
std::string describe(const Connection& connection) {
  const std::size_t there = connection.linksToSecond;
  const std::size_t back = connection.linksToFirst;
  std::vector<std::string> parts;
  if (there + back > 0) parts.push_back(fmt::format("{} there, {} back", counted(there, "link"), back));
  if (connection.tagCount > 0) parts.push_back("tags in common: " + describeTags(connection));
  return text::join(parts, "; ");
}

// One thing that can be looked up.
std::string proofOf(const Connection& connection) {
  if (!connection.links.empty()) {
    const auto& [from, to] = connection.links.front();
    return fmt::format("\"{}\" links to \"{}\"", from->title, to->title);
  }
  const auto& [tag, first, second] = connection.tags.front();
  return fmt::format("#{} is on \"{}\" and \"{}\"", tag, first->title, second->title);
}

void printConnection(const Connection& connection, const Terminal& terminal) {
  constexpr std::size_t indent = 4;
  print("{} — {}\n{}\n{}\n", styled(safe(connection.first), Style::strong, terminal),
        styled(safe(connection.second), Style::strong, terminal), wrapped(safe(describe(connection)), indent, terminal),
        styled(wrapped(safe(proofOf(connection)), indent, terminal), Style::faint, terminal));
}

void printCommonTags(const std::vector<TagCount>& tags, const Terminal& terminal) {
  if (tags.empty()) return;
  std::vector<std::string> names;
  for (const TagCount& tag : tags) names.push_back(fmt::format("#{} ({} collections)", tag.name, tag.count));
  const std::string sentence =
      fmt::format("Left out, as so much has them in common: {}.", safe(text::join(names, ", ")));
  print("\n{}\n", wrapped(sentence, 0, terminal));
}

void showMap(const MapOptions& options) {
  const ConnectionMap map = ConnectionMap::of(currentVault().survey(), 0, options.limit);
  if (options.asJson) return print("{}\n", toJson(map).pretty());
  if (map.total == 0) fmt::print(stderr, "No project, area or topic is connected with another.\n");
  const Terminal terminal = Terminal::ofStandardOutput();
  for (const Connection& connection : map.connections) printConnection(connection, terminal);
  if (map.connections.size() < map.total) print("and {} more\n", map.total - map.connections.size());
  printCommonTags(map.commonTags, terminal);
}

}  // namespace

void addMapCommand(CLI::App& program) {
  const auto options = std::make_shared<MapOptions>();
  CLI::App* command =
      program.add_subcommand("map", "Show how projects, areas and topics connect, the strongest first.");
  command->add_option("--limit", options->limit, "At most so many connections.")->check(positive());
  command->add_flag("--json", options->asJson, "Write JSON.");
  command->callback([options] { showMap(*options); });
}

}  // namespace vesk::app
