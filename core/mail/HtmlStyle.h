#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace vesk::html {

// How the text of an element looks, as far as it may be hidden by it. Elements take over the look of what they stand
// in.
struct Look {
  static constexpr std::int32_t unknown = -1;      // a picture, or a name that isn't known
  static constexpr std::int32_t transparent = -2;  // of the text only

  bool isGone = false;       // with everything within
  bool isInvisible = false;  // these two may be taken back within
  bool isTiny = false;
  std::int32_t color = 0x000000;  // red, green, blue
  std::int32_t background = 0xFFFFFF;

  bool hidesText() const;
};

// The look of the text in an element that begins with this tag ("<td style=…>") and stands in text of the look
// `outside`. Goes by the element's own attributes: style sheets are not read.
Look lookWithin(std::string_view tag, Look outside);

}  // namespace vesk::html
