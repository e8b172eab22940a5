#include "core/assistant/ChatLinks.h"

#include <cstddef>

#include "core/base/Ascii.h"
#include "core/base/Text.h"
#include "core/vault/MarkdownScanner.h"

namespace vesk::ChatLinks {

namespace {

constexpr std::size_t none = std::string_view::npos;

struct Citation {
  std::string_view whole = {};
  std::string_view title = {};
  std::string_view label = {};
};

// The one that `text` begins with.
std::optional<Citation> citationAt(std::string_view text) {
  const std::size_t titleEnd = text.find_first_of("[]|", 2);
  if (titleEnd == none || titleEnd == 2) return std::nullopt;
  const std::string_view title = text.substr(2, titleEnd - 2);
  std::string_view label = title;
  std::size_t end = titleEnd;
  if (text[titleEnd] == '|') {
    end = text.find_first_of("[]", titleEnd + 1);
    if (end == none || end == titleEnd + 1) return std::nullopt;
    label = text.substr(titleEnd + 1, end - titleEnd - 1);
  }
  if (!text.substr(end).starts_with("]]")) return std::nullopt;
  return Citation{text.substr(0, end + 2), title, label};
}

void appendEncoded(std::string_view title, std::string& url) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  for (const char c : title) {
    const auto byte = static_cast<unsigned char>(c);
    if (ascii::isLetter(c) || ascii::isDigit(c))
      url += c;
    else
      url.append({'%', digits[byte >> 4U], digits[byte & 15U]});
  }
}

// No character is looked at often: what is no citation ends before the next may begin.
void appendLinking(std::string_view prose, std::string& linked) {
  for (std::size_t open = prose.find("[["); open != none; open = prose.find("[[")) {
    const auto citation = citationAt(prose.substr(open));
    linked += prose.substr(0, citation ? open : open + 1);
    prose.remove_prefix(open + (citation ? citation->whole.size() : 1));
    if (!citation) continue;
    linked.append("[").append(citation->label).append("](").append(scheme).append(":");
    appendEncoded(citation->title, linked);
    linked += ')';
  }
  linked += prose;
}

}  // namespace

std::string linkingNotes(std::string_view text) {
  std::string linked;
  const char* done = text.data();
  for (const std::string_view prose : markdown::prosePieces(text)) {
    linked.append(done, prose.data());
    appendLinking(prose, linked);
    done = prose.data() + prose.size();
  }
  return linked.append(done, text.data() + text.size());
}

std::optional<std::string> noteTitle(std::string_view url) {
  if (!url.starts_with(scheme) || !url.substr(scheme.size()).starts_with(':')) return std::nullopt;
  url.remove_prefix(scheme.size() + 1);
  std::string title;
  for (std::size_t at = 0; at < url.size(); ++at) {
    if (url[at] != '%') {
      title += url[at];
      continue;
    }
    const int high = at + 2 < url.size() ? ascii::hexValue(url[at + 1]) : -1;
    const int low = high < 0 ? -1 : ascii::hexValue(url[at + 2]);
    if (low < 0) return std::nullopt;
    title += static_cast<char>(high * 16 + low);
    at += 2;
  }
  return text::isValidUtf8(title) ? std::optional(title) : std::nullopt;
}

}  // namespace vesk::ChatLinks
