#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace vesk {

inline constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

// A Markdown file's text taken apart into front matter and body, without copying any of it.
//
// Front matter begins in the first line with "---" (a byte-order mark may stand before it) and ends with the next such
// line; without that line there is none, and the body is the whole text.
struct MarkdownView {
  explicit MarkdownView(std::string_view text);

  std::vector<std::string_view> frontmatter = {};  // the lines between the two, each without its "\n"
  std::string_view body = {};

  std::string_view opening = {};  // the two "---" lines as they stand; empty without front matter
  std::string_view closing = {};
  bool closedByLineBreak = true;  // a "\n" follows the closing line
};

// Reading front matter: by lines on purpose, no YAML parser. Nested values are not understood.
namespace markdown {

using Lines = std::span<const std::string_view>;

// Without the spaces, tabs and carriage returns around it.
std::string_view trimLine(std::string_view line);

// The text after `key` and ":", without spaces, then quote marks, around it; nullopt when no line has that key.
std::optional<std::string_view> value(Lines lines, std::string_view key);

// Where the entry "tags:" stands among the lines: [first, last).
struct TagsEntry {
  std::size_t first = 0;
  std::size_t last = 0;
  bool isBlock = false;  // one line with "-" a tag, rather than an inline list
};
std::optional<TagsEntry> findTags(Lines lines);

// The entries of "tags:".
std::vector<std::string_view> tags(Lines lines);

// A tag without the quote marks, brackets, "#" and blanks that lists are written with.
std::string_view bareTag(std::string_view item);

}  // namespace markdown

}  // namespace vesk
