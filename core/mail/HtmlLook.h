#pragma once

#include <cstdint>

#include "core/mail/CssStyle.h"
#include "core/mail/CssValues.h"

namespace vesk::html {

// How the text of an element looks, as far as it may be hidden by it. Elements take over the look of what they stand
// in. Colors are as in CssValues.h; that of the text alone may be transparent.
struct Look {
  bool isGone = false;       // with everything within
  bool isInvisible = false;  // these two may be taken back within
  bool isTiny = false;
  std::int32_t color = 0x000000;
  std::int32_t fill = css::unknownColor;  // instead of the color
  std::int32_t background = 0xFFFFFF;

  bool hidesText() const;
  // The look of an element of this style, which stands in text of this look.
  void apply(const css::Style& style);
};

}  // namespace vesk::html
