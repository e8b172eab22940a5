#pragma once

#include <string_view>

// How much room letters take, in shares of the font's size. What fits by these widths fits in DejaVu Sans, the widest
// of the common sans-serif fonts.
namespace vesk::textWidth {

double of(char32_t c);
double of(std::string_view text);

inline constexpr double boldFactor = 1.16;
inline constexpr double monospaced = 0.61;  // of every letter; those of East Asia take two

}  // namespace vesk::textWidth
