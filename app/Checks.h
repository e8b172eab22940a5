#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vesk::app {

// What `vesk doctor` looks at. Nothing is asked over a network, and nothing is changed: what the check of the Trash
// puts there, it takes back.

enum class Verdict {
  good,
  attention,  // something doesn't work, and the user can mend it
  notSetUp,   // nothing is wrong; it isn't in use
};

std::string_view name(Verdict verdict);  // as shown, and as written in JSON

struct Finding {
  Verdict verdict = Verdict::good;
  std::string says = {};  // a sentence
  std::string toDo = {};  // another, or a command; "" when nothing is to be done
  bool operator==(const Finding&) const = default;
};

struct Check {
  std::string subject = {};
  // Takes about so long at most, but for a file system that hangs.
  std::function<Finding(std::chrono::milliseconds time)> run = {};
  std::string onFailure = {};  // what is to be done when it throws
};

// In the order in which they are shown.
std::vector<Check> allChecks();

}  // namespace vesk::app
