#include "tests/support/RunProgram.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <stdexcept>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/wait.h>

namespace vesk::test {

namespace {

Fd fileHolding(const std::string& text) {
  Fd file(::memfd_create("input", MFD_CLOEXEC));
  if (::write(file.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size()))
    throw std::runtime_error("no input");
  ::lseek(file.get(), 0, SEEK_SET);
  return file;
}

// The two ends of what a program writes and the test reads.
struct Pipe {
  Fd reading = {};
  Fd writing = {};
};

Pipe openPipe() {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  return {Fd(ends[0]), Fd(ends[1])};
}

// A terminal of that width: what is written to it comes out as it is, "\n" included.
Pipe openTerminal(int columns) {
  Pipe ends = {.reading = Fd(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))};
  const int master = ends.reading.get();
  if (::grantpt(master) != 0 || ::unlockpt(master) != 0) throw std::runtime_error("no terminal");
  ends.writing = Fd(::open(::ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC));
  termios settings{};
  if (::tcgetattr(ends.writing.get(), &settings) != 0) throw std::runtime_error("no terminal");
  settings.c_oflag &= ~static_cast<tcflag_t>(OPOST);
  ::tcsetattr(ends.writing.get(), TCSANOW, &settings);
  winsize size{};
  size.ws_col = static_cast<unsigned short>(columns);
  ::ioctl(ends.writing.get(), TIOCSWINSZ, &size);
  return ends;
}

pid_t spawn(std::vector<std::string> arguments, const Fd& input, const Fd& output, const Fd& errors) {
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, input.get(), STDIN_FILENO);
  ::posix_spawn_file_actions_adddup2(&actions, output.get(), STDOUT_FILENO);
  ::posix_spawn_file_actions_adddup2(&actions, errors.get(), STDERR_FILENO);
  pid_t child = -1;
  const int failure = ::posix_spawn(&child, pointers[0], &actions, nullptr, pointers.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  if (failure != 0) throw std::runtime_error("cannot start " + arguments.at(0));
  return child;
}

}  // namespace

RunningProgram::RunningProgram(const std::vector<std::string>& arguments, const RunOptions& options) {
  std::vector<std::string> command = {"/usr/bin/env",
                                      "--default-signal=INT,PIPE"};  // whoever runs a test may ignore them
  for (const auto& [name, value] : options.environment) command.push_back(name + "=" + value);
  command.insert(command.end(), arguments.begin(), arguments.end());
  Pipe output = options.terminalColumns > 0 ? openTerminal(options.terminalColumns) : openPipe();
  Pipe errors = openPipe();
  child_ = spawn(std::move(command), fileHolding(options.input), output.writing, errors.writing);
  output_.end = std::move(output.reading);
  errors_.end = std::move(errors.reading);
}

RunningProgram::~RunningProgram() {
  if (child_ < 0) return;
  signal(SIGKILL);
  finish();
}

void RunningProgram::Stream::read() {
  char buffer[1 << 14];
  const ssize_t count = ::read(end.get(), buffer, sizeof buffer);
  if (count > 0) text.append(buffer, static_cast<std::size_t>(count));
  if (count <= 0) end.reset();  // a terminal ends with EIO
}

// Takes in what comes next on either stream. False when both have ended, or after half a minute of silence.
bool RunningProgram::readMore() {
  if (!output_.end && !errors_.end) return false;
  pollfd ends[] = {{output_.end.get(), POLLIN, 0}, {errors_.end.get(), POLLIN, 0}};
  if (::poll(ends, 2, 30'000) <= 0) return false;
  if (ends[0].revents != 0) output_.read();
  if (ends[1].revents != 0) errors_.read();
  return true;
}

bool RunningProgram::waitFor(const Stream& stream, std::string_view text) {
  while (stream.text.find(text) == std::string::npos)
    if (!readMore()) return false;
  return true;
}

void RunningProgram::signal(int number) const { ::kill(child_, number); }

ProgramResult RunningProgram::finish() {
  while (readMore()) continue;
  int status = 0;
  while (::waitpid(child_, &status, 0) < 0 && errno == EINTR) continue;
  child_ = -1;
  const int exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return {exitStatus, std::move(output_.text), std::move(errors_.text)};
}

ProgramResult runProgram(const std::vector<std::string>& arguments, const RunOptions& options) {
  return RunningProgram(arguments, options).finish();
}

}  // namespace vesk::test
