#pragma once

#include <cstddef>
#include <functional>

namespace vesk {

// The number of threads that work on one task: what the machine has, within reason for a desktop program.
unsigned workerCount();

// Runs `worker` on workerCount() threads at once, this one among them, and returns when all are done. The first
// exception that one throws is thrown here.
void onEveryWorker(const std::function<void()>& worker);

// Calls step(0) … step(count - 1), shared out over the workers, in no order.
void inParallel(std::size_t count, const std::function<void(std::size_t)>& step);

}  // namespace vesk
