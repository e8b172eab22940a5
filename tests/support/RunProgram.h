#pragma once

#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
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

// A program while it runs. What it writes is read all the time, so that it never waits for the test.
class RunningProgram {
 public:
  // arguments[0] is the program's path.
  explicit RunningProgram(const std::vector<std::string>& arguments, const RunOptions& options = {});
  ~RunningProgram();  // ends a program that still runs
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;

  // False when that text isn't among what was written within half a minute.
  bool waitForOutput(std::string_view text) { return waitFor(output_, text); }
  bool waitForErrors(std::string_view text) { return waitFor(errors_, text); }

  void signal(int number) const;
  ProgramResult finish();

 private:
  void readAll(const Fd& from, std::string& into);
  bool waitFor(const std::string& written, std::string_view text);

  pid_t child_ = -1;
  Fd outputEnd_;
  Fd errorsEnd_;
  std::mutex mutex_;
  std::condition_variable grown_;
  std::string output_;
  std::string errors_;
  std::thread outputReader_;
  std::thread errorsReader_;
};

// Runs a program to its end.
ProgramResult runProgram(const std::vector<std::string>& arguments, const RunOptions& options = {});

}  // namespace vesk::test
