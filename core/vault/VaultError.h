#pragma once

#include <string>
#include <string_view>

#include <fmt/format.h>

#include "core/base/Error.h"

namespace vesk {

// A refusal by the vault; what() is what the user or the assistant reads.
class VaultError : public Error {
 public:
  enum class Kind { outsideVault, invalidName, changedSince, conflict, invalidMove, nameTaken };

  static VaultError outsideVault(std::string_view path) {
    return {Kind::outsideVault, fmt::format("{} is outside the vault.", path)};
  }
  static VaultError invalidName() { return {Kind::invalidName, "That name can't be used for a file."}; }
  // Undo: the file no longer holds what the action wrote.
  static VaultError changedSince() {
    return {Kind::changedSince, "This changed after the AI's action, so it can't be undone."};
  }
  // The file no longer holds what the writer last read.
  static VaultError conflict() { return {Kind::conflict, "This note changed outside Vesk."}; }
  static VaultError invalidMove() { return {Kind::invalidMove, "A folder can't be moved into itself."}; }
  static VaultError nameTaken() { return {Kind::nameTaken, "There's already a folder with that name here."}; }

  Kind kind() const noexcept { return kind_; }

 private:
  VaultError(Kind kind, const std::string& sentence) : Error(sentence), kind_(kind) {}
  Kind kind_;
};

}  // namespace vesk
