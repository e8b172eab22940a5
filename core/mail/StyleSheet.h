#pragma once

#include <string>
#include <string_view>
#include <unordered_map>

#include "core/mail/CssStyle.h"

namespace vesk::html {

// What the <style> elements of a document say.
struct StyleSheet {
  std::unordered_map<std::string, css::Style> rules = {};  // by ".class" or "#id"
  bool hasBackgrounds = false;
  bool paintsElements = false;  // with a background that isn't white, whatever their class
};

// Reads the rules for a single class or id, on any screen. Takes linear time, and no more memory than some thousand
// rules need.
StyleSheet readStyleSheet(std::string_view html);

}  // namespace vesk::html
