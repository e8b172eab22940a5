#pragma once

#include <chrono>
#include <cstddef>
#include <string_view>

#include <fmt/format.h>

#include "core/mail/MailError.h"

namespace vesk {

// What a mail server may ask of this program's patience and memory. Beyond it, the connection is closed.
struct IMAPLimits {
  std::chrono::milliseconds silence = std::chrono::seconds(60);  // within an answer
  // What a byte adds to that: a server slower than 1 KB a second is not waited for.
  std::chrono::microseconds perByte{1000};
  std::size_t line = std::size_t{16} << 20;      // bytes; a search that finds a million messages takes half of it
  std::size_t literal = std::size_t{128} << 20;  // bytes; few providers let a mail of over 50 MB pass
  std::size_t answer = std::size_t{256} << 20;   // bytes of memory for all the responses to one command
  std::size_t responses = 100'000;               // to one command; none of ours asks for many more than 10,000
  std::size_t depth = 64;                        // of lists in lists: each takes some of the stack
  std::size_t values = 100'000;                  // in one response
};

// "its answer has {what}"
inline MailError unreadable(std::string_view what) {
  return MailError::refused(fmt::format("its answer has {}, which Vesk doesn't read.", what));
}

}  // namespace vesk
