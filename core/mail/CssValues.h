#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vesk::css {

constexpr std::string_view spaces = " \t\r\n\f";

// Without the spaces around it, in lower case.
std::string lowered(std::string_view text);

// A color is red, green and blue in 24 bits, or one of these.
constexpr std::int32_t unknownColor = -1;  // a picture, or a name that isn't known
constexpr std::int32_t transparentColor = -2;

// True for two colors that can't be told apart by eye.
bool areAlike(std::int32_t a, std::int32_t b);

// Less than this of a color or an element shows nothing that is read.
constexpr double faint = 0.1;

// What the value of a property says, in lower case: 1 for what may hide text, 0 for what doesn't, or a color; nullopt
// where it says nothing, as what browsers don't know.
using Meaning = std::optional<std::int32_t>;

Meaning colorOf(std::string_view value);
// That of an old attribute, where "#" may be left out.
std::int32_t attributeColorOf(std::string_view value);
Meaning backgroundOf(std::string_view value);  // the color, of several things
Meaning isPicture(std::string_view value);
Meaning isNone(std::string_view value);
Meaning isUnseen(std::string_view value);  // "visibility"
Meaning isCut(std::string_view value);     // "overflow"
Meaning isFaint(std::string_view value);   // "opacity"
Meaning isFlat(std::string_view value);    // a height
Meaning isZero(std::string_view value);    // a width
// Room for text, whatever the height or width.
Meaning isRoomy(std::string_view value);       // "min-height", "min-width", "padding-bottom"
Meaning isRoomyBelow(std::string_view value);  // "padding"
// One of several lengths moves the text away: 2 when it does so wherever the text was.
Meaning isFarOutside(std::string_view value);
Meaning isFarInside(std::string_view value);  // such that the text may be moved back
Meaning isTinyFont(std::string_view value);
// "font: bold 12px/1.5 serif": the size is the first number that has a unit, or is zero.
Meaning isTinyInFont(std::string_view value);
Meaning isShrunk(std::string_view value);       // "transform"
Meaning isFilteredOut(std::string_view value);  // "filter"
// "inset(50%)", "circle(0)", "rect(0, 0, 0, 0)" and "rect(1px, 1px, 1px, 1px)".
Meaning isClipped(std::string_view value);

}  // namespace vesk::css
