#include "app/SpokenLines.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <poll.h>
#include <unistd.h>
#include <utility>

#include <sys/signalfd.h>

#include "core/base/Text.h"
#include "core/meetings/MeetingNote.h"
#include "core/platform/FileError.h"

namespace vesk::app {

namespace {

// The transcript is written whole with each batch, so there are few of them: the first line by itself, then what
// gathers in half a second.
constexpr std::chrono::milliseconds pause{500};
constexpr std::chrono::milliseconds grace{1000};
constexpr std::size_t mostWaiting = 1 << 20;  // bytes
constexpr std::size_t longestLine = 1 << 16;  // likewise; a longer one becomes several

// The speaker that the line begins with, who is taken off it.
std::optional<MeetingSpeaker> takeSpeaker(std::string_view& line) {
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos) return std::nullopt;
  const std::string_view name = text::trimWhitespace(line.substr(0, colon));
  for (const MeetingSpeaker speaker : {MeetingSpeaker::me, MeetingSpeaker::others})
    for (const std::string_view word : MeetingNote::words(speaker))
      if (text::equalIgnoringCase(name, word)) {
        line.remove_prefix(colon + 1);
        return speaker;
      }
  return std::nullopt;
}

}  // namespace

std::optional<TranscriptLine> spokenLine(std::string_view typed, MeetingSpeaker speaker) {
  const std::string whole = text::wellFormed(typed);
  std::string_view spoken = text::trimWhitespace(whole);
  // Recognisers show a guess, go back to the line's beginning, and write a better one over it.
  spoken.remove_prefix(spoken.rfind('\r') + 1);
  speaker = takeSpeaker(spoken).value_or(speaker);
  const std::string words = text::collapseWhitespace(spoken);
  if (words.empty()) return std::nullopt;
  return newTranscriptLine(speaker, words, std::chrono::system_clock::now());
}

SpokenLines::SpokenLines(MeetingSpeaker speaker) : speaker_(speaker) {
  sigset_t interrupt;
  sigemptyset(&interrupt);
  sigaddset(&interrupt, SIGINT);
  pthread_sigmask(SIG_BLOCK, &interrupt, nullptr);
  interrupts_ = Fd(::signalfd(-1, &interrupt, SFD_CLOEXEC));
}

std::vector<TranscriptLine> SpokenLines::next() {
  while (Clock::now() < endAt_) {
    const bool isDue = Clock::now() >= dueAt_ || size_ >= mostWaiting;
    if (!lines_.empty() && isDue) break;
    readUntil(lines_.empty() ? endAt_ : std::min(dueAt_, endAt_));
  }
  if (Clock::now() >= endAt_) add(std::exchange(rest_, {}));
  dueAt_ = Clock::now() + pause;
  size_ = 0;
  return std::exchange(lines_, {});
}

void SpokenLines::readUntil(Clock::time_point deadline) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
  const int milliseconds = deadline == never ? -1 : static_cast<int>(std::clamp<std::int64_t>(left, 0, INT_MAX));
  std::array<pollfd, 2> polled{{{STDIN_FILENO, POLLIN, 0}, {interrupts_.get(), POLLIN, 0}}};
  if (::poll(polled.data(), polled.size(), milliseconds) <= 0) return;
  if (polled[0].revents != 0) read();
  if (polled[1].revents != 0) interrupted();
}

void SpokenLines::read() {
  std::array<char, 1 << 16> piece;
  const ssize_t count = ::read(STDIN_FILENO, piece.data(), piece.size());
  if (count < 0 && (errno == EINTR || errno == EAGAIN)) return;
  if (count < 0) throw FileError("read", "the standard input", errno);
  if (count == 0) endAt_ = Clock::now();
  rest_.append(piece.data(), static_cast<std::size_t>(count));
  std::size_t begin = 0;
  for (std::size_t end = rest_.find('\n'); end != std::string::npos; end = rest_.find('\n', begin)) {
    add(std::string_view(rest_).substr(begin, end - begin));
    begin = end + 1;
  }
  rest_.erase(0, begin);
  if (rest_.size() > longestLine) add(std::exchange(rest_, {}));
}

// Ctrl-C reaches the program that writes the lines, too, and it may have some more to write before it ends.
void SpokenLines::interrupted() {
  signalfd_siginfo ignored = {};
  if (::read(interrupts_.get(), &ignored, sizeof ignored) < 0) return;
  const bool isFirst = endAt_ == never && !::isatty(STDIN_FILENO);
  endAt_ = isFirst ? Clock::now() + grace : Clock::now();
}

void SpokenLines::add(std::string_view line) {
  auto spoken = spokenLine(line, speaker_);
  if (!spoken) return;
  size_ += spoken->text.size();
  lines_.push_back(std::move(*spoken));
}

}  // namespace vesk::app
