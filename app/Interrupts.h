#pragma once

#include <chrono>
#include <stop_token>
#include <thread>

#include "core/platform/Fd.h"

namespace vesk::app {

// Ctrl-C, which doesn't end the program while one of these is there. To be made before any other thread is started.
class Interrupts {
 public:
  Interrupts();
  ~Interrupts();
  Interrupts(const Interrupts&) = delete;
  Interrupts& operator=(const Interrupts&) = delete;

  int descriptor() const { return signals_.get(); }  // for poll(): readable once Ctrl-C was pressed

  // Whether it was pressed since the last time.
  bool take() const;

  // Likewise; waits until it is pressed or the time is up.
  bool wait(std::chrono::milliseconds time) const;

 private:
  Fd signals_;
};

// Cancels something on Ctrl-C for as long as it is there.
class InterruptCancel {
 public:
  explicit InterruptCancel(const Interrupts& interrupts);
  ~InterruptCancel();
  InterruptCancel(const InterruptCancel&) = delete;
  InterruptCancel& operator=(const InterruptCancel&) = delete;

  std::stop_token token() const { return cancelled_.get_token(); }

 private:
  Fd wake_;  // an eventfd: it is no longer needed
  std::stop_source cancelled_;
  std::jthread waiting_;
};

}  // namespace vesk::app
