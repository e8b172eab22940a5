#include "app/AnswerText.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace vesk::app {

namespace {

constexpr std::size_t none = std::string_view::npos;
constexpr std::size_t longestTitle = 1000;   // bytes of a citation
constexpr std::size_t longestTag = 1 << 16;  // likewise
constexpr std::size_t longestMark = 1000;    // backticks or tildes
constexpr std::string_view special = "\n`~[<";

struct Tag {
  std::string_view opening = {};
  std::string_view closing = {};
};
constexpr Tag hiddenTags[] = {{"<proposal", "</proposal>"}, {"<tasks>", "</tasks>"}, {"<nothing/>", ""}};

// Where the next tag of that name begins behind the one that `text` begins with: the one that closes it, or another
// that opens, which leaves the first open for good.
std::size_t nextOf(const Tag& tag, std::string_view text) {
  std::size_t at = tag.opening.size();
  while (at < text.size() && !text.substr(at).starts_with(tag.closing) && !text.substr(at).starts_with(tag.opening))
    at = std::min(text.find('<', at + 1), text.size());
  return std::min(at, text.size());
}

bool isOpenAtEnd(const Tag& tag, std::string_view text) { return nextOf(tag, text) == text.size(); }

std::optional<std::size_t> endOf(const Tag& tag, std::string_view text) {
  const std::size_t next = nextOf(tag, text);
  if (!text.substr(next).starts_with(tag.closing)) return std::nullopt;
  return next + tag.closing.size();
}

// Whether `text` ends before it can be told whether it begins with the word.
bool mayBecome(std::string_view text, std::string_view word) {
  return text.size() < word.size() && word.starts_with(text);
}

// The label of a citation, from what stands between its brackets; "" when it is none.
std::string_view labelOf(std::string_view inner) {
  if (inner.find_first_of("[]\n") != none) return {};
  const std::size_t bar = inner.find('|');
  if (bar == 0) return {};
  return bar == none ? inner : inner.substr(bar + 1);
}

}  // namespace

std::string AnswerText::add(std::string_view piece) {
  held_ += piece;
  return takeSteps();
}

std::string AnswerText::end() {
  isWhole_ = true;
  std::string shown = takeSteps();
  if (hasShown_) shown += '\n';
  *this = AnswerText(terminal_, isOfMeeting_);
  return shown;
}

std::string AnswerText::shown(std::string_view answer, const Terminal& terminal) {
  AnswerText text(terminal, true);
  std::string shown = text.add(answer);
  return shown += text.end();
}

std::string AnswerText::takeSteps() {
  std::string shown;
  while (taken_ < held_.size()) {
    const Step step = nextStep();
    if (step.taken == 0) break;
    put(step.shown, shown);
    taken_ += step.taken;
  }
  held_.erase(0, std::exchange(taken_, 0));
  return shown;
}

AnswerText::Step AnswerText::nextStep() {
  const std::string_view text = rest();
  switch (text.front()) {
    case '\n':
      if (fence_ > 0 || breaks_ < 2) ++breaks_;  // one empty line between paragraphs will do
      isLineStart_ = true;
      if (breaks_ > 1) span_ = 0;  // no code in a line goes on into the next paragraph
      return {.taken = 1};
    case '`':
    case '~': return codeMark();
    case '[': return isInCode() ? plain(1) : citation();
    case '<': return isInCode() || !isOfMeeting_ ? plain(1) : tag();
    default: return plain(std::min(text.find_first_of(special), text.size()));
  }
}

AnswerText::Step AnswerText::plain(std::size_t length) const {
  return {.taken = length, .shown = safe(rest().substr(0, length))};
}

// A run of backticks or tildes: at the beginning of a line, three of them begin and end a block of code.
AnswerText::Step AnswerText::codeMark() {
  const std::string_view text = rest();
  const char mark = text.front();
  const std::size_t length = std::min(text.find_first_not_of(mark), text.size());
  if (length == text.size() && length < longestMark && !isWhole_) return {};
  if (fence_ > 0) {
    if (isLineStart_ && mark == fenceMark_ && length >= fence_) fence_ = 0;
  } else if (isLineStart_ && length >= 3) {
    fence_ = length;
    fenceMark_ = mark;
  } else if (mark == '`' && (span_ == 0 || span_ == length)) {
    span_ = span_ == 0 ? length : 0;
  }
  return plain(length);
}

AnswerText::Step AnswerText::citation() const {
  constexpr std::string_view opening = "[[";
  constexpr std::string_view closing = "]]";
  const std::string_view text = rest().substr(0, longestTitle);
  if (mayBecome(text, opening) && !isWhole_) return {};
  if (!text.starts_with(opening)) return plain(1);
  const std::size_t end = text.find(closing, opening.size());
  const std::string_view inner = text.substr(opening.size(), end == none ? none : end - opening.size());
  if (end == none) {
    const bool mayEnd = text.size() < longestTitle && inner.find_first_of("[\n") == none;
    return mayEnd && !isWhole_ ? Step{} : plain(1);
  }
  const std::string_view label = labelOf(inner);
  if (label.empty()) return plain(1);
  return {.taken = end + closing.size(), .shown = styled(safe(label), Style::strong, terminal_)};
}

AnswerText::Step AnswerText::tag() const {
  const std::string_view text = rest().substr(0, longestTag);
  for (const Tag& tag : hiddenTags) {
    if (mayBecome(text, tag.opening) && !isWhole_) return {};
    if (!text.starts_with(tag.opening)) continue;
    if (const auto end = endOf(tag, text)) return {.taken = *end};
    const bool mayEnd = text.size() < longestTag && !isWhole_;
    return mayEnd && isOpenAtEnd(tag, text) ? Step{} : plain(1);
  }
  return plain(1);
}

// There are no empty lines around an answer.
void AnswerText::put(std::string_view text, std::string& shown) {
  if (text.empty()) return;
  if (hasShown_) shown.append(breaks_, '\n');
  breaks_ = 0;
  hasShown_ = true;
  isLineStart_ = isLineStart_ && text.find_first_not_of(' ') == none;
  shown += text;
}

}  // namespace vesk::app
