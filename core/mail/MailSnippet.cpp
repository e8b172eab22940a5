#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "core/base/Ascii.h"
#include "core/base/Text.h"
#include "core/base/Unicode.h"
#include "core/mail/HtmlEntities.h"
#include "core/mail/MIME.h"
#include "core/mail/Replacing.h"

namespace vesk::MIME {

namespace {

constexpr std::size_t none = std::string_view::npos;

// A list shows one line of a mail; hardly any has more styles than this before its first words.
constexpr std::size_t readForSnippet = 256 * 1024;

bool isWhitespaceAt(std::string_view text, std::size_t at) {
  return unicode::isWhitespace(unicode::decode(text, at).value);
}

// <(table|div|td|tr|p|span|html|body|style|a)\b, in any case.
bool looksLikeHtml(std::string_view text) {
  constexpr std::string_view names[] = {"table", "div", "td", "tr", "p", "span", "html", "body", "style", "a"};
  for (std::size_t at = text.find('<'); at != none; at = text.find('<', at + 1)) {
    std::size_t end = at + 1;
    while (end < text.size() && ascii::isLetter(text[end])) ++end;
    const std::string_view name = text.substr(at + 1, end - at - 1);
    const bool isKnown = std::any_of(std::begin(names), std::end(names),
                                     [&](std::string_view each) { return text::equalIgnoringCase(each, name); });
    if (isKnown && (end == text.size() || !unicode::isWord(unicode::decode(text, end).value))) return true;
  }
  return false;
}

// The place `count` characters before `end`, or the text's beginning.
std::size_t back(std::string_view text, std::size_t end, std::size_t count) {
  for (; count > 0 && end > 0; --count) end -= unicode::decodeBefore(text, end).length;
  return end;
}

// (?s)<\/?[a-zA-Z!][^>]{0,400}>
std::string withoutShortTags(std::string_view text) {
  constexpr std::size_t longest = 400;
  std::size_t close = 0;     // the first ">" behind the "<"
  std::size_t earliest = 0;  // where what stands before it may begin
  return replacing(text, [&](std::size_t at) -> std::optional<Replacement> {
    while ((at = text.find('<', at)) != none) {
      const std::size_t letter = at + (text.substr(at + 1).starts_with('/') ? 2 : 1);
      if (letter < text.size() && (ascii::isLetter(text[letter]) || text[letter] == '!')) {
        if (close <= letter) {
          close = text.find('>', letter);
          if (close == none) return std::nullopt;
          earliest = back(text, close, longest);
        }
        if (letter + 1 >= earliest) return Replacement{at, close + 1};
      }
      ++at;
    }
    return std::nullopt;
  });
}

// <\/?[a-zA-Z][^>]*$
std::string_view withoutCutTag(std::string_view text) {
  const std::size_t lastClose = text.rfind('>');
  for (std::size_t at = text.find('<', lastClose == none ? 0 : lastClose); at != none; at = text.find('<', at + 1)) {
    const std::size_t letter = at + (text.substr(at + 1).starts_with('/') ? 2 : 1);
    if (letter < text.size() && ascii::isLetter(text[letter])) return text.substr(0, at);
  }
  return text;
}

// \[([^\]]*)\]\((?:https?:|mailto:)[^)]*\)? by its first group.
std::string withLabelsForLinks(std::string_view text) {
  constexpr std::string_view schemes[] = {"(http:", "(https:", "(mailto:"};
  return replacing(text, [&](std::size_t at) -> std::optional<Replacement> {
    while ((at = text.find('[', at)) != none) {
      const std::size_t close = text.find(']', at);
      if (close == none) break;
      const std::string_view behind = text.substr(close + 1);
      const bool isLink = std::any_of(std::begin(schemes), std::end(schemes),
                                      [&](std::string_view scheme) { return behind.starts_with(scheme); });
      if (isLink) {
        const std::size_t end = text.find(')', close);
        return Replacement{at, end == none ? text.size() : end + 1, text.substr(at + 1, close - at - 1)};
      }
      at = close + 1;  // every bracket before this one ends with it
    }
    return std::nullopt;
  });
}

// <?(?:https?:\/\/|www\.)\S+>?
std::string withoutAddresses(std::string_view text) {
  constexpr std::string_view beginnings[] = {"http://", "https://", "www."};
  return replacing(text, [&](std::size_t from) -> std::optional<Replacement> {
    for (std::size_t at = from; at < text.size(); ++at) {
      if (text[at] != 'h' && text[at] != 'w') continue;
      for (const std::string_view beginning : beginnings) {
        if (!text.substr(at).starts_with(beginning)) continue;
        const std::size_t first = at + beginning.size();
        std::size_t end = first;
        while (end < text.size() && !isWhitespaceAt(text, end)) end += unicode::decode(text, end).length;
        if (end > first) return Replacement{at > from && text[at - 1] == '<' ? at - 1 : at, end};
      }
    }
    return std::nullopt;
  });
}

// \[\s*\]|\(\s*\)
std::string withoutEmptyBrackets(std::string_view text) {
  return replacing(text, [&](std::size_t from) -> std::optional<Replacement> {
    for (std::size_t at = from; at < text.size(); ++at) {
      if (text[at] != '[' && text[at] != '(') continue;
      std::size_t end = at + 1;
      while (end < text.size() && isWhitespaceAt(text, end)) end += unicode::decode(text, end).length;
      if (end < text.size() && text[end] == (text[at] == '[' ? ']' : ')')) return Replacement{at, end + 1};
    }
    return std::nullopt;
  });
}

// All of it as one line.
std::string lineOfText(std::string_view text) {
  return text::collapseWhitespace(withoutEmptyBrackets(withoutAddresses(withLabelsForLinks(text))));
}

std::string lineOfAny(std::string_view text) {
  const std::string line = withoutShortTags(looksLikeHtml(text) ? plainText(text) : decodeEntities(text));
  return lineOfText(withoutCutTag(line));
}

using LineOf = std::string (*)(std::string_view);

// That of most mails, by their first words: only what is in brackets may reach from there far into the rest.
std::optional<std::string> snippetOfBeginning(std::string_view text, std::size_t length, LineOf lineOf) {
  const std::size_t unsure = length;  // bytes at the end, which what comes may still change
  const std::string_view beginning = text::firstBytes(text, 4 * length + unsure);
  if (beginning.find_first_of("<[") != none) return std::nullopt;
  const std::string line = lineOf(beginning);
  const std::string_view cut = text::firstCharacters(line, length);
  if (cut.size() + unsure > line.size()) return std::nullopt;
  return std::string(text::trimSpaces(cut));
}

std::string snippetBy(LineOf lineOf, std::string_view text, std::size_t length) {
  if (auto early = snippetOfBeginning(text, length, lineOf)) return std::move(*early);
  const std::string line = lineOf(text::firstBytes(text, readForSnippet));
  return std::string(text::trimSpaces(text::firstCharacters(line, length)));
}

}  // namespace

std::string snippet(std::string_view text, std::size_t length) { return snippetBy(lineOfAny, text, length); }

std::string snippetOfText(std::string_view text, std::size_t length) { return snippetBy(lineOfText, text, length); }

}  // namespace vesk::MIME
