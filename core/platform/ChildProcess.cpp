#include "core/platform/ChildProcess.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>
#include <utility>

#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include "core/platform/FileError.h"

namespace vesk {

namespace {

constexpr std::size_t pieceSize = 1 << 16;              // bytes read at once
constexpr int outputSize = 1 << 20;                     // bytes that wait in a pipe, if the system lets us have it
constexpr std::chrono::milliseconds withoutHandle{10};  // how often a program's end is asked for where nothing tells it

struct Pipe {
  Fd reading = {};
  Fd writing = {};
};

Pipe openPipe() {
  int ends[2] = {-1, -1};
  if (::pipe2(ends, O_CLOEXEC) != 0) throw FileError("open", "a pipe", errno);
  return {Fd(ends[0]), Fd(ends[1])};
}

// A file that holds the text: the program reads it when it likes, and nobody waits to write it.
Fd openInput(const std::string& text) {
  Fd file(text.empty() ? ::open("/dev/null", O_RDONLY | O_CLOEXEC) : ::memfd_create("input", MFD_CLOEXEC));
  if (!file) throw FileError("open", "a program's input", errno);
  for (std::size_t written = 0; written < text.size();) {
    const ssize_t count = ::write(file.get(), text.data() + written, text.size() - written);
    if (count < 0 && errno != EINTR) throw FileError("write", "a program's input", errno);
    written += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
  }
  ::lseek(file.get(), 0, SEEK_SET);
  return file;
}

// The pointers that exec wants, to texts that must outlive them.
std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

// Waits for the end of a child that has ended or will do so in a moment.
void reap(pid_t child) {
  while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) continue;
}

// What it takes to become a program, made beforehand: a process that was forked off one with threads can't allocate.
struct Launch {
  const char* executable = nullptr;
  const char* folder = nullptr;  // none to stay
  std::vector<char*> arguments = {};
  std::vector<char*> environment = {};
  std::array<int, 3> streams = {};
  int start = -1;    // a pipe that has a byte once the parent has noted the new process
  int failure = -1;  // a pipe for the reason why the program can't be started
  pid_t parent = ::getpid();
  bool endsWithParent = true;
};

// A descriptor that is in its place already would be closed with the others.
void put(int descriptor, int place) {
  if (descriptor == place) ::fcntl(place, F_SETFD, 0);
  if (descriptor != place) ::dup2(descriptor, place);
}

// Whatever ends the parent, from here on it ends this process too. The parent notes it before anything else is started.
void tieToParent(const Launch& launch) {
  ::prctl(PR_SET_PDEATHSIG, SIGTERM);
  char ignored = 0;
  if (::getppid() != launch.parent || ::read(launch.start, &ignored, 1) != 1) ::_exit(EXIT_FAILURE);
}

// In the new process, which posix_spawn can't tie to the life of this one: a session and a clean state of signals, as
// what this process ignores would stay ignored in the program. The streams are put in the order in which they were
// opened: where this process has closed its own, a descriptor may be one of those that it is copied over.
[[noreturn]] void become(const Launch& launch) {
  constexpr int failure = STDERR_FILENO + 1;
  ::setsid();
  for (int number = 1; number < NSIG; ++number) ::signal(number, SIG_DFL);
  sigset_t none = {};
  ::sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
  if (launch.endsWithParent) tieToParent(launch);
  for (int place = STDIN_FILENO; const int stream : launch.streams) put(stream, place++);
  ::dup3(launch.failure, failure, O_CLOEXEC);
  ::closefrom(failure + 1);
  if (!launch.folder || ::chdir(launch.folder) == 0)
    ::execve(launch.executable, launch.arguments.data(), launch.environment.data());
  const int reason = errno;
  [[maybe_unused]] const ssize_t told = ::write(failure, &reason, sizeof reason);
  ::_exit(EXIT_FAILURE);
}

// The groups of the programs that end with this process, where a signal handler gets at them; 0 is a free place. Of a
// program beyond these, only the program itself is ended.
constinit std::array<std::atomic<pid_t>, 64> groups = {};
constinit std::atomic<bool> isEnding = false;  // this process, by a signal
static_assert(std::atomic<pid_t>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

void replaceGroup(pid_t group, pid_t by) {
  for (auto& place : groups)
    if (pid_t expected = group; place.compare_exchange_strong(expected, by)) return;
}

// A program that ends with this process starts only when its group is noted: a signal that ends this process must not
// miss what the program has started.
pid_t spawn(const ProcessRequest& request, const Fd& input, const Fd& output, const Fd& errors) {
  std::vector<std::string> arguments = {request.executable};
  arguments.insert(arguments.end(), request.arguments.begin(), request.arguments.end());
  std::vector<std::string> environment;
  for (const auto& [name, value] : request.environment) environment.push_back(name + "=" + value);
  for (const auto* texts : {&arguments, &environment})
    for (const std::string& text : *texts)
      if (text.find('\0') != std::string::npos) throw FileError("start", request.executable, EINVAL);

  Pipe start = openPipe();
  Pipe failure = openPipe();
  const Launch launch = {.executable = request.executable.c_str(),
                         .folder = request.folder.empty() ? nullptr : request.folder.c_str(),
                         .arguments = pointersTo(arguments),
                         .environment = pointersTo(environment),
                         .streams = {input.get(), output.get(), errors.get()},
                         .start = start.reading.get(),
                         .failure = failure.writing.get(),
                         .endsWithParent = request.endsWithUs};
  const pid_t child = ::fork();
  if (child < 0) throw FileError("start", request.executable, errno);
  if (child == 0) become(launch);
  if (request.endsWithUs) replaceGroup(0, child);
  [[maybe_unused]] const ssize_t started = isEnding ? 0 : ::write(start.writing.get(), "", 1);

  failure.writing.reset();  // the other one closes as the program starts
  int reason = 0;
  ssize_t count = -1;
  while ((count = ::read(failure.reading.get(), &reason, sizeof reason)) < 0 && errno == EINTR) continue;
  if (count <= 0) return child;
  replaceGroup(child, 0);
  reap(child);
  throw FileError("start", request.executable, reason);
}

// Runs once: the signal that is raised here ends this process.
void endPrograms(int signal) {
  isEnding = true;
  for (const auto& place : groups) {
    const pid_t group = place;
    if (group > 0) ::kill(-group, SIGTERM);
    if (group > 0) ::kill(group, SIGTERM);  // one that was forked just now has no group of its own yet
  }
  ::raise(signal);
}

// Whoever starts this process may have it ignore the end of its children, and the system then forgets how they ended.
void rememberEndedChildren() {
  struct sigaction action = {};
  ::sigaction(SIGCHLD, nullptr, &action);
  if (action.sa_handler != SIG_IGN && !(action.sa_flags & SA_NOCLDWAIT)) return;
  if (action.sa_handler == SIG_IGN) action.sa_handler = SIG_DFL;
  action.sa_flags &= ~SA_NOCLDWAIT;
  ::sigaction(SIGCHLD, &action, nullptr);
}

// As poll() wants it: -1 for no end.
int millisecondsUntil(ChildProcess::Clock::time_point moment) {
  if (moment == ChildProcess::never) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(moment - ChildProcess::Clock::now()).count();
  return static_cast<int>(std::clamp<decltype(left)>(left, 0, INT_MAX));
}

}  // namespace

ProcessEnvironment ownEnvironment() {
  ProcessEnvironment variables;
  for (char** entry = environ; entry && *entry; ++entry) {
    const std::string_view text = *entry;
    const std::size_t equals = text.find('=');
    if (equals != std::string_view::npos) variables.emplace(text.substr(0, equals), text.substr(equals + 1));
  }
  return variables;
}

void endProgramsOnSignals() {
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action = {};
    ::sigaction(number, nullptr, &action);
    if (action.sa_handler == SIG_IGN) continue;
    action = {};
    action.sa_handler = endPrograms;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    ::sigaction(number, &action, nullptr);
  }
}

ChildProcess::ChildProcess(const ProcessRequest& request, std::chrono::milliseconds grace)
    : grace_(grace), buffer_(pieceSize) {
  const Fd input = openInput(request.input);
  Pipe output = openPipe();
  ::fcntl(output.writing.get(), F_SETPIPE_SZ, outputSize);  // a program that writes much need not wait for each piece
  Pipe errors = openPipe();
  output_ = std::move(output.reading);
  errors_ = std::move(errors.reading);
  wake_ = Fd(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if (!wake_) throw FileError("start", request.executable, errno);
  rememberEndedChildren();
  child_ = spawn(request, input, output.writing, errors.writing);
  handle_ = Fd(static_cast<int>(::syscall(SYS_pidfd_open, child_, 0)));
}

ChildProcess::~ChildProcess() {
  if (child_ < 0) return;
  signalGroup(SIGKILL);
  replaceGroup(child_, 0);
  reap(child_);
}

ChildProcess::Event ChildProcess::next(Clock::time_point deadline) {
  while (!hasEnded()) {
    if (Clock::now() >= deadline) return {};
    auto wakeAt = std::min(deadline, killWhenDue());
    if (!handle_) wakeAt = std::min(wakeAt, Clock::now() + withoutHandle);
    std::array<pollfd, 4> polled{
        {{output_.get(), POLLIN, 0}, {errors_.get(), POLLIN, 0}, {wake_.get(), POLLIN, 0}, {handle_.get(), POLLIN, 0}}};
    if (::poll(polled.data(), polled.size(), millisecondsUntil(wakeAt)) <= 0) continue;

    eventfd_t ignored = 0;
    if (polled[2].revents != 0) ::eventfd_read(wake_.get(), &ignored);
    if (polled[0].revents != 0)
      if (const Event piece = nextPiece(output_, Event::Kind::output, pieceSize); !piece.text.empty()) return piece;
    if (polled[1].revents != 0)
      if (const Event piece = nextPiece(errors_, Event::Kind::errors, pieceSize); !piece.text.empty()) return piece;
  }
  return nextOfRest();
}

// Closes a stream that has ended, and then has no text.
ChildProcess::Event ChildProcess::nextPiece(Fd& stream, Event::Kind kind, std::size_t most) {
  if (buffer_.size() < most) buffer_.resize(most);
  const ssize_t count = ::read(stream.get(), buffer_.data(), most);
  if (count == 0 || (count < 0 && errno != EINTR)) stream.reset();
  return {kind, {buffer_.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))}};
}

// What lies in the pipes when the program has ended is all that it wrote. Whoever else holds them is not waited for.
ChildProcess::Event ChildProcess::nextOfRest() {
  for (const auto& [stream, kind] : {std::pair(&output_, Event::Kind::output), {&errors_, Event::Kind::errors}}) {
    if (!*stream) continue;
    int size = 0;
    ::ioctl(stream->get(), FIONREAD, &size);
    const Event rest = size > 0 ? nextPiece(*stream, kind, static_cast<std::size_t>(size)) : Event{};
    stream->reset();
    if (!rest.text.empty()) return rest;
  }
  return {.kind = Event::Kind::ended};
}

void ChildProcess::terminate() {
  const std::lock_guard lock(mutex_);
  if (child_ < 0 || killAt_ != never) return;
  signalGroup(SIGTERM);
  killAt_ = Clock::now() + grace_;
  ::eventfd_write(wake_.get(), 1);
}

// The moment at which to come back for it.
ChildProcess::Clock::time_point ChildProcess::killWhenDue() {
  const std::lock_guard lock(mutex_);
  if (killAt_ > Clock::now()) return killAt_;
  signalGroup(SIGKILL);
  return never;
}

ProcessExit ChildProcess::wait() {
  while (next().kind != Event::Kind::ended) continue;
  return exit_;
}

// The group is ended while its number is still taken, by the program that has ended but was not yet waited for.
bool ChildProcess::hasEnded() {
  const std::lock_guard lock(mutex_);
  if (child_ < 0) return true;
  siginfo_t info = {};
  const bool isOurs = ::waitid(P_PID, static_cast<id_t>(child_), &info, WEXITED | WNOHANG | WNOWAIT) == 0;
  if (isOurs && info.si_pid == 0) return false;
  if (isOurs) {
    signalGroup(SIGKILL);
    replaceGroup(child_, 0);
    reap(child_);
    exit_ = info.si_code == CLD_EXITED ? ProcessExit{.code = info.si_status} : ProcessExit{.signal = info.si_status};
  }
  child_ = -1;
  return true;
}

void ChildProcess::signalGroup(int number) const { ::kill(-child_, number); }

namespace {

void cutTo(std::size_t most, std::string& kept, bool& isCut) {
  if (kept.size() <= most) return;
  kept.erase(0, kept.size() - most);
  isCut = true;
}

// Keeps the end, where programs say what went wrong. It is cut now and then, not at each piece.
void keep(std::string_view piece, std::size_t most, std::string& kept, bool& isCut) {
  kept.append(piece);
  if (kept.size() / 2 > most) cutTo(most, kept, isCut);
}

}  // namespace

ProcessResult runProcess(const ProcessRequest& request, const ProcessLimits& limits) {
  using Kind = ChildProcess::Event::Kind;
  ChildProcess child(request, limits.grace);
  auto deadline = ChildProcess::Clock::now() + limits.time;
  ProcessResult result;
  for (;;) {
    const auto event = child.next(deadline);
    switch (event.kind) {
      case Kind::output: keep(event.text, limits.output, result.output, result.isOutputCut); break;
      case Kind::errors: keep(event.text, limits.errors, result.errors, result.areErrorsCut); break;
      case Kind::ended:
        cutTo(limits.output, result.output, result.isOutputCut);
        cutTo(limits.errors, result.errors, result.areErrorsCut);
        result.exit = child.wait();
        return result;
      case Kind::timeUp:
        result.timedOut = true;
        child.terminate();
        deadline = ChildProcess::never;
        break;
    }
  }
}

}  // namespace vesk
