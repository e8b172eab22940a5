#include "core/mail/Recipients.h"

#include <algorithm>
#include <cstddef>
#include <string>

#include <fmt/format.h>

#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/base/Unicode.h"
#include "core/mail/MIME.h"

namespace vesk::recipients {

namespace {

// Beyond ASCII letters, their marks and digits: no white space, and nothing that changes what stands beside it.
bool mayBeInAddress(char32_t c) {
  constexpr char32_t nonJoiner = 0x200C;
  constexpr char32_t joiner = 0x200D;
  if (c >= 0x80) return unicode::isWord(c) && c != nonJoiner && c != joiner;
  constexpr std::string_view special = "\"(),:;<>[]\\";
  return c > ' ' && c < 0x7F && special.find(static_cast<char>(c)) == std::string_view::npos;
}

// The pieces between the commas that stand outside of quotes.
std::vector<std::string_view> piecesOf(std::string_view list) {
  std::vector<std::string_view> pieces;
  std::size_t begin = 0;
  bool isQuoted = false;
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (list[i] == '\\') {
      ++i;
    } else if (list[i] == '"') {
      isQuoted = !isQuoted;
    } else if (list[i] == ',' && !isQuoted) {
      pieces.push_back(list.substr(begin, i - begin));
      begin = i + 1;
    }
  }
  pieces.push_back(list.substr(begin));
  return pieces;
}

// As much of it as a sentence needs.
std::string shortened(std::string_view piece) {
  constexpr std::size_t characters = 120;
  constexpr std::size_t units = 1'200;
  return text::collapseWhitespace(text::firstUnits(text::firstCharacters(piece, characters), units));
}

// "ana@example.org", or with a name before it in "<>".
MailAddress addressOf(std::string_view piece) {
  const bool isOneLine = piece.find_first_of("\r\n") == std::string_view::npos;
  const std::size_t open = piece.ends_with('>') ? piece.rfind('<') : std::string_view::npos;
  const bool isInBrackets = open != std::string_view::npos;
  const std::string_view address = isInBrackets ? piece.substr(open + 1, piece.size() - open - 2) : piece;
  const auto read = MailAddress::list(piece);
  const bool isSound = isOneLine && read.size() == 1 && read.front().address == address && isAddress(address);
  MailAddress person{.name = isSound && isInBrackets ? MIME::visibleLine(read.front().name) : "",
                     .address = std::string(address)};
  if (!isSound || isAnotherAddress(person.name, address))
    throw Error(fmt::format("\"{}\" isn't an email address.", shortened(piece)));
  return person;
}

}  // namespace

bool isAddress(std::string_view text) {
  constexpr std::size_t longestLocalPart = 64;  // bytes, RFC 5321, 4.5.3.1
  constexpr std::size_t longestAddress = 254;   // of a path, without its brackets
  const std::size_t at = text.find('@');
  const bool hasLocalPart = at != std::string_view::npos && at > 0 && at <= longestLocalPart;
  if (!hasLocalPart || at != text.rfind('@') || text.size() > longestAddress) return false;
  for (std::size_t i = 0; i < text.size();) {
    const unicode::CodePoint c = unicode::decode(text, i);
    if (!mayBeInAddress(c.value)) return false;
    i += c.length;
  }
  const auto labels = text::split(text.substr(at + 1), '.');
  return std::ranges::none_of(labels, &std::string_view::empty) && MIME::visibleText(text).text == text;
}

bool isAnotherAddress(std::string_view name, std::string_view address) {
  return name.find('@') != std::string_view::npos && !text::equalIgnoringCase(name, address);
}

std::vector<MailAddress> from(std::string_view list) {
  std::vector<MailAddress> addresses;
  for (const std::string_view piece : piecesOf(list))
    if (!text::trimSpaces(piece).empty()) addresses.push_back(addressOf(text::trimSpaces(piece)));
  return addresses;
}

}  // namespace vesk::recipients
