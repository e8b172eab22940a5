#pragma once

#include <cstddef>
#include <string>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/Days.h"

// Checks of what is typed for the options that several commands have.
namespace vesk::app {

inline constexpr std::size_t unlimited = 1'000'000'000;  // entries of a list

inline CLI::Range positive() { return CLI::Range(std::size_t{1}, unlimited, "NUMBER"); }

inline CLI::Validator isDay() {
  const auto complaint = [](const std::string& typed) {
    return typedDay(typed) ? "" : fmt::format("{} is no day. Write YYYY-MM-DD, today or tomorrow.", typed);
  };
  return CLI::Validator(complaint, "");
}

}  // namespace vesk::app
