#include "core/vault/MarkdownView.h"

#include "core/base/Text.h"

namespace vesk {

namespace {

constexpr std::string_view tagsKey = "tags:";

bool isFence(std::string_view line) { return markdown::trimLine(line) == "---"; }

// The line behind the one that closes an inline list, which may go on over several; the next one if none does.
std::size_t endOfInlineList(markdown::Lines lines, std::size_t first) {
  for (std::size_t i = first; i < lines.size(); ++i)
    if (lines[i].find(']') != std::string_view::npos) return i + 1;
  return first + 1;
}

bool isListItem(std::string_view line) { return markdown::trimLine(line).starts_with('-'); }

}  // namespace

namespace markdown {

std::string_view trimLine(std::string_view line) { return text::trim(line, " \t\r"); }

std::string_view bareTag(std::string_view item) { return text::trim(item, " \t\r\"'#[]"); }

std::optional<TagsEntry> findTags(Lines lines) {
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (!lines[i].starts_with(tagsKey)) continue;
    TagsEntry entry{i, i + 1, false};
    const std::string_view value = trimLine(lines[i].substr(tagsKey.size()));
    if (value.starts_with('[')) entry.last = endOfInlineList(lines, i);
    if (!value.empty()) return entry;
    while (entry.last < lines.size() && isListItem(lines[entry.last])) ++entry.last;
    entry.isBlock = entry.last > i + 1;
    return entry;
  }
  return std::nullopt;
}

std::optional<std::string_view> value(Lines lines, std::string_view key) {
  for (const std::string_view line : lines) {
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos || text::trimSpaces(line.substr(0, colon)) != key) continue;
    return text::trim(trimLine(line.substr(colon + 1)), "\"'");
  }
  return std::nullopt;
}

std::vector<std::string_view> tags(Lines lines) {
  const auto entry = findTags(lines);
  std::vector<std::string_view> found;
  if (!entry) return found;
  const auto add = [&](std::string_view item) {
    if (const auto tag = bareTag(item); !tag.empty()) found.push_back(tag);
  };
  if (entry->isBlock)
    for (const std::string_view line : lines.subspan(entry->first + 1, entry->last - entry->first - 1))
      add(trimLine(line).substr(1));
  else
    for (std::size_t i = entry->first; i < entry->last; ++i)
      for (const auto item : text::split(lines[i].substr(i == entry->first ? tagsKey.size() : 0), ',')) add(item);
  return found;
}

}  // namespace markdown

MarkdownView::MarkdownView(std::string_view text) : body(text) {
  std::string_view start = text;
  if (start.starts_with(byteOrderMark)) start.remove_prefix(byteOrderMark.size());
  const std::size_t firstEnd = text.find('\n');
  if (firstEnd == std::string_view::npos || !isFence(start.substr(0, start.find('\n')))) return;
  std::vector<std::string_view> lines;
  lines.reserve(8);
  for (std::size_t at = firstEnd + 1; at <= text.size();) {
    const std::size_t end = text.find('\n', at);
    const std::string_view line = text.substr(at, end == std::string_view::npos ? end : end - at);
    if (isFence(line)) {
      opening = text.substr(0, firstEnd);
      closing = line;
      closedByLineBreak = end != std::string_view::npos;
      frontmatter = std::move(lines);
      body = closedByLineBreak ? text.substr(end + 1) : std::string_view();
      return;
    }
    if (end == std::string_view::npos) return;
    lines.push_back(line);
    at = end + 1;
  }
}

}  // namespace vesk
