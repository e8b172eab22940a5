#include "app/Question.h"

#include <array>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <termios.h>
#include <unistd.h>

#include "app/Terminal.h"
#include "core/base/Text.h"

namespace vesk::app {

namespace {

std::optional<std::string> answerTo(std::string_view question) {
  print("{} ", question);
  flush();
  std::string line;
  for (int c = std::getchar(); c != '\n'; c = std::getchar()) {
    if (c == EOF) {
      print("\n");
      return std::nullopt;
    }
    line += static_cast<char>(c);
  }
  return line;
}

constexpr std::array endings = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

// As it was before something is typed unseen, for a signal's handler, too.
struct {
  termios terminal = {};
  std::array<struct sigaction, endings.size()> actions = {};
} before;

void putBack() {
  ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &before.terminal);
  for (std::size_t i = 0; i < endings.size(); ++i) ::sigaction(endings[i], &before.actions[i], nullptr);
}

// The signal does what it would have done, once the terminal shows again what is typed.
void putBackAndRaise(int number) {
  putBack();
  ::raise(number);
}

// A terminal that doesn't show what is typed, for as long as the object lives. There is one at a time.
class HiddenInput {
 public:
  HiddenInput() {
    ::tcgetattr(STDIN_FILENO, &before.terminal);
    struct sigaction action = {};
    action.sa_handler = putBackAndRaise;
    for (std::size_t i = 0; i < endings.size(); ++i) ::sigaction(endings[i], &action, &before.actions[i]);
    termios hidden = before.terminal;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    hidden.c_cc[VSUSP] = _POSIX_VDISABLE;  // Ctrl-Z would leave the shell such a terminal
    ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
  }
  ~HiddenInput() {
    putBack();
    std::fputc('\n', stdout);
  }
  HiddenInput(const HiddenInput&) = delete;
  HiddenInput& operator=(const HiddenInput&) = delete;
};

}  // namespace

bool canAsk() { return ::isatty(STDIN_FILENO) && ::isatty(STDOUT_FILENO); }

std::optional<std::string> ask(std::string_view question) {
  const auto line = answerTo(question);
  return line ? std::optional(std::string(text::trimWhitespace(*line))) : std::nullopt;
}

std::optional<std::string> askSecret(std::string_view question) {
  if (!::isatty(STDIN_FILENO)) return answerTo(question);
  const HiddenInput hidden;
  return answerTo(question);
}

bool isConfirmed(std::string_view question) {
  while (const auto answer = ask(question)) {
    if (text::equalIgnoringCase(*answer, "y") || text::equalIgnoringCase(*answer, "yes")) return true;
    if (text::equalIgnoringCase(*answer, "n") || text::equalIgnoringCase(*answer, "no")) return false;
  }
  return false;
}

}  // namespace vesk::app
