#pragma once

#include <string>

#include "core/base/Error.h"

namespace vesk {

// A sync that could not be done; what() is what the user or the assistant reads.
class GitError : public Error {
 public:
  enum class Kind { unsafeRemote, conflict, failed };

  static GitError unsafeRemote() {
    return {Kind::unsafeRemote, "Use an https or SSH address, without a password or token in it."};
  }
  static GitError conflict() {
    return {Kind::conflict, "The same notes changed in two places. Nothing was lost, but this needs fixing in Git."};
  }
  // `text` is what git said, without credentials, or a sentence.
  static GitError failed(const std::string& text) { return {Kind::failed, text}; }

  Kind kind() const noexcept { return kind_; }

 private:
  GitError(Kind kind, const std::string& text) : Error(text), kind_(kind) {}
  Kind kind_;
};

}  // namespace vesk
