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
  height,
  maxHeight,
  width,
  maxWidth,
  overflow,
  msoHide,
  textIndent,
  left,
  top,
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
  };
  std::array<Value, propertyCount> values = {};

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

std::string withoutComments(std::string_view css);

}  // namespace vesk::css
