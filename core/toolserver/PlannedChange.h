#pragma once

#include <functional>
#include <optional>
#include <string>

namespace vesk {

// What a call would change, worked out and checked before anything is touched. A call that waits for the user is
// stored with what stands here; one that does not is carried out.
struct PlannedChange {
  std::string title = {};  // one line for the user: "Rename Plan to Launch plan"
  // What stands in its place for an assistant that may not read mail, where the title tells of an email.
  std::optional<std::string> titleWithoutMail = {};
  std::optional<std::string> notePath = {};     // of the one note that it changes
  std::optional<std::string> destination = {};  // where it moves something
  std::optional<std::string> before = {};       // the note's whole text now
  std::optional<std::string> after = {};        // and as the change would leave it
  std::function<std::string()> carryOut = {};   // makes the change; returns the call's result
  bool changesNothing = false;                  // what is asked for is there already: no need to wait
};

}  // namespace vesk
