#pragma once

#include <span>
#include <string_view>

namespace vesk::bench {

// How the text of a language is put together.
struct Language {
  std::span<const std::string_view> words;
  std::string_view space;     // between words
  std::string_view comma;     // with the space after it
  std::string_view fullStop;  // with the space after it
};

enum class Script { english, portuguese, german, russian, greek, japanese };

const Language& language(Script script);

std::span<const std::string_view> tags();
std::span<const std::string_view> codeLines();

}  // namespace vesk::bench
