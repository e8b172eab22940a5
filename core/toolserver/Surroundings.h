#pragma once

#include <chrono>
#include <functional>

#include "core/base/Calendar.h"
#include "core/base/Language.h"
#include "core/base/Time.h"
#include "core/platform/Environment.h"

namespace vesk {

// What a tool knows of the world outside of the vault.
struct Surroundings {
  std::function<Timestamp()> now = [] { return Timestamp(std::chrono::system_clock::now()); };
  std::function<Calendar()> calendar = Calendar::ofSystem;
  std::function<Language()> language = environment::language;
};

}  // namespace vesk
