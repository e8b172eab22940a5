#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vesk {

// A piece of a text, and what is to stand in its place.
struct Replacement {
  std::size_t begin = 0;
  std::size_t end = 0;
  std::string_view text = {};
};

// `text` with every piece that `next` finds replaced. `next` is given a place and returns the first piece that begins
// there or behind it, or nullopt.
template <typename Next>
std::string replacing(std::string_view text, Next next) {
  std::string result;
  result.reserve(text.size());
  std::size_t position = 0;
  while (const auto piece = next(position)) {
    result += text.substr(position, piece->begin - position);
    result += piece->text;
    position = piece->end;
  }
  return result += text.substr(position);
}

}  // namespace vesk
