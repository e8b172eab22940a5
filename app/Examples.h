#pragma once

#include <span>
#include <string_view>
#include <vector>

// Command lines that show how each command is used: in its help, and in the manual.
namespace vesk::app {

struct Example {
  std::string_view command = {};  // the words that lead to it: "vesk mail list"
  std::vector<std::string_view> lines = {};
};

const std::vector<Example>& examples();

// As typed in a shell; none for a command that isn't listed.
std::span<const std::string_view> examplesOf(std::string_view command);

}  // namespace vesk::app
