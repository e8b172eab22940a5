#pragma once

#include <cstdlib>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

#include <sys/wait.h>

#include "core/platform/FileError.h"
#include "core/vault/VaultError.h"

namespace vesk::test {

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
inline std::string randomText(std::mt19937& random, const std::vector<std::string>& alphabet, std::size_t most) {
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

// While it lives, temporary folders are made in memory where the system has room there: thousands of writes go to no
// disk, and a process that is killed leaves the same behind.
class InMemory {
 public:
  InMemory() {
    if (const char* set = std::getenv("TMPDIR")) before_ = set;
    if (::access("/dev/shm", W_OK) == 0) ::setenv("TMPDIR", "/dev/shm", 1);
  }
  ~InMemory() {
    if (before_) ::setenv("TMPDIR", before_->c_str(), 1);
    if (!before_) ::unsetenv("TMPDIR");
  }
  InMemory(const InMemory&) = delete;
  InMemory& operator=(const InMemory&) = delete;

 private:
  std::optional<std::string> before_;
};

// What the process's work said.
inline bool endedWell(pid_t child) {
  int status = 0;
  return ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace vesk::test
