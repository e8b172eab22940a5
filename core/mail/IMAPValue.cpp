#include "core/mail/IMAPValue.h"

#include <charconv>
#include <limits>
#include <system_error>
#include <utility>

#include "core/base/Ascii.h"
#include "core/base/Text.h"

namespace vesk {

std::optional<std::size_t> literalSize(std::string_view lineWithoutBreak) {
  if (!lineWithoutBreak.ends_with('}')) return std::nullopt;
  const std::size_t open = lineWithoutBreak.rfind('{');
  if (open == std::string_view::npos) return std::nullopt;
  const auto digits = lineWithoutBreak.substr(open + 1, lineWithoutBreak.size() - open - 2);
  std::size_t size = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), size);
  if (end != digits.data() + digits.size() || error == std::errc::invalid_argument) return std::nullopt;
  return error == std::errc() ? size : std::numeric_limits<std::size_t>::max();
}

std::optional<std::string_view> IMAPValue::text() const {
  if (kind == Kind::list || !text::isValidUtf8(bytes)) return std::nullopt;
  return bytes;
}

// Walks a response. Each CRLF in its text stands for one literal, in their order.
class IMAPValue::Reader {
 public:
  Reader(IMAPResponse& response, const IMAPLimits& limits)
      : text_(response.text), literals_(response.literals), limits_(limits) {}

  // Up to that byte, which is taken, or to the end.
  std::vector<IMAPValue> values(std::optional<char> closing, std::size_t depth) {
    if (depth > limits_.depth) throw unreadable("too many lists in lists");
    std::vector<IMAPValue> read;
    while (at_ < text_.size()) {
      if (text_[at_] == closing) {
        ++at_;
        break;
      }
      if (isPassedOver()) continue;
      if (++count_ > limits_.values) throw unreadable("too many parts");
      read.push_back(value(depth));
    }
    return read;
  }

 private:
  // Spaces, and what a broken answer has too many of.
  bool isPassedOver() {
    if (text_.substr(at_).starts_with("\r\n")) {
      at_ += 2;
      ++nextLiteral_;
      return true;
    }
    if (text_[at_] != ' ' && text_[at_] != ')' && text_[at_] != '\r') return false;
    ++at_;
    return true;
  }

  IMAPValue value(std::size_t depth) {
    if (text_[at_] == '(') {
      ++at_;
      return {.kind = Kind::list, .values = values(')', depth + 1)};
    }
    if (text_[at_] == '"') return quoted();
    const std::size_t begin = at_;
    skipAtom();
    if (text_.substr(at_).starts_with("\r\n") && nextLiteral_ < literals_.size()) {
      // The line ends behind what was read: with the mark of a literal, right behind an atom perhaps.
      const std::size_t mark = text_.substr(begin, at_ - begin).rfind('{');
      if (mark == 0) return literal();
      if (mark != std::string_view::npos) at_ = begin + mark;
    }
    return {.kind = Kind::atom, .bytes = std::string(text_.substr(begin, at_ - begin))};
  }

  IMAPValue quoted() {
    IMAPValue value{.kind = Kind::string};
    for (++at_; at_ < text_.size() && text_[at_] != '"' && !text_.substr(at_).starts_with("\r\n"); ++at_) {
      if (text_[at_] == '\\' && at_ + 1 < text_.size() && text_[at_ + 1] != '\r') ++at_;
      value.bytes += text_[at_];
    }
    if (at_ < text_.size() && text_[at_] == '"') ++at_;
    return value;
  }

  // Behind its mark.
  IMAPValue literal() {
    at_ += 2;
    return {.kind = Kind::literal, .bytes = std::move(literals_[nextLiteral_++])};
  }

  void skipAtom() {
    while (at_ < text_.size() && std::string_view(" ()\"\r").find(text_[at_]) == std::string_view::npos) ++at_;
  }

  std::string_view text_;
  std::vector<std::string>& literals_;
  const IMAPLimits& limits_;
  std::size_t at_ = 0;
  std::size_t nextLiteral_ = 0;
  std::size_t count_ = 0;
};

std::vector<IMAPValue> IMAPValue::list(IMAPResponse&& response, const IMAPLimits& limits) {
  return Reader(response, limits).values(std::nullopt, 0);
}

}  // namespace vesk
