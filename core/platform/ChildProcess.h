#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

#include "core/platform/Fd.h"

namespace vesk {

// Environment variables by name.
using ProcessEnvironment = std::map<std::string, std::string, std::less<>>;

// Those of this process.
ProcessEnvironment ownEnvironment();

// From now on SIGINT, SIGTERM and SIGHUP, unless they are ignored, first end the programs that end with this process
// and all that these started. For main().
void endProgramsOnSignals();

// A program to start. Nothing of it goes through a shell.
struct ProcessRequest {
  std::string executable = {};              // a path; PATH isn't searched
  std::vector<std::string> arguments = {};  // what follows the program's name
  ProcessEnvironment environment = {};      // all that the program gets to see
  std::string input = {};                   // for its standard input, which then ends
  bool endsWithUs = true;                   // with this process; what must not stop halfway goes on to its own end
  std::string folder = {};                  // its working folder; empty for that of this process
};

// How a program ended.
struct ProcessExit {
  int code = -1;   // -1 when a signal ended it
  int signal = 0;  // that signal
  bool operator==(const ProcessExit&) const = default;
};

// A program while it runs, in a session of its own: it has no terminal to ask on, and all that it starts (but for what
// leaves the session on purpose) can be ended with it. It gets no descriptor of ours beside its three streams, and no
// signal is blocked or ignored in it. Should this process end in whatever way, the program is told to end (SIGTERM).
//
// One thread reads its events; any other may terminate() it meanwhile. The thread that starts a program has to outlive
// it: to the system, its end is the end of this process.
class ChildProcess {
 public:
  using Clock = std::chrono::steady_clock;
  static constexpr Clock::time_point never = Clock::time_point::max();

  struct Event {
    enum class Kind {
      output,  // a piece of its standard output, as it came: not cut at lines
      errors,  // likewise of its standard error
      ended,   // the program has ended, and all that it wrote was handed out
      timeUp,  // the deadline came first
    };
    Kind kind = Kind::timeUp;
    std::string_view text = {};  // valid until the next call
  };

  // Starts it. FileError when that fails. `grace` is how long a program that is told to end may take to do so.
  explicit ChildProcess(const ProcessRequest& request, std::chrono::milliseconds grace = std::chrono::seconds(2));

  // Ends the program and all that it started, at once, if it still runs.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Waits for what comes next. The program's end is not waited for beyond the program itself: what it leaves behind in
  // its session is ended, and what has left the session may keep the streams open.
  Event next(Clock::time_point deadline = never);

  // Asks the program and all that it started to end (SIGTERM); next() and wait() end them (SIGKILL) when the grace has
  // passed. From any thread, also when it has ended.
  void terminate();

  // Waits for the end; what is still written meanwhile is dropped.
  ProcessExit wait();

 private:
  Event nextPiece(Fd& stream, Event::Kind kind, std::size_t most);
  Event nextOfRest();
  Clock::time_point killWhenDue();
  bool hasEnded();
  void signalGroup(int number) const;

  const std::chrono::milliseconds grace_;
  Fd output_;
  Fd errors_;
  Fd wake_;    // an eventfd: terminate() has been called
  Fd handle_;  // a pidfd; none where the system has no such thing
  std::vector<char> buffer_;
  ProcessExit exit_;
  std::mutex mutex_;                  // guards what follows
  pid_t child_ = -1;                  // -1 once it has ended
  Clock::time_point killAt_ = never;  // set by terminate()
};

struct ProcessLimits {
  std::chrono::milliseconds time = std::chrono::seconds(60);
  std::chrono::milliseconds grace = std::chrono::seconds(2);  // from being told to end to being ended
  std::size_t output = 1 << 20;                               // bytes that are kept, the last ones
  std::size_t errors = 1 << 20;                               // likewise
};

struct ProcessResult {
  ProcessExit exit = {};
  bool timedOut = false;  // it was ended at the limit of time
  std::string output = {};
  std::string errors = {};
  bool isOutputCut = false;  // more was written than is kept
  bool areErrorsCut = false;

  bool succeeded() const { return exit.code == 0 && !timedOut; }
};

// Runs a program to its end. FileError when it can't be started.
ProcessResult runProcess(const ProcessRequest& request, const ProcessLimits& limits = {});

}  // namespace vesk
