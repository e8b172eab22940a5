#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace vesk::bench {

// Random numbers that are the same on every machine and with every library (SplitMix64, integers only), which those of
// the standard distributions are not.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint64_t next() {
    std::uint64_t z = state_ += 0x9e3779b97f4a7c15;
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
    z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
    return z ^ (z >> 31);
  }

  // From 0 up to, but not, `end`.
  std::size_t below(std::size_t end) { return static_cast<std::size_t>(next() % end); }
  // From `first` to `last`, both included.
  std::size_t between(std::size_t first, std::size_t last) { return first + below(last - first + 1); }
  bool percent(unsigned chance) { return below(100) < chance; }

  std::string_view pick(std::span<const std::string_view> choices) { return choices[below(choices.size())]; }

 private:
  std::uint64_t state_;
};

}  // namespace vesk::bench
