#pragma once

#include <stdexcept>
#include <string>

namespace vesk {

// The one base of every failure Vesk reports. what() is a whole sentence that the user or the assistant reads as it
// stands.
class Error : public std::runtime_error {
 public:
  explicit Error(const std::string& sentence) : std::runtime_error(sentence) {}
};

}  // namespace vesk
