#include "core/mail/HtmlLook.h"

#include <algorithm>
#include <iterator>

namespace vesk::html {

namespace {

bool hidesElement(const css::Style& style) {
  using namespace css;
  constexpr css::Property alone[] = {display, opacity,    msoHide,   textIndent, left,
                                     top,     marginLeft, marginTop, transform,  clip};
  constexpr css::Property cut[] = {height, maxHeight, width, maxWidth};
  const auto isHiding = [&](css::Property property) { return style.has(property); };
  return std::any_of(std::begin(alone), std::end(alone), isHiding) ||
         (style.has(overflow) && std::any_of(std::begin(cut), std::end(cut), isHiding));
}

}  // namespace

bool Look::hidesText() const {
  const std::int32_t shown = fill == css::unknownColor ? color : fill;
  return isGone || isInvisible || isTiny || shown == css::transparentColor || css::areAlike(shown, background);
}

void Look::apply(const css::Style& style) {
  isGone |= hidesElement(style);
  const auto& values = style.values;
  if (values[css::visibility].isSet) isInvisible = style.has(css::visibility);
  if (values[css::fontSize].isSet) isTiny = style.has(css::fontSize);
  if (values[css::color].isSet) color = values[css::color].value;
  if (values[css::fill].isSet) fill = values[css::fill].value;
  // Through what is transparent shows what was there before.
  if (values[css::backgroundColor].isSet && values[css::backgroundColor].value != css::transparentColor)
    background = values[css::backgroundColor].value;
  if (style.has(css::backgroundImage)) background = css::unknownColor;
}

}  // namespace vesk::html
