#include "app/StandardInput.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <unistd.h>

#include <fmt/format.h>

#include "core/base/Error.h"
#include "core/platform/FileError.h"

namespace vesk::app {

std::string standardInput(const InputRules& rules) {
  if (!rules.invitation.empty() && ::isatty(STDIN_FILENO)) fmt::print(stderr, "{}\n", rules.invitation);
  std::string text;
  std::array<char, 1 << 16> piece = {};
  while (const std::size_t count = std::fread(piece.data(), 1, piece.size(), stdin)) {
    text.append(piece.data(), count);
    if (text.size() > rules.most) throw Error(std::string(rules.tooMuch));
  }
  if (std::ferror(stdin)) throw FileError("read", "the standard input", errno);
  return text;
}

}  // namespace vesk::app
