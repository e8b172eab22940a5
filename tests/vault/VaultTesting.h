#pragma once

#include <functional>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <sys/wait.h>

#include "core/vault/Vault.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk::test {

// A vault of its own for each test.
class VaultTest : public testing::Test {
 protected:
  const TemporaryFolder folder;
  const Vault vault{folder.path()};
};

// The vault's refusal of an action; nullopt when it isn't refused. Other failures pass through.
inline std::optional<VaultError::Kind> refusal(const std::function<void()>& action) {
  try {
    action();
  } catch (const VaultError& error) {
    return error.kind();
  }
  return std::nullopt;
}

// The system's error that an action ends in; 0 when there is none.
inline int failure(const std::function<void()>& action) {
  try {
    action();
  } catch (const FileError& error) {
    return error.code();
  }
  return 0;
}

// Up to `most` pieces, drawn from `alphabet`.
inline std::string randomText(std::mt19937& random, const std::vector<std::string_view>& alphabet, std::size_t most) {
  std::string text;
  for (std::size_t count = random() % (most + 1); count > 0; --count) text += alphabet[random() % alphabet.size()];
  return text;
}

// Starts a process of its own for `work`, which says whether all went well.
inline pid_t inChild(const std::function<bool()>& work) {
  const pid_t child = ::fork();
  if (child != 0) return child;
  bool isFine = false;
  try {
    isFine = work();
  } catch (...) {
  }
  ::_exit(isFine ? 0 : 1);
}

// What the process's work said.
inline bool endedWell(pid_t child) {
  int status = 0;
  return ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace vesk::test
