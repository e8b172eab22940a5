#include "app/Highlight.h"

#include <algorithm>

#include "core/base/Text.h"
#include "core/base/TextSearch.h"
#include "core/base/Unicode.h"

namespace vesk::app {

namespace {

// A line as the search compares it, and for each of its bytes the one of the line it was made from.
struct FoldedLine {
  std::string text = {};
  std::vector<std::size_t> origins = {};
};

FoldedLine fold(std::string_view line) {
  FoldedLine folded;
  for (std::size_t i = 0; i < line.size();) {
    const std::size_t length = unicode::decode(line, i).length;
    folded.text += text::folded(line.substr(i, length));
    folded.origins.resize(folded.text.size(), i);
    i += length;
  }
  folded.origins.push_back(line.size());
  return folded;
}

// Shows what comes before the words as far as it leaves most of the width to the rest.
std::string fromNearby(std::string_view line, std::size_t position, std::size_t width) {
  std::size_t begin = position;
  for (std::size_t i = 0; i < width / 3 && begin > 0; ++i) begin -= unicode::decodeBefore(line, begin).length;
  return begin == 0 ? std::string(line) : "…" + std::string(line.substr(begin));
}

}  // namespace

std::vector<Span> findWords(std::string_view line, std::string_view words) {
  const FoldedLine folded = fold(line);
  const std::string wanted = text::folded(words);
  std::vector<Span> found;
  if (wanted.empty()) return found;
  for (std::size_t at = folded.text.find(wanted); at != std::string::npos;
       at = folded.text.find(wanted, at + wanted.size()))
    found.push_back({folded.origins[at], folded.origins[at + wanted.size()]});
  return found;
}

std::string excerpt(std::string_view line, std::string_view words, std::size_t width, const Terminal& terminal) {
  std::string shown = text::nfc(safe(text::trimWhitespace(line)));  // composed, as the search compares it
  if (columns(shown) > width)
    if (const auto found = findWords(shown, words); !found.empty())
      shown = fromNearby(shown, found.front().begin, width);
  shown = shortened(shown, width);
  std::string text;
  std::size_t done = 0;
  for (const auto [begin, end] : findWords(shown, words)) {
    text += shown.substr(done, begin - done) + styled(shown.substr(begin, end - begin), Style::found, terminal);
    done = end;
  }
  return text + shown.substr(done);
}

}  // namespace vesk::app
