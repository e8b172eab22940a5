#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bench/generator/Words.h"

namespace vesk::bench {

// A note of the vault that is to be made, but for its text.
struct NotePlan {
  std::string folder = {};  // relative to the vault; empty at its top
  std::string title = {};   // the file name without ".md"; no other note has it
  Script script = Script::english;
  std::uint64_t seed = 0;  // of the note's own text
};

// Which notes there are and where: places, topics and sub-topics, 20 to 200 notes a folder. The first note is "Home",
// at the top. The same count and seed give the same plan everywhere.
struct VaultPlan {
  std::vector<NotePlan> notes = {};
};

VaultPlan planVault(std::size_t count, std::uint64_t seed);

}  // namespace vesk::bench
