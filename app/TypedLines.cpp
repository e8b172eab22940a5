#include "app/TypedLines.h"

#include <array>
#include <cerrno>
#include <poll.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

#include "core/base/Text.h"
#include "core/platform/FileError.h"

namespace vesk::app {

Typed TypedLines::next(std::optional<std::chrono::milliseconds> time) {
  using Kind = Typed::Kind;
  for (;;) {
    if (auto line = takeLine()) return std::move(*line);
    if (isEnded_) return {Kind::end};
    std::array<pollfd, 2> polled{{{STDIN_FILENO, POLLIN, 0}, {interrupts_.descriptor(), POLLIN, 0}}};
    if (::poll(polled.data(), polled.size(), time ? static_cast<int>(time->count()) : -1) <= 0) return {};
    if (interrupts_.take()) {
      rest_.clear();  // the terminal drops what was typed before it, too
      return {Kind::interrupt};
    }
    read();
  }
}

void TypedLines::forget() {
  rest_.clear();
  ::tcflush(STDIN_FILENO, TCIFLUSH);
}

std::optional<Typed> TypedLines::takeLine() {
  constexpr std::size_t longest = 4095;  // bytes that Linux keeps of a line
  const std::size_t end = rest_.find('\n');
  if (end == std::string::npos && !(isEnded_ && !rest_.empty())) return std::nullopt;
  const std::string line = rest_.substr(0, end);
  rest_.erase(0, end == std::string::npos ? end : end + 1);
  return Typed{Typed::Kind::line, text::wellFormed(line), line.size() >= longest};
}

void TypedLines::read() {
  std::array<char, 1 << 12> piece;  // the most that a terminal takes for a line
  const ssize_t count = ::read(STDIN_FILENO, piece.data(), piece.size());
  if (count < 0 && (errno == EINTR || errno == EAGAIN)) return;
  if (count < 0 && errno != EIO) throw FileError("read", "the standard input", errno);  // EIO: the terminal is gone
  if (count <= 0)
    isEnded_ = true;
  else
    rest_.append(piece.data(), static_cast<std::size_t>(count));
}

}  // namespace vesk::app
