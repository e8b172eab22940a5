#include "core/mail/CssStyle.h"

#include <algorithm>
#include <iterator>

#include "core/base/Ascii.h"
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
    {"filter", filter, isFilteredOut},
    {"height", height, isFlat},
    {"max-height", maxHeight, isFlat},
    {"min-height", minHeight, isRoomy},
    {"padding", paddingBottom, isRoomyBelow},
    {"padding-bottom", paddingBottom, isRoomy},
    {"width", width, isZero},
    {"max-width", maxWidth, isZero},
    {"min-width", minWidth, isRoomy},
    {"overflow", overflowX, isCut},
    {"overflow", overflowY, isCut},
    {"overflow-x", overflowX, isCut},
    {"overflow-y", overflowY, isCut},
    {"text-indent", textIndent, isFarOutside},
    {"left", left, isFarOutside},
    {"left", fromLeft, isFarInside},
    {"right", right, isFarOutside},
    {"top", top, isFarOutside},
    {"top", fromTop, isFarInside},
    {"bottom", bottom, isFarOutside},
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

bool isRead(std::string_view property) {
  return std::any_of(std::begin(readers), std::end(readers),
                     [&](const Reader& reader) { return reader.name == property; });
}

// What a property says when nothing is said.
std::int32_t initialOf(Property property) {
  if (property == backgroundColor) return transparentColor;
  return property == fill ? unknownColor : 0;
}

// Behind the character at `at`, or behind the string or the "url(…)" without quotes that begins there.
std::size_t endOfToken(std::string_view css, std::size_t at) {
  const char c = css[at];
  if (c == '\\') return std::min(at + 2, css.size());
  if (c == 'u' || c == 'U') {
    if (!text::equalIgnoringCase(css.substr(at, 4), "url(")) return at + 1;
    const std::size_t address = css.find_first_not_of(spaces, at + 4);
    if (address != none && (css[address] == '"' || css[address] == '\'')) return at + 3;
    return std::min(css.find(')', at), css.size() - 1) + 1;
  }
  if (c != '"' && c != '\'') return at + 1;
  for (++at; at < css.size() && css[at] != c && css[at] != '\n'; ++at)
    if (css[at] == '\\') ++at;
  return std::min(at + 1, css.size());
}

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
  if (mark != none && !isImportant) return;
  value = text::trim(value.substr(0, mark), spaces);
  if (value.empty() || value == "inherit" || value == "unset") return;
  const bool isInitial = value == "initial" || value == "revert";
  for (const Reader& reader : readers) {
    if (reader.name != property) continue;
    if (isInitial)
      set(reader.property, initialOf(reader.property), isImportant);
    else if (const Meaning meaning = reader.read(value))
      set(reader.property, *meaning, isImportant);
  }
}

void Style::declareAll(std::string_view declarations) {
  for (std::size_t at = 0; at < declarations.size();) {
    const std::size_t end = findOutside(declarations, ';', at);
    const std::string_view declaration = declarations.substr(at, end - at);
    const std::size_t colon = declaration.find(':');
    at = end + 1;
    if (colon == none) continue;
    const std::string property = lowered(declaration.substr(0, colon));
    if (isRead(property)) declare(property, lowered(declaration.substr(colon + 1)));
  }
}

std::size_t findOutside(std::string_view css, char mark, std::size_t begin) {
  std::size_t depth = 0;
  for (std::size_t at = begin; at < css.size();) {
    const char c = css[at];
    if (depth == 0 && c == mark) return at;
    if (c == '(' || c == '[' || c == '{') ++depth;
    if (depth > 0 && (c == ')' || c == ']' || c == '}')) --depth;
    at = ascii::isLetter(c) && c != 'u' && c != 'U' ? at + 1 : endOfToken(css, at);
  }
  return css.size();
}

std::string withoutComments(std::string_view css) {
  if (css.find("/*") == none) return std::string(css);
  std::string result;
  std::size_t position = 0;
  for (std::size_t at = 0; at < css.size();) {
    if (!css.substr(at).starts_with("/*")) {
      at = endOfToken(css, at);
      continue;
    }
    result += css.substr(position, at - position);
    const std::size_t end = css.find("*/", at + 2);
    position = at = end == none ? css.size() : end + 2;
  }
  return result += css.substr(position);
}

}  // namespace vesk::css
