#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What Vesk reads in a note's text. Each scanner accepts exactly what its pattern would in ICU's regular expressions,
// in time linear in the text.
namespace vesk::markdown {

// The text after the first line that begins with "# ", trimmed.
std::optional<std::string> firstHeading(std::string_view text);

// The targets of the wiki links, in order: every match of \[\[([^\]|#]+)(?:[#|][^\]]*)?\]\], trimmed of spaces.
std::vector<std::string> links(std::string_view text);

// The pieces of `text` that are prose, in order; together they are prose(text). A line break that joins two lines with
// code between them belongs to the piece before it.
std::vector<std::string_view> prosePieces(std::string_view text);
std::string joined(const std::vector<std::string_view>& pieces);

// The text without fenced blocks (a line that begins with three backticks opens or closes one) and without inline code
// (`[^`\n]+`).
std::string prose(std::string_view text);

// One inline tag in a prose text: an offset of its "#", and the tag without it.
struct TagMatch {
  std::size_t offset = 0;
  std::string_view tag = {};
};

// Every match of (?<![\w/#])#([\p{L}][\p{L}\p{N}_/-]*).
std::vector<TagMatch> inlineTags(std::string_view prose);

// The first line that, trimmed, is not empty and does not begin with "#"; trimmed. "" when there is none.
std::string_view preview(std::string_view body);

}  // namespace vesk::markdown
