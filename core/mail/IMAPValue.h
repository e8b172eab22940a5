#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/mail/IMAPLimits.h"

namespace vesk {

// One response of an IMAP server: a line, and the literals within it.
struct IMAPResponse {
  std::string text = {};  // without its last CRLF; a literal of 5 bytes is written as "{5}" CRLF
  std::vector<std::string> literals = {};
  bool operator==(const IMAPResponse&) const = default;
};

// The size of the literal that follows a line, which ends with "{n}" (RFC 3501, 4.3) before its CRLF; nullopt when none
// does. Sizes beyond what std::size_t holds are its maximum.
std::optional<std::size_t> literalSize(std::string_view lineWithoutBreak);

// A part of a response.
struct IMAPValue {
  enum class Kind {
    atom,     // a bare word, NIL and numbers as well
    string,   // a quoted string, without its quotes and backslashes
    literal,  // counted bytes
    list,
  };

  Kind kind = Kind::atom;
  std::string bytes = {};              // of all but lists
  std::vector<IMAPValue> values = {};  // of a list

  // The bytes; nullopt for a list and for what isn't UTF-8.
  std::optional<std::string_view> text() const;

  bool operator==(const IMAPValue&) const = default;

  // All the values of a response: "* LIST () NIL a" has five. What isn't closed ends with the response. The literals
  // are moved, not copied. Takes linear time. MailError when they are more, or deeper, than the limits allow.
  static std::vector<IMAPValue> list(IMAPResponse&& response, const IMAPLimits& limits);

 private:
  class Reader;
};

}  // namespace vesk
