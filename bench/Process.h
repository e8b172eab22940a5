#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

#include "core/platform/Fd.h"

namespace vesk::bench {

struct Command {
  std::vector<std::string> arguments = {};    // [0] is the program, looked for in $PATH
  std::vector<std::string> environment = {};  // "NAME=value", besides what this process has
  int status = 0;                             // that it ends with when all is well
};

// A running program, ended with the object.
class Process {
 public:
  // The descriptors become its standard input and output. Throws Error when the program can't be started.
  Process(const Command& command, int input, int output);
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  pid_t id() const { return id_; }

  // Waits for its end. Throws Error unless it ended with the command's status.
  void wait();

 private:
  std::string name_;
  int status_ = 0;
  pid_t id_ = -1;
};

struct Pipe {
  Fd readEnd = {};
  Fd writeEnd = {};
};

Pipe makePipe();

// The milliseconds from the start of the program to its end. `input` is what it finds on its standard input and is
// short; what it writes is thrown away. Throws Error as Process does.
double millisecondsOf(const Command& command, std::string_view input = {});

// The most memory that a running process has had so far, in bytes. `process` is its id, or "self".
std::size_t peakMemoryOf(std::string_view process);

// What the program writes. Throws Error as Process does.
std::string outputOf(const Command& command);

}  // namespace vesk::bench
