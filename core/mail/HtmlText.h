#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "core/mail/HtmlEntities.h"

// The steps from an HTML document to its text. Each takes linear time, whatever is never closed.
namespace vesk::html {

// Finds the tags of a document: "<" before a letter, "/", "!" or "?", up to the next ">" that isn't within quotes.
class TagScanner {
 public:
  explicit TagScanner(std::string_view html) : html_(html) {}

  // Behind the tag that begins with the "<" at `begin`; npos when none does. To be asked from the front to the back.
  std::size_t endOfTag(std::size_t begin);

 private:
  std::size_t endOutsideQuotes(std::size_t begin) const;

  std::string_view html_;
  bool mindsQuotes_ = true;  // until one is never closed
  bool mayClose_ = true;     // until there is no ">" any more
};

// Without styles, scripts, the head, the title and comments:
// (?is)<(style|script|head|title)\b.*?<\/\1\s*> and then (?is)<!--.*?-->.
std::string withoutBlocks(std::string_view html);

// The text of a document without such blocks: line breaks for <br> and the ends of blocks, no tags, entities decoded,
// blanks collapsed.
std::string text(std::string_view html);

}  // namespace vesk::html
