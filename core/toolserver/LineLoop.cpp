#include "core/toolserver/LineLoop.h"

#include <cerrno>
#include <optional>
#include <poll.h>
#include <string>
#include <string_view>
#include <unistd.h>

#include "core/platform/FileError.h"

namespace vesk {

namespace {

// True when the call is to be made again: it was interrupted, or whoever shares the descriptor has made it
// non-blocking, which is waited out.
bool isToTryAgain(int code, int descriptor, short event) {
  if (code != EAGAIN) return code == EINTR;
  pollfd awaited = {descriptor, event, 0};
  ::poll(&awaited, 1, -1);
  return true;
}

// The client is gone, over a pipe or over a socket.
bool isGone(int code) { return code == EPIPE || code == ECONNRESET; }

// Reads lines from a descriptor, holding at most maximumLine bytes and one read.
class LineReader {
 public:
  struct Line {
    std::string_view text = {};  // without its "\n"; until the next call
    bool isTooLong = false;      // the text was thrown away
  };

  explicit LineReader(int input) : input_(input) {}

  // Nullopt at the end of the input.
  std::optional<Line> next() {
    buffer_.erase(0, taken_);
    taken_ = 0;
    if (buffer_.empty() && buffer_.capacity() > keptSize) std::string().swap(buffer_);
    bool isTooLong = false;
    for (std::size_t searched = 0;;) {
      if (const std::size_t end = buffer_.find('\n', searched); end != std::string::npos)
        return take(end, end + 1, isTooLong);
      if (buffer_.size() > maximumLine) {
        isTooLong = true;
        std::string().swap(buffer_);
      }
      searched = buffer_.size();
      if (!readMore()) break;
    }
    if (buffer_.empty() && !isTooLong) return std::nullopt;
    return take(buffer_.size(), buffer_.size(), isTooLong);
  }

 private:
  static constexpr std::size_t readSize = std::size_t{64} << 10;
  static constexpr std::size_t keptSize = std::size_t{1} << 20;  // between two lines

  Line take(std::size_t end, std::size_t taken, bool isTooLong) {
    taken_ = taken;
    if (isTooLong || end > maximumLine) return {{}, true};
    return {std::string_view(buffer_).substr(0, end), false};
  }

  bool readMore() {
    const std::size_t filled = buffer_.size();
    buffer_.resize(filled + readSize);
    ssize_t got = 0;
    do got = ::read(input_, buffer_.data() + filled, readSize);
    while (got < 0 && isToTryAgain(errno, input_, POLLIN));
    const int code = errno;
    buffer_.resize(filled + static_cast<std::size_t>(got > 0 ? got : 0));
    if (got < 0 && !isGone(code)) throw FileError("read", "standard input", code);
    return got > 0;
  }

  int input_;
  std::string buffer_;
  std::size_t taken_ = 0;  // bytes of the buffer that belong to the line given last
};

// False when nobody reads any more.
bool writeAll(int output, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(output, text.data(), text.size());
    if (written < 0 && isToTryAgain(errno, output, POLLOUT)) continue;
    if (written < 0 && isGone(errno)) return false;
    if (written < 0) throw FileError("write to", "standard output", errno);
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace

void serveLines(const MCPServer& server, int input, int output) {
  LineReader reader(input);
  while (const auto line = reader.next()) {
    MCPServer::Remains remains;  // freed when the answer is out
    auto answer = line->isTooLong ? std::optional(MCPServer::parseError()) : server.handle(line->text, &remains);
    if (answer && !writeAll(output, answer->append("\n"))) return;
  }
}

}  // namespace vesk
