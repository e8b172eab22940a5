#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "core/base/Error.h"

// Ids are long; their beginning is enough to show one, and to type it.
namespace vesk::app {

inline constexpr std::size_t shortIDLength = 8;

inline std::string shortID(std::string_view id) { return std::string(id.substr(0, shortIDLength)); }

// The one of the items whose id begins with what was typed. Throws Error when none or several do, or that is so short
// that it may be a number of something else.
template <typename Item>
const Item& itemWithID(const std::vector<Item>& items, std::string_view typed) {
  constexpr std::size_t least = 4;
  if (typed.size() < least) throw Error(fmt::format("{} is too short for the beginning of an id.", typed));
  const Item* found = nullptr;
  for (const Item& item : items) {
    if (!std::string_view(item.id).starts_with(typed)) continue;
    if (found) throw Error(fmt::format("Several ids begin with {}.", typed));
    found = &item;
  }
  if (!found) throw Error(fmt::format("There is no id that begins with {}.", typed));
  return *found;
}

}  // namespace vesk::app
