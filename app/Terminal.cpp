#include "app/Terminal.h"

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <unistd.h>
#include <wchar.h>

#include <sys/ioctl.h>

#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/base/Unicode.h"
#include "core/platform/Environment.h"

namespace vesk::app {

namespace {

constexpr std::size_t usualWidth = 80;  // of a terminal that doesn't say

std::size_t terminalWidth() {
  winsize size{};
  return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : usualWidth;
}

std::string_view escapeSequence(Style style) {
  switch (style) {
    case Style::strong: return "\x1b[1m";
    case Style::faint: return "\x1b[2m";
    case Style::good: return "\x1b[32m";
    case Style::bad: return "\x1b[31m";
    case Style::found: return "\x1b[1;33m";
    default: return "";
  }
}

bool isControl(char32_t c) { return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x2028 || c == 0x2029; }

bool turnsDirection(char32_t c) { return (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069); }

// The locale, in whose table the widths stand, is loaded when a text needs it: few runs of Vesk do.
std::size_t columnsOf(char32_t c) {
  if (c >= ' ' && c <= '~') return 1;
  [[maybe_unused]] static const char* const utf8 = std::setlocale(LC_CTYPE, "C.UTF-8");
  return static_cast<std::size_t>(std::max(0, ::wcwidth(static_cast<wchar_t>(c))));
}

void requireWritten(bool isWritten) {
  if (!isWritten) throw Error(fmt::format("Can't write the output: {}.", std::strerror(errno)));
}

}  // namespace

Terminal Terminal::ofStandardOutput() {
  if (!::isatty(STDOUT_FILENO)) return {};
  return {.hasColor = !environment::value("NO_COLOR"), .width = terminalWidth()};
}

std::string styled(std::string_view text, Style style, const Terminal& terminal) {
  const std::string_view begin = escapeSequence(style);
  if (!terminal.hasColor || begin.empty() || text.empty()) return std::string(text);
  return std::string(begin).append(text).append("\x1b[0m");
}

std::string safe(std::string_view text) {
  constexpr std::string_view replacement = "\uFFFD";
  constexpr char32_t replacementCharacter = U'\uFFFD';
  std::string shown;
  shown.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const auto [value, length] = unicode::decode(text, i);
    if (value == '\t')
      shown += ' ';
    else if (value == replacementCharacter || isControl(value) || turnsDirection(value))
      shown += replacement;
    else
      shown += text.substr(i, length);
    i += length;
  }
  return shown;
}

std::string safeLines(std::string_view text) {
  std::string shown;
  for (std::string_view line : text::split(text, '\n')) {
    if (line.ends_with('\r')) line.remove_suffix(1);
    shown.append(safe(line)).append("\n");
  }
  shown.pop_back();  // what follows the last line break is a line, too
  return shown;
}

std::string counted(std::size_t count, std::string_view noun) {
  return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

std::size_t columns(std::string_view text) {
  std::size_t sum = 0;
  for (std::size_t i = 0; i < text.size();) {
    const auto [value, length] = unicode::decode(text, i);
    sum += columnsOf(value);
    i += length;
  }
  return sum;
}

std::string shortened(std::string_view text, std::size_t maximum) {
  if (columns(text) <= maximum) return std::string(text);
  std::size_t end = 0;
  for (std::size_t sum = 1; end < text.size();) {  // 1 for the "…"
    const auto [value, length] = unicode::decode(text, end);
    sum += columnsOf(value);
    if (sum > maximum) break;
    end += length;
  }
  return std::string(text::firstBytes(text, end)) + "…";
}

std::string wrapped(std::string_view text, std::size_t indent, const Terminal& terminal) {
  std::string lines;
  std::size_t taken = 0;  // columns of the last line
  for (const std::string_view word : text::split(text, ' ')) {
    const std::size_t width = columns(word);
    const bool fits = taken > 0 && (!terminal.width || taken + 1 + width <= *terminal.width);
    if (!fits) lines.append(lines.empty() ? "" : "\n").append(indent, ' ');
    lines.append(fits ? " " : "").append(word);
    taken = (fits ? taken + 1 : indent) + width;
  }
  return lines;
}

void write(std::string_view text) { requireWritten(std::fwrite(text.data(), 1, text.size(), stdout) == text.size()); }

void writeData(std::string_view text, const Terminal& terminal) {
  write(terminal.width ? safeLines(text) : std::string(text));
}

void flush() { requireWritten(std::fflush(stdout) == 0); }

}  // namespace vesk::app
