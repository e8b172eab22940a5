#pragma once

#include <cstddef>
#include <string>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/Days.h"

namespace vesk::app {

// CLI11 takes "[a, b]" for a list in a notation of its own, and would leave "Plan" of "[[Plan]]". What ends in another
// character it leaves alone, so such an argument gets one on its way to its option.
inline std::string guarded(const std::string& typed) {
  return typed.starts_with('[') && typed.ends_with(']') ? typed + '\x1F' : typed;
}
inline std::string unguarded(std::string typed) {
  if (typed.ends_with("]\x1F")) typed.pop_back();
  return typed;
}

// ---- Checks of what is typed for the options that several commands have.

inline constexpr std::size_t unlimited = 1'000'000'000;  // entries of a list

inline CLI::Range positive() { return CLI::Range(std::size_t{1}, unlimited, "NUMBER"); }

inline CLI::Validator isDay() {
  const auto complaint = [](const std::string& typed) {
    return typedDay(typed) ? "" : fmt::format("{} is no day. Write YYYY-MM-DD, today or tomorrow.", typed);
  };
  return CLI::Validator(complaint, "");
}

}  // namespace vesk::app
