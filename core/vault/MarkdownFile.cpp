#include "core/vault/MarkdownFile.h"

#include <algorithm>
#include <cstddef>
#include <unordered_set>

#include "core/base/Text.h"
#include "core/vault/MarkdownView.h"

namespace vesk {

namespace {

std::vector<std::string_view> viewsOf(const std::vector<std::string>& lines) { return {lines.begin(), lines.end()}; }

std::string writableTag(std::string_view tag) {
  std::string clean(tag);
  std::replace(clean.begin(), clean.end(), ',', ' ');
  return std::string(markdown::bareTag(text::collapseWhitespace(clean)));
}

std::vector<std::string> writableTags(const std::vector<std::string>& tags) {
  std::vector<std::string> clean;
  std::unordered_set<std::string> seen;
  for (const std::string& tag : tags) {
    std::string written = writableTag(tag);
    if (!written.empty() && seen.insert(written).second) clean.push_back(std::move(written));
  }
  return clean;
}

}  // namespace

MarkdownFile::MarkdownFile(std::string_view text) {
  const MarkdownView view(text);
  body = view.body;
  if (view.opening.empty()) return;
  fenced_ = true;
  frontmatter.assign(view.frontmatter.begin(), view.frontmatter.end());
  opening_ = view.opening;
  closing_ = view.closing;
  closedByLineBreak_ = view.closedByLineBreak;
}

std::string MarkdownFile::serialized() const {
  // A body that looks like front matter would be read as some: it is kept apart by empty front matter.
  const bool isFenced = fenced_ || !frontmatter.empty() || !MarkdownView(body).opening.empty();
  if (!isFenced) return body;
  std::string text = opening_ + "\n";
  for (const std::string& line : frontmatter) text.append(line).append("\n");
  text += closing_;
  if (closedByLineBreak_ || !body.empty()) text += '\n';
  return text += body;
}

std::optional<std::string> MarkdownFile::value(std::string_view key) const {
  const auto lines = viewsOf(frontmatter);
  const auto found = markdown::value(lines, key);
  return found ? std::optional<std::string>(*found) : std::nullopt;
}

std::vector<std::string> MarkdownFile::frontmatterTags() const {
  const auto lines = viewsOf(frontmatter);
  const auto tags = markdown::tags(lines);
  return {tags.begin(), tags.end()};
}

void MarkdownFile::setTags(const std::vector<std::string>& tags) {
  const std::vector<std::string> written = writableTags(tags);
  if (written == writableTags(frontmatterTags())) return;
  if (!written.empty()) openFrontmatter();
  const char* const lineEnd = opening_.ends_with('\r') ? "\r" : "";
  const auto entry = markdown::findTags(viewsOf(frontmatter));
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
  fenced_ = !frontmatter.empty() || opening_.starts_with(byteOrderMark);  // the mark is not to be lost
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
  std::string heading(markdown::trimLine(text.substr(2, end == std::string_view::npos ? end : end - 2)));
  if (end == std::string_view::npos) return {std::move(heading), ""};
  return {std::move(heading), std::string(text.substr(end + 1))};
}

std::string MarkdownFile::joinHeading(const std::optional<std::string>& heading, std::string_view rest) {
  if (!heading) return std::string(rest);
  return "# " + *heading + "\n" + std::string(rest);
}

}  // namespace vesk
