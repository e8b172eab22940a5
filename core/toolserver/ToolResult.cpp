#include "core/toolserver/ToolResult.h"

#include <algorithm>

#include <fmt/format.h>

#include "core/base/Text.h"
#include "core/toolserver/ToolError.h"

namespace vesk::toolResult {

namespace {

constexpr std::size_t frameUnits = 2'000;  // what a page takes besides its entries

std::size_t unitsAsString(std::string_view text) { return text::unitCount(Json(text).compact()); }

// The beginning of a character that is too long to be given whole (a letter may carry any number of marks).
std::string_view withinCharacter(std::string_view text, std::size_t units) {
  constexpr std::size_t longestEscape = 6;  // of one byte
  std::size_t end = std::min(text.size(), units / longestEscape);
  while (end < text.size() && (text[end] & 0xC0) == 0x80) --end;  // not within a code point
  return text.substr(0, end);
}

// A beginning of whole characters, near the longest, that takes at most `units` as a JSON string.
std::string_view fitting(std::string_view text, std::size_t units) {
  // A character of any length must not be followed to its end: no unit takes more than three bytes.
  std::string_view part = text::firstUnits(text.substr(0, 4 * units), units);
  // Escapes make a text longer; each round cuts by what it is over.
  for (std::size_t taken = unitsAsString(part); taken > units && !part.empty(); taken = unitsAsString(part)) {
    const std::size_t fewer = std::max<std::size_t>(1, part.size() * (taken - units) / taken);
    part = text::firstBytes(part, part.size() - fewer);
  }
  return part.empty() ? withinCharacter(text, units) : part;
}

// A line break in the last quarter is a better place to cut.
std::string_view endedAtLine(std::string_view part) {
  const std::size_t lineBreak = part.rfind('\n');
  return lineBreak != std::string_view::npos && lineBreak >= part.size() - part.size() / 4
             ? part.substr(0, lineBreak + 1)
             : part;
}

}  // namespace

Page::Page(std::string_view key, std::size_t total, std::size_t offset, std::size_t limit, std::size_t reserved)
    : key_(key),
      total_(total),
      begin_(std::min(offset, total)),
      end_(begin_ + std::min(limit, total - begin_)),
      units_(reserved) {}

bool Page::add(Json entry) {
  const std::size_t units = unitsAsEntry(entry);
  if (units_ + units > maximumUnits - frameUnits) return false;
  units_ += units;
  entries_.push_back(std::move(entry));
  return true;
}

std::string Page::text(Json result) const {
  const bool isStuck = entries_.empty() && begin_ < end_;
  const std::size_t next = begin_ + (isStuck ? 1 : entries_.size());
  if (isStuck) result["left_out"] = "One entry is too long to be shown.";
  result[key_] = entries_;
  result["total"] = total_;
  if (next < total_) result["next_offset"] = next;
  return result.pretty();
}

std::vector<std::string_view> parts(std::string_view text, std::size_t units) {
  std::vector<std::string_view> found;
  while (!text.empty()) {
    std::string_view part = fitting(text, units);
    if (part.size() < text.size()) part = endedAtLine(part);
    found.push_back(part);
    text.remove_prefix(part.size());
  }
  if (found.empty()) found.emplace_back();
  return found;
}

std::size_t unitsAsEntry(const Json& entry) {
  const std::string text = entry.pretty();
  const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
  return text::unitCount(text) + lines * 5 + 2;
}

Json firstOf(const std::vector<std::string>& values, std::size_t units) {
  Json::Array entries;
  std::size_t taken = 0;
  for (const std::string& value : values) {
    Json entry(value);
    taken += unitsAsEntry(entry);
    if (taken > units) break;
    entries.push_back(std::move(entry));
  }
  return entries;
}

void addList(Json& result, const std::string& key, const std::vector<std::string>& values, std::size_t units) {
  Json list = firstOf(values, units);
  if (list.array()->size() < values.size()) result[key + "_total"] = values.size();
  result[key] = std::move(list);
}

void addPartNumber(Json& result, std::size_t part, std::size_t parts, const char* what, const char* tool) {
  if (part > parts) throw ToolError(fmt::format("This {} has only {} part{}.", what, parts, parts == 1 ? "" : "s"));
  if (parts == 1) return;
  result["part"] = part;
  result["parts"] = parts;
  if (part == parts) return;
  result["to_read_on"] =
      fmt::format("This is part {} of {}. Call {} with part {} to read on.", part, parts, tool, part + 1);
}

void addPart(Json& result, std::string_view text, std::size_t part, const char* what, const char* tool) {
  constexpr std::size_t textUnits = 30'000;
  constexpr std::size_t numberUnits = 1'000;
  // A path of thousands of characters leaves it less room.
  const std::size_t left = maximumUnits - numberUnits - text::unitCount(result.pretty());
  const auto all = parts(text, std::min(textUnits, left));
  addPartNumber(result, part, all.size(), what, tool);
  result["text"] = all[part - 1];
}

std::string shortened(std::string_view text, std::size_t characters) {
  // A character may be of any length: its share of units keeps one from filling a whole result.
  constexpr std::size_t unitsPerCharacter = 10;
  const std::size_t units = characters * unitsPerCharacter;
  if (text::firstUnits(text::firstCharacters(text, characters), units).size() == text.size()) return std::string(text);
  return std::string(text::firstUnits(text::firstCharacters(text, characters - 1), units)) + "…";
}

std::string quoted(std::string_view title) {
  constexpr std::size_t longestTitle = 120;  // characters
  return fmt::format("\"{}\"", shortened(text::collapseWhitespace(title), longestTitle));
}

std::string pathResult(std::string_view path) {
  Json result;
  result["path"] = path;
  return result.pretty();
}

}  // namespace vesk::toolResult
