#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <fmt/format.h>

namespace vesk::app {

// Where the user reads what `vesk` writes.
struct Terminal {
  bool hasColor = false;
  std::optional<std::size_t> width = {};  // columns; nullopt when a file or another program takes the output

  // Colour is for terminals, and not where NO_COLOR is set (no-color.org).
  static Terminal ofStandardOutput();
};

enum class Style { plain, strong, faint, good, bad, found };

// `text` in a style, or as it is where there is no colour.
std::string styled(std::string_view text, Style style, const Terminal& terminal);

// Text from notes and file names as it may reach a terminal: control characters, and those that turn the direction of
// writing, are shown as U+FFFD, since they could disguise what is on the screen or command the terminal. So are bytes
// that are not UTF-8. A tab becomes a space.
std::string safe(std::string_view text);

// safe(), of a text of several lines: their line breaks stay, as "\n".
std::string safeLines(std::string_view text);

// "1 note", "2 notes".
std::string counted(std::size_t count, std::string_view noun);

// The columns a terminal needs for `text`.
std::size_t columns(std::string_view text);

// `text` within so many columns, with "…" where something was left out.
std::string shortened(std::string_view text, std::size_t maximum);

// `text` in lines that end between words, each after so many spaces; one line where no terminal says how wide it is.
std::string wrapped(std::string_view text, std::size_t indent, const Terminal& terminal);

// Writes to standard output; what is written may wait until the flush. Error when it can't be written.
void write(std::string_view text);
void flush();

// Writes a text for another program: as it is, but safe where a terminal takes the output.
void writeData(std::string_view text, const Terminal& terminal);

template <typename... Values>
void print(fmt::format_string<Values...> format, Values&&... values) {
  write(fmt::format(format, std::forward<Values>(values)...));
}

}  // namespace vesk::app
