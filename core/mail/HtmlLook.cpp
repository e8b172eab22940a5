#include "core/mail/HtmlLook.h"

#include <algorithm>
#include <iterator>

namespace vesk::html {

namespace {

bool hidesElement(const css::Style& style) {
  using namespace css;
  constexpr css::Property alone[] = {display, opacity, filter, textIndent, left, right, top, bottom, transform, clip};
  if (std::any_of(std::begin(alone), std::end(alone), [&](Property property) { return style.has(property); }))
    return true;
  const auto isAway = [&](Property margin, Property from) {
    return style.values[margin].isSet && style.values[margin].value > (style.has(from) ? 1 : 0);
  };
  if (isAway(marginLeft, fromLeft) || isAway(marginTop, fromTop)) return true;
  const bool isNarrow = (style.has(width) || style.has(maxWidth)) && !style.has(minWidth);
  const bool isLow = (style.has(height) || style.has(maxHeight)) && !style.has(minHeight) && !style.has(paddingBottom);
  return (isNarrow || isLow) && (style.has(overflowX) || style.has(overflowY));
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
