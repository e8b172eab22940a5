#include "core/platform/Parallel.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace vesk {

unsigned workerCount() { return std::clamp(std::thread::hardware_concurrency(), 1u, 4u); }

void onEveryWorker(const std::function<void()>& worker) {
  std::mutex mutex;
  std::exception_ptr failure;
  const auto guarded = [&] {
    try {
      worker();
    } catch (...) {
      const std::lock_guard lock(mutex);
      if (!failure) failure = std::current_exception();
    }
  };
  {
    std::vector<std::jthread> helpers;
    try {
      for (unsigned i = 1; i < workerCount(); ++i) helpers.emplace_back(guarded);
    } catch (const std::system_error&) {
      // No more threads to be had: those there are do the work.
    }
    guarded();
  }
  if (failure) std::rethrow_exception(failure);
}

void inParallel(std::size_t count, const std::function<void(std::size_t)>& step) {
  constexpr std::size_t batch = 32;
  std::atomic<std::size_t> next = 0;
  const auto work = [&] {
    for (std::size_t begin = next.fetch_add(batch); begin < count; begin = next.fetch_add(batch))
      for (std::size_t i = begin; i < std::min(begin + batch, count); ++i) step(i);
  };
  if (count <= batch) return work();
  onEveryWorker(work);
}

}  // namespace vesk
