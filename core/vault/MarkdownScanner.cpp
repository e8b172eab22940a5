#include "core/vault/MarkdownScanner.h"

#include <algorithm>
#include <cstddef>

#include "core/base/Text.h"
#include "core/base/Unicode.h"

namespace vesk::markdown {

namespace {

constexpr std::size_t none = std::string_view::npos;

// The first line break at or after `at`, or the text's end.
std::size_t endOfLine(std::string_view text, std::size_t at) { return std::min(text.find('\n', at), text.size()); }

// Collects the kept pieces of one text, joining those that touch.
class Pieces {
 public:
  explicit Pieces(std::string_view text) : text_(text) { kept_.reserve(16); }

  void keep(std::size_t begin, std::size_t end) {
    if (begin == end) return;
    if (begin != end_) flush();
    if (begin_ == end_) begin_ = begin;
    end_ = end;
  }

  // Takes back a line break that was kept last.
  void dropLineBreak() {
    if (end_ > begin_ && text_[end_ - 1] == '\n') --end_;
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

// Keeps what stands outside single backticks in the lines [begin, end).
void keepOutsideCode(std::string_view text, std::size_t begin, std::size_t end, Pieces& pieces) {
  const std::string_view upToEnd = text.substr(0, end);
  std::size_t lineEnd = begin;
  while (begin < end) {
    const std::size_t open = upToEnd.find('`', begin);
    if (open == none) return pieces.keep(begin, end);
    if (open >= lineEnd) lineEnd = endOfLine(upToEnd, open);
    const std::size_t close = text.substr(0, lineEnd).find('`', open + 1);
    // Without a second one in its line it is a character like any other; right behind it, the second may open a span.
    const bool isSpan = close != none && close > open + 1;
    pieces.keep(begin, isSpan ? open : open + 1);
    begin = isSpan ? close + 1 : open + 1;
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

std::size_t nextFence(std::string_view text, std::size_t lineBegin) {
  std::size_t from = lineBegin;
  for (std::size_t tick = text.find('`', from); tick != none; tick = text.find('`', from)) {
    from = tick + 1;
    if (!text.substr(tick).starts_with("```")) continue;  // inline code, as a rule
    const std::size_t lineBreak = text.rfind('\n', tick);
    const std::size_t begin = lineBreak == none ? 0 : lineBreak + 1;
    if (text.substr(begin, tick - begin).find_first_not_of(" \t") == none) return begin;
    from = endOfLine(text, tick);
  }
  return none;
}

std::optional<Link> LinkScanner::next() {
  for (std::size_t open = text_.find("[[", position_); open != none; open = text_.find("[[", position_)) {
    const std::size_t begin = open + 2;
    if (close_ < begin) close_ = text_.find(']', begin);
    if (close_ == none) break;
    if (!text_.substr(close_ + 1).starts_with(']')) {
      position_ = close_ + 1;  // every link begun before this "]" ends in it
      continue;
    }
    const std::string_view inside = text_.substr(begin, close_ - begin);
    const auto targetEnd = std::find_if(inside.begin(), inside.end(), [](char c) { return c == '|' || c == '#'; });
    const std::string_view target(inside.begin(), targetEnd);
    position_ = target.empty() ? open + 1 : close_ + 2;
    if (const auto trimmed = text::trimSpaces(target); !trimmed.empty())
      return Link{text_.substr(open, close_ + 2 - open), trimmed};
  }
  position_ = text_.size();
  return std::nullopt;
}

std::vector<std::string_view> links(std::string_view text) {
  std::vector<std::string_view> targets;
  targets.reserve(32);
  LinkScanner scanner(text);
  while (const auto link = scanner.next()) targets.push_back(link->target);
  return targets;
}

std::vector<std::string_view> prosePieces(std::string_view text) {
  if (text.find('`') == none) return {text};
  Pieces pieces(text);
  for (std::size_t begin = 0;;) {
    const std::size_t opening = nextFence(text, begin);
    keepOutsideCode(text, begin, std::min(opening, text.size()), pieces);
    if (opening == none) return pieces.take();
    const std::size_t closing = nextFence(text, endOfLine(text, opening));
    const std::size_t end = closing == none ? text.size() : endOfLine(text, closing);
    if (end == text.size()) {
      pieces.dropLineBreak();  // it joins nothing
      return pieces.take();
    }
    begin = end + 1;
  }
}

std::string joined(const std::vector<std::string_view>& pieces) {
  std::size_t size = 0;
  for (const std::string_view piece : pieces) size += piece.size();
  std::string text;
  text.reserve(size);
  for (const std::string_view piece : pieces) text += piece;
  return text;
}

std::string prose(std::string_view text) { return joined(prosePieces(text)); }

std::optional<TagScanner::Match> TagScanner::next() {
  for (std::size_t hash = prose_.find('#', position_); hash != none; hash = prose_.find('#', position_)) {
    position_ = mayBeginTag(prose_, hash) ? endOfTag(prose_, hash + 1) : hash + 1;
    if (position_ > hash + 1) return Match{hash, prose_.substr(hash + 1, position_ - hash - 1)};
  }
  position_ = prose_.size();
  return std::nullopt;
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
