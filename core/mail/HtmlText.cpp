#include "core/mail/HtmlText.h"

#include <algorithm>
#include <optional>

#include "core/base/Ascii.h"
#include "core/base/Text.h"
#include "core/base/Unicode.h"
#include "core/mail/Replacing.h"

namespace vesk::html {

namespace {

constexpr std::size_t none = std::string_view::npos;

// True when `text` goes on at `at` with these letters, given in lower case.
bool hasAt(std::string_view text, std::size_t at, std::string_view letters) {
  if (at > text.size() || text.size() - at < letters.size()) return false;
  return std::equal(letters.begin(), letters.end(), text.begin() + static_cast<std::ptrdiff_t>(at),
                    [](char wanted, char c) { return wanted == ascii::lower(c); });
}

std::size_t skipWhitespace(std::string_view text, std::size_t at) {
  while (at < text.size()) {
    const unicode::CodePoint c = unicode::decode(text, at);
    if (!unicode::isWhitespace(c.value)) break;
    at += c.length;
  }
  return at;
}

bool goesOnAsWord(std::string_view text, std::size_t at) {
  return at < text.size() && unicode::isWord(unicode::decode(text, at).value);
}

constexpr std::array<std::string_view, 4> blockNames = {"style", "script", "head", "title"};

// The end tags of one kind of block.
class EndTags {
 public:
  EndTags(std::string_view html, std::string_view name) : html_(html), name_(name) {}

  // Behind the first one that begins at or after `from`; npos without one. To be asked from the front to the back.
  std::size_t endOfNext(std::size_t from) {
    if (begin_ >= from) return end_;
    for (begin_ = html_.find("</", from); begin_ != none; begin_ = html_.find("</", begin_ + 1)) {
      if (!hasAt(html_, begin_ + 2, name_)) continue;
      end_ = skipWhitespace(html_, begin_ + 2 + name_.size());
      if (end_ < html_.size() && html_[end_] == '>') return ++end_;
    }
    return end_ = none;
  }

 private:
  std::string_view html_;
  std::string_view name_;
  std::size_t begin_ = 0;  // of the last one that was found
  std::size_t end_ = 0;
};

std::string withoutElements(std::string_view html) {
  std::array<EndTags, blockNames.size()> endTags = {EndTags(html, blockNames[0]), EndTags(html, blockNames[1]),
                                                    EndTags(html, blockNames[2]), EndTags(html, blockNames[3])};
  return replacing(html, [&](std::size_t from) -> std::optional<Replacement> {
    for (std::size_t at = html.find('<', from); at != none; at = html.find('<', at + 1)) {
      for (std::size_t i = 0; i < blockNames.size(); ++i) {
        const std::size_t nameEnd = at + 1 + blockNames[i].size();
        if (!hasAt(html, at + 1, blockNames[i]) || goesOnAsWord(html, nameEnd)) continue;
        if (const std::size_t end = endTags[i].endOfNext(nameEnd); end != none) return Replacement{at, end};
      }
    }
    return std::nullopt;
  });
}

std::string withoutComments(std::string_view html) {
  return replacing(html, [&](std::size_t from) -> std::optional<Replacement> {
    const std::size_t begin = html.find("<!--", from);
    const std::size_t end = begin == none ? none : html.find("-->", begin + 4);
    if (end == none) return std::nullopt;
    return Replacement{begin, end + 3};
  });
}

// Behind <br\s*\/?> or <\/(p|div|tr|li|h[1-6])\s*> at `at`, in any case; npos where none stands.
std::size_t endOfLineTag(std::string_view html, std::size_t at) {
  constexpr std::string_view blocks[] = {"p", "div", "tr", "li", "h1", "h2", "h3", "h4", "h5", "h6"};
  const bool isBreak = hasAt(html, at, "<br");
  std::size_t end = at + 3;
  if (!isBreak) {
    if (!hasAt(html, at, "</")) return none;
    // None of the names begins with another.
    const auto* const name = std::find_if(std::begin(blocks), std::end(blocks),
                                          [&](std::string_view block) { return hasAt(html, at + 2, block); });
    if (name == std::end(blocks)) return none;
    end = at + 2 + name->size();
  }
  end = skipWhitespace(html, end);
  if (isBreak && hasAt(html, end, "/")) ++end;
  return hasAt(html, end, ">") ? end + 1 : none;
}

std::string withLineBreaks(std::string_view html) {
  return replacing(html, [&](std::size_t from) -> std::optional<Replacement> {
    for (std::size_t at = html.find('<', from); at != none; at = html.find('<', at + 1))
      if (const std::size_t end = endOfLineTag(html, at); end != none) return Replacement{at, end, "\n"};
    return std::nullopt;
  });
}

std::string withoutTags(std::string_view html) {
  TagScanner tags(html);
  return replacing(html, [&](std::size_t from) -> std::optional<Replacement> {
    for (std::size_t at = html.find('<', from); at != none; at = html.find('<', at + 1))
      if (const std::size_t end = tags.endOfTag(at); end != none) return Replacement{at, end};
    return std::nullopt;
  });
}

// The bytes of a space, a tab or a no-break space at `at`; 0 for anything else.
std::size_t blankAt(std::string_view text, std::size_t at) {
  if (text[at] == ' ' || text[at] == '\t') return 1;
  return text.substr(at).starts_with("\u00A0") ? 2 : 0;
}

// One space for each run of blanks, and no more than two line breaks in a row.
std::string collapsed(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    std::size_t end = at;
    while (end < text.size() && blankAt(text, end) > 0) end += blankAt(text, end);
    if (end > at) {
      result += ' ';
    } else if (text[at] == '\n') {
      end = std::min(text.find_first_not_of('\n', at), text.size());
      result.append(std::min(end - at, std::size_t{2}), '\n');
    } else {
      result += text[end++];
    }
    at = end;
  }
  return result;
}

}  // namespace

std::size_t TagScanner::endOutsideQuotes(std::size_t begin) const {
  std::size_t at = begin;
  while (true) {
    at = html_.find_first_of(">=", at + 1);
    if (at == none || html_[at] == '>') return at;
    const std::size_t value = html_.find_first_not_of(" \t\r\n", at + 1);
    if (value == none) return none;
    const bool isQuoted = html_[value] == '"' || html_[value] == '\'';
    if (isQuoted) at = html_.find(html_[value], value + 1);
    if (at == none) return none;
  }
}

std::size_t TagScanner::endOfTag(std::size_t begin) {
  if (begin + 1 >= html_.size()) return none;
  const char first = html_[begin + 1];
  if (!ascii::isLetter(first) && first != '/' && first != '!' && first != '?') return none;
  if (mindsQuotes_) {
    const std::size_t end = endOutsideQuotes(begin);
    if (end != none) return end + 1;
    mindsQuotes_ = false;
  }
  const std::size_t end = mayClose_ ? html_.find('>', begin) : none;
  mayClose_ = end != none;
  return mayClose_ ? end + 1 : none;
}

std::string withoutBlocks(std::string_view html) { return withoutComments(withoutElements(html)); }

std::string text(std::string_view html) {
  const std::string decoded = decodeEntities(withoutTags(withLineBreaks(html)));
  return std::string(text::trimWhitespace(collapsed(decoded)));
}

}  // namespace vesk::html
