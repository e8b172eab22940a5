#include "core/mail/CssStyle.h"

#include <algorithm>

#include "core/base/Text.h"
#include "core/mail/CssValues.h"

namespace vesk::css {

namespace {

constexpr std::size_t none = std::string_view::npos;

struct Reader {
  std::string_view name;
  Property property;
  Meaning (*read)(std::string_view value);
};

constexpr Reader readers[] = {
    {"display", display, isNone},
    {"visibility", visibility, isUnseen},
    {"opacity", opacity, isFaint},
    {"height", height, isFlat},
    {"max-height", maxHeight, isFlat},
    {"width", width, isZero},
    {"max-width", maxWidth, isZero},
    {"overflow", overflow, isCut},
    {"overflow-y", overflow, isCut},
    {"mso-hide", msoHide, isAll},
    {"text-indent", textIndent, isFarOutside},
    {"left", left, isFarOutside},
    {"top", top, isFarOutside},
    {"margin", marginLeft, isFarOutside},
    {"margin-left", marginLeft, isFarOutside},
    {"margin-top", marginTop, isFarOutside},
    {"transform", transform, isShrunk},
    {"clip", clip, isClipped},
    {"clip-path", clip, isClipped},
    {"font", fontSize, isTinyInFont},
    {"font-size", fontSize, isTinyFont},
    {"color", color, colorOf},
    {"-webkit-text-fill-color", fill, colorOf},
    {"background", backgroundColor, backgroundOf},
    {"background", backgroundImage, isPicture},
    {"background-color", backgroundColor, backgroundOf},
    {"background-image", backgroundImage, isPicture},
};

}  // namespace

bool Style::isEmpty() const {
  return std::none_of(values.begin(), values.end(), [](const Value& value) { return value.isSet; });
}

bool Style::has(Property property) const { return values[property].isSet && values[property].value != 0; }

void Style::set(Property property, std::int32_t value, bool isImportant) {
  Value& old = values[property];
  if (isImportant || !old.isImportant) old = {true, isImportant, value};
}

void Style::putOver(const Style& above) {
  for (std::size_t i = 0; i < propertyCount; ++i) {
    const Value& value = above.values[i];
    if (value.isSet) set(static_cast<Property>(i), value.value, value.isImportant);
  }
}

void Style::declare(std::string_view property, std::string_view value) {
  const std::size_t mark = value.find('!');
  const bool isImportant = mark != none && value.find("important", mark) != none;
  value = text::trim(value.substr(0, mark), spaces);
  if (value == "inherit" || value == "unset") return;
  for (const Reader& reader : readers) {
    if (reader.name != property) continue;
    if (const Meaning meaning = reader.read(value)) set(reader.property, *meaning, isImportant);
  }
}

void Style::declareAll(std::string_view declarations) {
  for (const std::string_view declaration : text::split(declarations, ';')) {
    const std::size_t colon = declaration.find(':');
    if (colon == none) continue;
    declare(lowered(declaration.substr(0, colon)), lowered(declaration.substr(colon + 1)));
  }
}

std::string withoutComments(std::string_view css) {
  std::string result;
  std::size_t at = 0;
  while (true) {
    const std::size_t begin = css.find("/*", at);
    result += css.substr(at, begin == none ? none : begin - at);
    const std::size_t end = begin == none ? none : css.find("*/", begin + 2);
    if (end == none) return result;
    at = end + 2;
  }
}

}  // namespace vesk::css
