#include "core/vault/MarkdownScanner.h"

#include <algorithm>
#include <cstddef>

#include "core/base/Text.h"
#include "core/base/Unicode.h"

namespace vesk::markdown {

namespace {

constexpr std::size_t none = std::string_view::npos;

bool beginsFence(std::string_view line) {
  const std::size_t begin = line.find_first_not_of(" \t");
  return begin != none && line.substr(begin).starts_with("```");
}

// Collects the kept pieces of one text, joining those that touch.
class Pieces {
 public:
  explicit Pieces(std::string_view text) : text_(text) {}

  void keep(std::size_t begin, std::size_t end) {
    if (begin == end) return;
    if (begin != end_) flush();
    if (begin_ == end_) begin_ = begin;
    end_ = end;
  }

  std::vector<std::string_view> take() {
    flush();
    return std::move(kept_);
  }

 private:
  void flush() {
    if (begin_ != end_) kept_.push_back(text_.substr(begin_, end_ - begin_));
    begin_ = end_;
  }

  std::string_view text_;
  std::vector<std::string_view> kept_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
};

// Keeps what stands outside single backticks in the line [begin, end).
void keepOutsideCode(std::string_view text, std::size_t begin, std::size_t end, Pieces& pieces) {
  const std::string_view upToEnd = text.substr(0, end);
  for (std::size_t at = begin; at < end;) {
    const std::size_t open = upToEnd.find('`', at);
    const std::size_t close = open == none ? none : upToEnd.find('`', open + 1);
    if (close == none) return pieces.keep(at, end);
    if (close == open + 1) {  // nothing between: the second may open a span itself
      pieces.keep(at, close);
      at = close;
    } else {
      pieces.keep(at, open);
      at = close + 1;
    }
  }
}

bool continuesTag(char32_t c) { return c == '_' || c == '/' || c == '-' || unicode::isLetterOrNumber(c); }

// The end of the tag whose letters begin at `at`; `at` when none does.
std::size_t endOfTag(std::string_view text, std::size_t at) {
  if (at >= text.size()) return at;
  const auto first = unicode::decode(text, at);
  if (!unicode::isLetter(first.value)) return at;
  at += first.length;
  while (at < text.size()) {
    const auto next = unicode::decode(text, at);
    if (!continuesTag(next.value)) break;
    at += next.length;
  }
  return at;
}

bool mayBeginTag(std::string_view text, std::size_t hash) {
  if (hash == 0) return true;
  const char32_t before = unicode::decodeBefore(text, hash).value;
  return before != '/' && before != '#' && !unicode::isWord(before);
}

}  // namespace

std::optional<std::string> firstHeading(std::string_view text) {
  for (std::size_t hash = text.find('#'); hash != none; hash = text.find('#', hash + 1)) {
    const bool beginsLine = hash == 0 || text[hash - 1] == '\n' || (hash == 3 && text.starts_with("\xEF\xBB\xBF"));
    if (!beginsLine || hash + 1 >= text.size() || text[hash + 1] != ' ') continue;
    const std::size_t end = text.find('\n', hash);
    return std::string(text::trimWhitespace(text.substr(hash + 2, end == none ? end : end - hash - 2)));
  }
  return std::nullopt;
}

std::vector<std::string> links(std::string_view text) {
  std::vector<std::string> found;
  std::size_t close = 0;  // the first "]" at or after the link's beginning
  for (std::size_t open = text.find("[["); open != none;) {
    const std::size_t begin = open + 2;
    if (close < begin) close = text.find(']', begin);
    if (close == none) break;
    if (close + 1 >= text.size() || text[close + 1] != ']') {
      open = text.find("[[", close + 1);  // every link begun before this "]" ends in it
      continue;
    }
    const std::string_view inside = text.substr(begin, close - begin);
    const std::size_t end = inside.find_first_of("|#");
    const std::string_view target = inside.substr(0, end);
    if (target.empty()) {
      open = text.find("[[", open + 1);
      continue;
    }
    if (const auto trimmed = text::trimSpaces(target); !trimmed.empty()) found.emplace_back(trimmed);
    open = text.find("[[", close + 2);
  }
  return found;
}

std::vector<std::string_view> prosePieces(std::string_view text) {
  if (text.find('`') == none) return {text};
  Pieces pieces(text);
  bool inFence = false;
  std::optional<std::size_t> lineBreak;  // the one after the last kept line
  for (std::size_t begin = 0; begin <= text.size();) {
    const std::size_t found = text.find('\n', begin);
    const std::size_t end = found == none ? text.size() : found;
    const bool isFence = beginsFence(text.substr(begin, end - begin));
    if (isFence) inFence = !inFence;
    if (!isFence && !inFence) {
      if (lineBreak) pieces.keep(*lineBreak, *lineBreak + 1);
      keepOutsideCode(text, begin, end, pieces);
      lineBreak = end;
    }
    begin = end + 1;
  }
  return pieces.take();
}

std::string prose(std::string_view text) {
  std::string joined;
  for (const std::string_view piece : prosePieces(text)) joined += piece;
  return joined;
}

std::vector<TagMatch> inlineTags(std::string_view prose) {
  std::vector<TagMatch> found;
  for (std::size_t hash = prose.find('#'); hash != none;) {
    const std::size_t end = mayBeginTag(prose, hash) ? endOfTag(prose, hash + 1) : hash + 1;
    if (end > hash + 1) found.push_back({hash, prose.substr(hash + 1, end - hash - 1)});
    hash = prose.find('#', end);
  }
  return found;
}

std::string_view preview(std::string_view body) {
  for (std::size_t begin = 0; begin < body.size();) {
    const std::size_t end = std::min(body.find('\n', begin), body.size());
    const std::string_view line = text::trimWhitespace(body.substr(begin, end - begin));
    if (!line.empty() && !line.starts_with('#')) return line;
    begin = end + 1;
  }
  return {};
}

}  // namespace vesk::markdown
