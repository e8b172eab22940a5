#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <vector>

namespace vesk::bench {

// Two things measured one after the other, again and again: on a machine that is sometimes slow, both are slow
// together, and the ratio of the two stays.
struct Comparison {
  std::vector<double> measured = {};
  std::vector<double> beside = {};  // as long as `measured`

  std::vector<double> ratios() const;
};

struct Effort {
  std::size_t atLeast = 5;  // pairs
  std::size_t atMost = 40;
  std::chrono::milliseconds time{1500};  // no new pair is begun after it, once there are enough
};

// Adds pairs to the comparison, after one that warms up and doesn't count.
void compare(const std::function<double()>& measured, const std::function<double()>& beside, const Effort& effort,
             Comparison& comparison);

// Of at least one number.
double median(std::vector<double> numbers);

}  // namespace vesk::bench
