#include "core/vault/MarkdownFile.h"

#include <algorithm>
#include <cstddef>

#include "core/base/Text.h"

namespace vesk {

namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view tagsKey = "tags:";

// Spaces, tabs, and the carriage return of a "\r\n" line end.
std::string_view trimLine(std::string_view line) {
  constexpr std::string_view blanks = " \t\r";
  const std::size_t begin = line.find_first_not_of(blanks);
  if (begin == std::string_view::npos) return {};
  return line.substr(begin, line.find_last_not_of(blanks) - begin + 1);
}

bool isFence(std::string_view line) { return trimLine(line) == "---"; }

std::string_view trimAny(std::string_view text, std::string_view characters) {
  const std::size_t begin = text.find_first_not_of(characters);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(characters) - begin + 1);
}

std::string_view bareTag(std::string_view item) { return trimAny(item, " \t\r\"'#[]"); }

bool isListItem(std::string_view line) { return trimLine(line).starts_with('-'); }

// Where the entry "tags:" stands among the lines: [first, last).
struct TagsEntry {
  std::size_t first = 0;
  std::size_t last = 0;
  bool isBlock = false;  // one line an item
};

std::optional<TagsEntry> findTags(const std::vector<std::string>& lines) {
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (!lines[i].starts_with(tagsKey)) continue;
    TagsEntry entry{i, i + 1, false};
    if (!trimLine(std::string_view(lines[i]).substr(tagsKey.size())).empty()) return entry;
    while (entry.last < lines.size() && isListItem(lines[entry.last])) ++entry.last;
    entry.isBlock = entry.last > i + 1;
    return entry;
  }
  return std::nullopt;
}

std::string writableTag(std::string_view tag) {
  std::string clean(tag);
  std::replace(clean.begin(), clean.end(), ',', ' ');
  return std::string(bareTag(text::collapseWhitespace(clean)));
}

std::vector<std::string> writableTags(const std::vector<std::string>& tags) {
  std::vector<std::string> clean;
  for (const std::string& tag : tags) {
    std::string written = writableTag(tag);
    if (!written.empty() && std::find(clean.begin(), clean.end(), written) == clean.end())
      clean.push_back(std::move(written));
  }
  return clean;
}

}  // namespace

MarkdownFile::MarkdownFile(std::string_view text) {
  std::string_view start = text;
  if (start.starts_with(byteOrderMark)) start.remove_prefix(byteOrderMark.size());
  const std::size_t firstEnd = text.find('\n');
  if (!start.starts_with('-') && !start.starts_with(' ') && !start.starts_with('\t')) {
    body = text;  // nearly every file without front matter
    return;
  }
  if (firstEnd == std::string_view::npos || !isFence(start.substr(0, start.find('\n')))) {
    body = text;
    return;
  }
  std::vector<std::string> lines;
  for (std::size_t at = firstEnd + 1; at <= text.size();) {
    const std::size_t end = text.find('\n', at);
    const std::string_view line = text.substr(at, end == std::string_view::npos ? end : end - at);
    if (isFence(line)) {
      fenced_ = true;
      opening_ = text.substr(0, firstEnd);
      closing_ = line;
      closedByLineBreak_ = end != std::string_view::npos;
      frontmatter = std::move(lines);
      if (closedByLineBreak_) body = text.substr(end + 1);
      return;
    }
    if (end == std::string_view::npos) break;
    lines.emplace_back(line);
    at = end + 1;
  }
  body = text;
}

std::string MarkdownFile::serialized() const {
  if (frontmatter.empty() && !fenced_) return body;
  std::string text = opening_ + "\n";
  for (const std::string& line : frontmatter) text.append(line).append("\n");
  text += closing_;
  if (closedByLineBreak_ || !body.empty()) text += '\n';
  return text += body;
}

std::optional<std::string> MarkdownFile::value(std::string_view key) const {
  for (const std::string& line : frontmatter) {
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos) continue;
    if (text::trimSpaces(std::string_view(line).substr(0, colon)) != key) continue;
    return std::string(trimAny(trimLine(std::string_view(line).substr(colon + 1)), "\"'"));
  }
  return std::nullopt;
}

std::vector<std::string> MarkdownFile::frontmatterTags() const {
  const auto entry = findTags(frontmatter);
  std::vector<std::string> tags;
  if (!entry) return tags;
  const auto add = [&](std::string_view item) {
    if (const auto tag = bareTag(item); !tag.empty()) tags.emplace_back(tag);
  };
  if (entry->isBlock)
    for (std::size_t i = entry->first + 1; i < entry->last; ++i) add(trimLine(frontmatter[i]).substr(1));
  else
    for (const auto item : text::split(std::string_view(frontmatter[entry->first]).substr(tagsKey.size()), ','))
      add(item);
  return tags;
}

void MarkdownFile::setTags(const std::vector<std::string>& tags) {
  const std::vector<std::string> written = writableTags(tags);
  if (written == frontmatterTags()) return;
  if (!written.empty()) openFrontmatter();
  const char* const lineEnd = opening_.ends_with('\r') ? "\r" : "";
  const auto entry = findTags(frontmatter);
  std::vector<std::string> lines;
  if (entry && entry->isBlock && !written.empty()) {
    lines.push_back(frontmatter[entry->first]);
    const std::string& item = frontmatter[entry->first + 1];
    const std::string indent = item.substr(0, item.find('-'));
    for (const std::string& tag : written) lines.push_back(indent + "- " + tag + lineEnd);
  } else if (!written.empty()) {
    lines.push_back("tags: [" + text::join(written, ", ") + "]" + lineEnd);
  }
  auto place = frontmatter.end();
  if (entry) {
    const auto begin = frontmatter.begin();
    place = frontmatter.erase(begin + static_cast<std::ptrdiff_t>(entry->first),
                              begin + static_cast<std::ptrdiff_t>(entry->last));
  }
  frontmatter.insert(place, lines.begin(), lines.end());
  fenced_ = !frontmatter.empty();
}

void MarkdownFile::openFrontmatter() {
  if (fenced_) return;
  fenced_ = true;
  opening_.clear();
  if (body.starts_with(byteOrderMark)) {
    opening_ = byteOrderMark;
    body.erase(0, byteOrderMark.size());
  }
  const std::size_t lineEnd = body.find('\n');
  closing_ = lineEnd != std::string::npos && lineEnd > 0 && body[lineEnd - 1] == '\r' ? "---\r" : "---";
  opening_ += closing_;
}

std::pair<std::optional<std::string>, std::string> MarkdownFile::splitHeading(std::string_view text) {
  if (!text.starts_with("# ")) return {std::nullopt, std::string(text)};
  const std::size_t end = text.find('\n');
  std::string heading(trimLine(text.substr(2, end == std::string_view::npos ? end : end - 2)));
  if (end == std::string_view::npos) return {std::move(heading), ""};
  return {std::move(heading), std::string(text.substr(end + 1))};
}

std::string MarkdownFile::joinHeading(const std::optional<std::string>& heading, std::string_view rest) {
  if (!heading) return std::string(rest);
  return "# " + *heading + "\n" + std::string(rest);
}

}  // namespace vesk
