#include "bench/Comparison.h"

#include <algorithm>
#include <iterator>

namespace vesk::bench {

std::vector<double> Comparison::ratios() const {
  std::vector<double> result;
  std::transform(measured.begin(), measured.end(), beside.begin(), std::back_inserter(result), std::divides<>());
  return result;
}

void compare(const std::function<double()>& measured, const std::function<double()>& beside, const Effort& effort,
             Comparison& comparison) {
  measured();
  beside();
  const auto start = std::chrono::steady_clock::now();
  for (std::size_t pairs = 0; pairs < effort.atMost; ++pairs) {
    if (pairs >= effort.atLeast && std::chrono::steady_clock::now() - start > effort.time) return;
    comparison.measured.push_back(measured());
    comparison.beside.push_back(beside());
  }
}

double median(std::vector<double> numbers) {
  const auto middle = numbers.begin() + static_cast<std::ptrdiff_t>(numbers.size() / 2);
  std::nth_element(numbers.begin(), middle, numbers.end());
  return *middle;
}

}  // namespace vesk::bench
