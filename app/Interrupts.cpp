#include "app/Interrupts.h"

#include <array>
#include <csignal>
#include <poll.h>

#include <sys/eventfd.h>
#include <sys/signalfd.h>

namespace vesk::app {

namespace {

sigset_t interruptAlone() {
  sigset_t interrupt;
  sigemptyset(&interrupt);
  sigaddset(&interrupt, SIGINT);
  return interrupt;
}

}  // namespace

Interrupts::Interrupts() {
  const sigset_t interrupt = interruptAlone();
  pthread_sigmask(SIG_BLOCK, &interrupt, nullptr);
  signals_ = Fd(::signalfd(-1, &interrupt, SFD_CLOEXEC | SFD_NONBLOCK));
}

Interrupts::~Interrupts() {
  take();
  const sigset_t interrupt = interruptAlone();
  pthread_sigmask(SIG_UNBLOCK, &interrupt, nullptr);
}

bool Interrupts::take() const {
  signalfd_siginfo ignored = {};
  bool wasPressed = false;
  while (::read(signals_.get(), &ignored, sizeof ignored) > 0) wasPressed = true;
  return wasPressed;
}

bool Interrupts::wait(std::chrono::milliseconds time) const {
  pollfd polled{signals_.get(), POLLIN, 0};
  return ::poll(&polled, 1, static_cast<int>(time.count())) > 0 && take();
}

// Who presses it twice means the same: what comes before the end of what is cancelled doesn't count for what follows.
InterruptCancel::InterruptCancel(const Interrupts& interrupts)
    : wake_(::eventfd(0, EFD_CLOEXEC)), waiting_([this, &interrupts] {
        std::array<pollfd, 2> polled{{{wake_.get(), POLLIN, 0}, {interrupts.descriptor(), POLLIN, 0}}};
        while (polled[0].revents == 0)
          if (::poll(polled.data(), polled.size(), -1) > 0 && interrupts.take()) cancelled_.request_stop();
      }) {}

InterruptCancel::~InterruptCancel() { ::eventfd_write(wake_.get(), 1); }

}  // namespace vesk::app
