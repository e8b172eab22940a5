#pragma once

#include <unistd.h>
#include <utility>

namespace vesk {

// Owns a file descriptor.
class Fd {
 public:
  Fd() = default;
  explicit Fd(int descriptor) : descriptor_(descriptor) {}
  Fd(Fd&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  Fd& operator=(Fd&& other) noexcept {
    if (this != &other) {
      reset();
      descriptor_ = std::exchange(other.descriptor_, -1);
    }
    return *this;
  }
  ~Fd() { reset(); }

  int get() const { return descriptor_; }
  explicit operator bool() const { return descriptor_ >= 0; }
  // Gives the descriptor to the caller, who closes it.
  int release() { return std::exchange(descriptor_, -1); }
  void reset() {
    if (descriptor_ >= 0) ::close(std::exchange(descriptor_, -1));
  }

 private:
  int descriptor_ = -1;
};

}  // namespace vesk
