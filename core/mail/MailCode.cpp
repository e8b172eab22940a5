#include "core/mail/MailCode.h"

#include <cstddef>

#include "core/base/Unicode.h"

namespace vesk::MailCode {

namespace {

constexpr std::size_t fewestDigits = 4;
constexpr std::size_t mostDigits = 8;

// The bytes of a space or a no-break space at `at`; 0 for anything else.
std::size_t spaceAt(std::string_view text, std::size_t at) {
  for (const std::string_view space : {" ", "\u00A0", "\u202F"})
    if (text.substr(at).starts_with(space)) return space.size();
  return 0;
}

// Digits that stand together.
struct Digits {
  std::size_t count = 0;
  std::size_t end = 0;
};

Digits digitsAt(std::string_view text, std::size_t at) {
  Digits digits{.end = at};
  while (digits.end < text.size()) {
    const unicode::CodePoint c = unicode::decode(text, digits.end);
    if (!unicode::isDigit(c.value)) break;
    ++digits.count;
    digits.end += c.length;
  }
  return digits;
}

// The number that begins with a group of digits, spaced as codes are: two groups of three digits, or single ones. One
// of too many digits where the groups don't make up such a number.
Digits spacedNumber(std::string_view text, Digits first) {
  if (first.count != 1 && first.count != 3) return first;
  const auto none = [](std::size_t end) { return Digits{.count = mostDigits + 1, .end = end}; };
  Digits all = first;
  while (true) {
    const std::size_t space = spaceAt(text, all.end);
    const Digits next = space > 0 ? digitsAt(text, all.end + space) : Digits();
    if (next.count == 0) break;
    if (next.count != first.count) return none(all.end);
    all = {all.count + next.count, next.end};
  }
  return first.count == 3 && all.count != 6 ? none(all.end) : all;
}

bool joinsNumbers(char32_t c) { return c == '.' || c == ',' || c == '/' || c == ':'; }

bool mayStandBefore(std::string_view text, std::size_t at) {
  if (at == 0) return true;
  const char32_t before = unicode::decodeBefore(text, at).value;
  return before != '-' && !joinsNumbers(before) && !unicode::isDigit(before);
}

// Whether more digits follow, behind nothing but what joins numbers.
bool goesOn(std::string_view text, std::size_t at) {
  while (at < text.size() && joinsNumbers(static_cast<unsigned char>(text[at]))) ++at;
  return digitsAt(text, at).count > 0;
}

std::string withoutSpaces(std::string_view number) {
  std::string digits;
  for (std::size_t at = 0; at < number.size();) {
    const std::size_t space = spaceAt(number, at);
    if (space == 0) digits += number[at];
    at += space == 0 ? 1 : space;
  }
  return digits;
}

std::optional<std::string> findIn(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    const Digits digits = digitsAt(text, at);
    if (digits.count == 0) {
      at += unicode::decode(text, at).length;
      continue;
    }
    const Digits number = spacedNumber(text, digits);
    const bool isCode = number.count >= fewestDigits && number.count <= mostDigits;
    if (isCode && mayStandBefore(text, at) && !goesOn(text, number.end))
      return withoutSpaces(text.substr(at, number.end - at));
    at = number.end;
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> find(std::string_view subject, std::string_view text) {
  auto code = findIn(subject);
  return code ? code : findIn(text);
}

}  // namespace vesk::MailCode
