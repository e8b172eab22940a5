#pragma once

#include <string_view>
#include <vector>

#include "core/base/Language.h"

// What ships with Vesk to be read. All texts are Markdown with a title line, and last as long as the program.
namespace vesk {

// A chapter on how to work with a vault, for its user.
struct Guide {
  std::string_view id = {};  // "para", the same in every language
  std::string_view title = {};
  std::string_view text = {};
};

// Instructions that an assistant follows when its user asks for that.
struct Skill {
  std::string_view id = {};  // "vesk/weekly-review", the same in every language
  std::string_view title = {};
  std::string_view description = {};  // one line
  std::string_view text = {};
};

// In the order in which they are best read.
std::vector<Guide> guides(Language language);

std::vector<Skill> builtInSkills(Language language);

}  // namespace vesk
