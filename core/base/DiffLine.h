#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vesk {

// One line of a diff: what a change keeps, adds or takes away.
struct DiffLine {
  enum class Kind { same, added, removed };

  Kind kind = Kind::same;
  std::string text = {};  // without its line break

  // The lines of both texts, those that only `before` has as removed and those that only `after` has as added. Lines
  // end at each LF, and what follows the last one is a line too; an empty text has none. When either text has more than
  // 2,000 lines nothing is compared: all of `before` is removed, all of `after` added.
  static std::vector<DiffLine> compare(std::string_view before, std::string_view after);

  bool operator==(const DiffLine&) const = default;
};

}  // namespace vesk
