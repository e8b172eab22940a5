#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "core/mail/CssStyle.h"

namespace vesk::html {

// What the <style> elements of a document say. Elements are in lower case.
struct StyleSheet {
  std::unordered_map<std::string, css::Style> rules = {};  // by "td", ".class", "#id", "td.class" or "td#id"
  // What other rules may give a background: "td", ".class" or "#id".
  std::unordered_set<std::string> painted = {};
};

// Reads the rules for an element, a class or an id, on any screen. Takes linear time, and no more memory than some
// thousand rules need.
StyleSheet readStyleSheet(std::string_view html);

}  // namespace vesk::html
