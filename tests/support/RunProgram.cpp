#include "tests/support/RunProgram.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <stdexcept>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

#include <sys/ioctl.h>
#include <sys/wait.h>

namespace vesk::test {

namespace {

// The two ends of what one side writes and the other reads.
struct Pipe {
  Fd reading;
  Fd writing;
};

Pipe openPipe() {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  return {Fd(ends[0]), Fd(ends[1])};
}

// A terminal of that width: what is written to it comes out as it is, "\n" included.
Pipe openTerminal(int columns) {
  Fd master(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
  if (!master || ::grantpt(master.get()) != 0 || ::unlockpt(master.get()) != 0) throw std::runtime_error("no terminal");
  Fd slave(::open(::ptsname(master.get()), O_RDWR | O_NOCTTY | O_CLOEXEC));
  termios settings{};
  if (!slave || ::tcgetattr(slave.get(), &settings) != 0) throw std::runtime_error("no terminal");
  settings.c_oflag &= ~static_cast<tcflag_t>(OPOST);
  ::tcsetattr(slave.get(), TCSANOW, &settings);
  winsize size{};
  size.ws_col = static_cast<unsigned short>(columns);
  ::ioctl(slave.get(), TIOCSWINSZ, &size);
  return {std::move(master), std::move(slave)};
}

std::vector<std::string> environmentWith(const std::map<std::string, std::string>& additions) {
  std::vector<std::string> entries;
  for (char** entry = environ; *entry; ++entry) {
    std::string text = *entry;
    if (!additions.contains(text.substr(0, text.find('=')))) entries.push_back(std::move(text));
  }
  for (const auto& [name, value] : additions) entries.push_back(name + "=" + value);
  return entries;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

pid_t spawn(std::vector<std::string> arguments, std::vector<std::string> environment, int input, int output,
            int errors) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t defaults;
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGPIPE);  // ignored here, but not there
  posix_spawnattr_setsigdefault(&attributes, &defaults);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  pid_t child = -1;
  const int failure = ::posix_spawn(&child, arguments.at(0).c_str(), &actions, &attributes,
                                    pointersTo(arguments).data(), pointersTo(environment).data());
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  if (failure != 0) throw std::runtime_error("cannot start " + arguments.at(0));
  return child;
}

// As far as the program reads it.
void writeAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(descriptor, text.data(), text.size());
    if (count < 0 && errno != EINTR) return;
    if (count > 0) text.remove_prefix(static_cast<std::size_t>(count));
  }
}

}  // namespace

RunningProgram::RunningProgram(const std::vector<std::string>& arguments, const RunOptions& options) {
  std::signal(SIGPIPE, SIG_IGN);
  Pipe input = openPipe();
  Pipe output = options.terminalColumns > 0 ? openTerminal(options.terminalColumns) : openPipe();
  Pipe errors = openPipe();
  child_ = spawn(arguments, environmentWith(options.environment), input.reading.get(), output.writing.get(),
                 errors.writing.get());
  outputEnd_ = std::move(output.reading);
  errorsEnd_ = std::move(errors.reading);
  outputReader_ = std::thread([this] { readAll(outputEnd_, output_); });
  errorsReader_ = std::thread([this] { readAll(errorsEnd_, errors_); });
  input.reading.reset();
  writeAll(input.writing.get(), options.input);
}

RunningProgram::~RunningProgram() {
  if (child_ < 0) return;
  signal(SIGKILL);
  finish();
}

void RunningProgram::readAll(const Fd& from, std::string& into) {
  char buffer[1 << 14];
  for (;;) {
    const ssize_t count = ::read(from.get(), buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return;  // a terminal ends with EIO
    const std::lock_guard lock(mutex_);
    into.append(buffer, static_cast<std::size_t>(count));
    grown_.notify_all();
  }
}

bool RunningProgram::waitFor(const std::string& written, std::string_view text) {
  std::unique_lock lock(mutex_);
  return grown_.wait_for(lock, std::chrono::seconds(30), [&] { return written.find(text) != std::string::npos; });
}

void RunningProgram::signal(int number) const { ::kill(child_, number); }

ProgramResult RunningProgram::finish() {
  int status = 0;
  while (::waitpid(child_, &status, 0) < 0 && errno == EINTR) continue;
  child_ = -1;
  outputReader_.join();
  errorsReader_.join();
  const int exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return {exitStatus, std::move(output_), std::move(errors_)};
}

ProgramResult runProgram(const std::vector<std::string>& arguments, const RunOptions& options) {
  return RunningProgram(arguments, options).finish();
}

}  // namespace vesk::test
