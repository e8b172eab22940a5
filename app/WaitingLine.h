#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace vesk::app {

// A line on the terminal that says what is waited for, as long as that takes. Where no terminal takes the output there
// is none.
class WaitingLine {
 public:
  WaitingLine();
  explicit WaitingLine(std::string_view text);  // shown at once
  ~WaitingLine();
  WaitingLine(const WaitingLine&) = delete;
  WaitingLine& operator=(const WaitingLine&) = delete;

  // In place of what it showed; cut where the terminal ends.
  void show(std::string_view text);

 private:
  const std::optional<std::size_t> width_;
  bool isShown_ = false;
};

}  // namespace vesk::app
