#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vesk::css {

// The properties that may hide text.
enum Property : std::size_t {
  display,
  visibility,
  opacity,
  filter,
  height,
  maxHeight,
  minHeight,
  paddingBottom,
  width,
  maxWidth,
  minWidth,
  overflowX,
  overflowY,
  textIndent,
  left,
  right,
  top,
  bottom,
  fromLeft,  // "left", as far as it takes back "margin-left"
  fromTop,
  marginLeft,
  marginTop,
  transform,
  clip,
  fontSize,
  color,
  fill,
  backgroundColor,
  backgroundImage,
  propertyCount,
};

// What declarations say of one element, by property. The last one of a property counts, or the last important one.
struct Style {
  struct Value {
    bool isSet = false;
    bool isImportant = false;
    std::int32_t value = 0;  // see css::Meaning
    bool operator==(const Value&) const = default;
  };
  std::array<Value, propertyCount> values = {};
  bool operator==(const Style&) const = default;

  bool isEmpty() const;
  // True for what is set and isn't 0.
  bool has(Property property) const;
  void set(Property property, std::int32_t value, bool isImportant = false);
  // What `above` says goes before what this does.
  void putOver(const Style& above);
  // `property` and `value` are in lower case.
  void declare(std::string_view property, std::string_view value);
  // "color: red; opacity: 0", without comments.
  void declareAll(std::string_view declarations);
};

// Where `mark` stands first from `begin` on, outside strings and brackets; the size of `css` where it doesn't.
std::size_t findOutside(std::string_view css, char mark, std::size_t begin);

std::string withoutComments(std::string_view css);

}  // namespace vesk::css
