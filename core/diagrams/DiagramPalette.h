#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>

namespace vesk {

// Light and dark; or both, as the screen it is shown on prefers.
enum class DiagramTheme { automatic, light, dark };

// The colours of a drawing, as the rules of a style sheet. A colour of a diagram ("1" to "6", "#RRGGBB"; all else is
// none) has a number n, and these classes:
//   fn  a node: a tint and a border    gn  a group: the same, to be seen through    pn  a paper note: a strong tint
//   ln  a line                         sn  a sign: an arrow's head                  wn  words on the page
// "page", "ink" (words on tints) and "link" have no number.
class DiagramPalette {
 public:
  // The number of a colour, which then is in the style sheet.
  std::size_t number(const std::optional<std::string>& color);
  std::size_t paperNumber(const std::optional<std::string>& color);  // a paper note without a colour is yellow

  std::string styleSheet(DiagramTheme theme) const;

 private:
  std::map<std::string, std::size_t> numbers_ = {};  // of "" for none, presets, and "#rrggbb" in lower case
};

}  // namespace vesk
