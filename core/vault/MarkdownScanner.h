#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What Vesk reads in a note's text. Each scanner accepts exactly what its pattern would in ICU's regular expressions,
// in time linear in the text.
namespace vesk::markdown {

// The text after the first line that begins with "# ", trimmed.
std::optional<std::string> firstHeading(std::string_view text);

struct Link {
  std::string_view whole = {};   // "[[Plan#Goal|the plan]]"
  std::string_view target = {};  // "Plan", trimmed of spaces
};

// Goes through the wiki links of a text: every match of \[\[([^\]|#]+)(?:[#|][^\]]*)?\]\].
class LinkScanner {
 public:
  explicit LinkScanner(std::string_view text) : text_(text) {}

  // The next link; links to nothing but spaces are passed over. Nullopt at the end.
  std::optional<Link> next();

 private:
  std::string_view text_;
  std::size_t position_ = 0;
  std::size_t close_ = 0;  // the first "]" at or after the link that was looked at last
};

// The targets of all wiki links, in order; each a part of `text`.
std::vector<std::string_view> links(std::string_view text);

// The beginning of the next line that opens or closes a fenced block, from the line that begins at `lineBegin` on; npos
// without one.
std::size_t nextFence(std::string_view text, std::size_t lineBegin);

// The pieces of `text` that are prose, in order; together they are prose(text). A line break that joins two lines with
// code between them belongs to the piece before it.
std::vector<std::string_view> prosePieces(std::string_view text);
std::string joined(const std::vector<std::string_view>& pieces);

// The text without fenced blocks (a line that begins with three backticks opens or closes one) and without inline code
// (`[^`\n]+`).
std::string prose(std::string_view text);

// Goes through the inline tags of a prose text: every match of (?<![\w/#])#([\p{L}][\p{L}\p{N}_/-]*).
class TagScanner {
 public:
  struct Match {
    std::size_t offset = 0;     // of its "#"
    std::string_view tag = {};  // without it
  };

  explicit TagScanner(std::string_view prose) : prose_(prose) {}

  // Nullopt at the end.
  std::optional<Match> next();

 private:
  std::string_view prose_;
  std::size_t position_ = 0;
};

// The first line that, trimmed, is not empty and does not begin with "#"; trimmed. "" when there is none.
std::string_view preview(std::string_view body);

}  // namespace vesk::markdown
