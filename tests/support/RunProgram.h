#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

#include "core/platform/Fd.h"

namespace vesk::test {

struct RunOptions {
  std::string input = {};                               // for its standard input, which then ends
  std::map<std::string, std::string> environment = {};  // beside the test's own
  int terminalColumns = 0;                              // over 0, its standard output is a terminal of that width
};

struct ProgramResult {
  int exitStatus = -1;  // 128 and the signal's number for a program that a signal ended
  std::string output = {};
  std::string errors = {};
};

// A program while it runs.
class RunningProgram {
 public:
  // arguments[0] is the program's path.
  explicit RunningProgram(const std::vector<std::string>& arguments, const RunOptions& options = {});
  ~RunningProgram();  // ends a program that still runs
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;

  // Reads until that text was written. False when the program closes its ends or is silent for half a minute.
  bool waitForOutput(std::string_view text) { return waitFor(output_, text); }
  bool waitForErrors(std::string_view text) { return waitFor(errors_, text); }

  void signal(int number) const;
  ProgramResult finish();

 private:
  struct Stream {
    Fd end = {};
    std::string text = {};
    void read();
  };
  bool readMore();
  bool waitFor(const Stream& stream, std::string_view text);

  pid_t child_ = -1;
  Stream output_;
  Stream errors_;
};

// Runs a program to its end.
ProgramResult runProgram(const std::vector<std::string>& arguments, const RunOptions& options = {});

}  // namespace vesk::test
