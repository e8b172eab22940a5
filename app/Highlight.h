#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "app/Terminal.h"

namespace vesk::app {

// Bytes of a text.
struct Span {
  std::size_t begin = 0;
  std::size_t end = 0;
  bool operator==(const Span&) const = default;
};

// Where the words stand in a line, regardless of case, one after the other.
std::vector<Span> findWords(std::string_view line, std::string_view words);

// The part of a line with the words in it, safe for a terminal, within `width` columns; the words are made to stand out
// where there is colour.
std::string excerpt(std::string_view line, std::string_view words, std::size_t width, const Terminal& terminal);

}  // namespace vesk::app
