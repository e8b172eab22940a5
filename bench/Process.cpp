#include "bench/Process.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <fstream>
#include <signal.h>
#include <spawn.h>
#include <unistd.h>
#include <utility>

#include <fmt/format.h>
#include <sys/wait.h>

#include "core/base/Error.h"
#include "core/platform/FileError.h"

namespace vesk::bench {

namespace {

// Pointers as posix_spawn takes them; they live as long as the texts.
std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (std::string& text : texts) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

pid_t spawn(const Command& command, int input, int output) {
  std::vector<std::string> arguments = command.arguments;
  std::vector<std::string> environment = command.environment;  // first, because the first of a name holds
  for (char** variable = environ; *variable; ++variable) environment.emplace_back(*variable);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  pid_t id = -1;
  const int failure = ::posix_spawnp(&id, arguments.at(0).c_str(), &actions, nullptr, pointers(arguments).data(),
                                     pointers(environment).data());
  posix_spawn_file_actions_destroy(&actions);
  if (failure != 0) throw FileError("start", arguments.at(0), failure);
  return id;
}

Fd openNothing() {
  Fd nothing(::open("/dev/null", O_RDWR | O_CLOEXEC));
  if (!nothing) throw FileError("open", "/dev/null", errno);
  return nothing;
}

}  // namespace

Process::Process(const Command& command, int input, int output)
    : name_(command.arguments.at(0)), status_(command.status), id_(spawn(command, input, output)) {}

Process::~Process() {
  if (id_ < 0) return;
  ::kill(id_, SIGKILL);
  ::waitpid(id_, nullptr, 0);
}

void Process::wait() {
  int status = 0;
  while (::waitpid(id_, &status, 0) < 0) {
    if (errno != EINTR) throw FileError("wait for", name_, errno);
  }
  id_ = -1;
  if (WIFSIGNALED(status)) throw Error(fmt::format("{} was ended by signal {}.", name_, WTERMSIG(status)));
  if (WEXITSTATUS(status) != status_) throw Error(fmt::format("{} ended with status {}.", name_, WEXITSTATUS(status)));
}

Pipe makePipe() {
  int ends[2] = {};
  if (::pipe2(ends, O_CLOEXEC) != 0) throw FileError("make", "a pipe", errno);
  return {Fd(ends[0]), Fd(ends[1])};
}

double millisecondsOf(const Command& command, std::string_view input) {
  const Fd nothing = openNothing();
  Pipe pipe = makePipe();
  if (::write(pipe.writeEnd.get(), input.data(), input.size()) != static_cast<ssize_t>(input.size())) {
    throw FileError("write to", command.arguments.at(0), errno);
  }
  pipe.writeEnd.reset();

  const auto start = std::chrono::steady_clock::now();
  Process(command, pipe.readEnd.get(), nothing.get()).wait();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

std::size_t peakMemoryOf(std::string_view process) {
  std::ifstream status(fmt::format("/proc/{}/status", process));
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM:")) return std::stoul(line.substr(6)) * 1024;
  }
  throw Error(fmt::format("The memory of process {} can't be read from /proc.", process));
}

std::string outputOf(const Command& command) {
  const Fd nothing = openNothing();
  Pipe pipe = makePipe();
  Process process(command, nothing.get(), pipe.writeEnd.get());
  pipe.writeEnd.reset();
  std::string output;
  std::array<char, 4096> buffer = {};
  for (ssize_t got = 0; (got = ::read(pipe.readEnd.get(), buffer.data(), buffer.size())) > 0;) {
    output.append(buffer.data(), static_cast<std::size_t>(got));
  }
  process.wait();
  return output;
}

}  // namespace vesk::bench
