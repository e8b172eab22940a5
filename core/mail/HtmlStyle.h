#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

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
  std::int32_t fill = unknown;    // instead of the color
  std::int32_t background = 0xFFFFFF;

  bool hidesText() const;
};

// What declarations say of one element, by property. The last one of a property counts, or the last important one.
struct Style {
  static constexpr std::size_t properties = 21;

  struct Value {
    bool isSet = false;
    bool isImportant = false;
    std::int32_t value = 0;
  };
  std::array<Value, properties> values = {};
};

// What the <style> elements of a document say.
struct StyleSheet {
  std::unordered_map<std::string, Style> rules = {};  // by ".class" or "#id"
  bool hasBackgrounds = false;
  bool paintsElements = false;  // with a background that isn't white, whatever their class
};

// Reads the rules for a single class or id, on any screen. Takes linear time, and no more memory than some thousand
// rules need.
StyleSheet readStyleSheet(std::string_view html);

// The look of a document that stands in no element yet.
Look lookOfDocument(const StyleSheet& sheet);

// The look of the text in an element that begins with this tag ("<td style=…>") and stands in text of the look
// `outside`.
Look lookWithin(std::string_view tag, Look outside, const StyleSheet& sheet);

}  // namespace vesk::html
