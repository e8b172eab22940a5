#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Json.h"

// Results made for a model to read. The assistants' programs hold back or cut a long result, so none passes
// maximumUnits: lists stop at the last whole entry and say where to go on, long texts come in parts.
namespace vesk::toolResult {

// UTF-16 code units, the widest of the ways in which clients count characters.
inline constexpr std::size_t maximumUnits = 45'000;

// Entries of a long list, as many as fit a result.
class Page {
 public:
  // Of `total` entries, those from `offset`, at most `limit`, are asked for. Beside them the result needs `reserved`
  // units.
  Page(std::string_view key, std::size_t total, std::size_t offset, std::size_t limit, std::size_t reserved = 0);

  // Indices of the entries to give, until add() says that the page is full.
  std::size_t begin() const { return begin_; }
  std::size_t end() const { return end_; }

  // False, and nothing added, when the entry does not fit any more.
  bool add(Json entry);

  // The page as the members of `result`: the entries, their "total", and "next_offset" when there are more.
  std::string text(Json result = {}) const;

 private:
  std::string key_;
  std::size_t total_;
  std::size_t begin_;
  std::size_t end_;
  std::size_t units_;
  Json::Array entries_;
};

// Cuts a text into parts that each take at most `units` as a JSON string; at a line break where one is near. One empty
// part for an empty text.
std::vector<std::string_view> parts(std::string_view text, std::size_t units);

// What an entry of a list within an object takes, with its indent and comma.
std::size_t unitsAsEntry(const Json& entry);

// The first of `values`, as many as take at most `units` in a JSON list.
Json firstOf(const std::vector<std::string>& values, std::size_t units);

// Adds such a list to `result` under `key`, and where something was left out the number of all as `key`_total.
void addList(Json& result, const std::string& key, const std::vector<std::string>& values, std::size_t units);

// Says in `result` which part of how many it is, and how to go on with `tool`. ToolError when there is no such part of
// `what`.
void addPartNumber(Json& result, std::size_t part, std::size_t parts, const char* what, const char* tool);

// Adds one part of a text to `result` as "text", with its number. What `result` already holds leaves it less room.
void addPart(Json& result, std::string_view text, std::size_t part, const char* what, const char* tool);

// A text shortened to at most `characters` (and 10 units for each), with "…" where something was left out.
std::string shortened(std::string_view text, std::size_t characters);

// A title as a part of a sentence: shortened, on one line, between quote marks.
std::string quoted(std::string_view title);

// The result of a change to one item: its path.
std::string pathResult(std::string_view path);

}  // namespace vesk::toolResult
