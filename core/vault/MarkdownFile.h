#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vesk {

// A Markdown file's text taken apart into front matter and body. A line reader on purpose, no YAML parser: nested
// values are not understood, and no line that isn't asked to change does.
class MarkdownFile {
 public:
  MarkdownFile() = default;

  // Front matter begins in the first line with "---" (a byte-order mark may stand before it) and ends with the next
  // such line; without that line there is none, and the body is the whole text.
  explicit MarkdownFile(std::string_view text);

  // The raw lines between the two "---" lines, each without its "\n".
  std::vector<std::string> frontmatter = {};
  std::string body = {};

  // The whole text. A file that was not changed gives back its bytes, whatever its line ends.
  std::string serialized() const;

  // The text after `key` and ":", without spaces, then quote marks, around it; nullopt when no line has that key.
  std::optional<std::string> value(std::string_view key) const;

  // The entries of "tags:", an inline list or the lines with "-" that follow it.
  std::vector<std::string> frontmatterTags() const;

  // Replaces the entry "tags:" in the style it has (a new one is an inline list); no tags removes it. Nothing changes
  // when the tags are those already there. A tag's line breaks and commas become spaces, as they would end it.
  void setTags(const std::vector<std::string>& tags);

  // A leading "# " title line split off from the rest, and put back.
  static std::pair<std::optional<std::string>, std::string> splitHeading(std::string_view text);
  static std::string joinHeading(const std::optional<std::string>& heading, std::string_view rest);

 private:
  void openFrontmatter();  // gives a file without front matter its two "---" lines, in its own line ends

  bool fenced_ = false;  // the file has the two "---" lines, even with nothing between them
  std::string opening_ = "---";
  std::string closing_ = "---";
  bool closedByLineBreak_ = true;  // a "\n" follows the closing line
};

}  // namespace vesk
