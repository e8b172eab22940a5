#include "app/Question.h"

#include <cstdio>
#include <termios.h>
#include <unistd.h>

#include "app/Terminal.h"
#include "core/base/Text.h"

namespace vesk::app {

bool canAsk() { return ::isatty(STDIN_FILENO) && ::isatty(STDOUT_FILENO); }

std::optional<std::string> ask(std::string_view question) {
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
  return std::string(text::trimWhitespace(line));
}

std::optional<std::string> askSecret(std::string_view question) {
  termios shown = {};
  if (::tcgetattr(STDIN_FILENO, &shown) != 0) return ask(question);
  termios hidden = shown;
  hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
  auto answer = ask(question);
  ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &shown);
  print("\n");
  return answer;
}

bool isConfirmed(std::string_view question) {
  while (const auto answer = ask(question)) {
    if (text::equalIgnoringCase(*answer, "y") || text::equalIgnoringCase(*answer, "yes")) return true;
    if (text::equalIgnoringCase(*answer, "n") || text::equalIgnoringCase(*answer, "no")) return false;
  }
  return false;
}

}  // namespace vesk::app
