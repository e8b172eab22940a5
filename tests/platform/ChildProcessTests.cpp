#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "core/platform/ChildProcess.h"
#include "core/platform/FileError.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk {
namespace {

using namespace std::chrono_literals;
using Kind = ChildProcess::Event::Kind;
using testing::StartsWith;

// A shell with that script; "$1" is `argument`.
ProcessRequest shell(const std::string& script, const std::string& argument = {}) {
  return {
      .executable = "/bin/sh", .arguments = {"-c", script, "sh", argument}, .environment = {{"PATH", "/usr/bin:/bin"}}};
}

// A pipe by a name. It hangs up when every process that holds its other end has ended.
class Leash {
 public:
  Leash() {
    ::mkfifo(path().c_str(), 0600);
    end_ = Fd(::open(path().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  }
  std::string path() const { return folder_.at("leash"); }
  // Waits for the first byte that is written to it.
  bool isTaken() const {
    pollfd polled = {end_.get(), POLLIN, 0};
    char byte = 0;
    return ::poll(&polled, 1, 20'000) == 1 && ::read(end_.get(), &byte, 1) == 1;
  }
  bool hangsUp() const {
    pollfd polled = {end_.get(), POLLIN, 0};
    char byte = 0;
    while (::poll(&polled, 1, 20'000) == 1)
      if (::read(end_.get(), &byte, 1) == 0) return true;
    return false;
  }

 private:
  test::TemporaryFolder folder_;
  Fd end_;
};

bool hasNoChildren() { return ::waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD; }

TEST(ChildProcess, PassesOnAllItIsGivenAndNothingElse) {
  std::string large(3'000'000, 'x');
  ProcessRequest echo = shell("tee /dev/stderr; echo last words >&2; exit 7");
  echo.input = large;
  const ProcessResult echoed = runProcess(echo, {.output = 3'000'000, .errors = 1'000'000});
  EXPECT_EQ(echoed.exit, (ProcessExit{.code = 7}));
  EXPECT_TRUE(echoed.output == large && !echoed.isOutputCut);
  EXPECT_TRUE(echoed.errors.size() == 1'000'000 && echoed.areErrorsCut);
  EXPECT_TRUE(echoed.errors.ends_with("xlast words\n"));

  const Fd leaking(::open("/dev/null", O_RDONLY));
  ::signal(SIGPIPE, SIG_IGN);
  ::signal(SIGCHLD, SIG_IGN);  // would have the system forget how the program ended
  const ProcessResult environment =
      runProcess({.executable = "/usr/bin/env", .environment = {{"A B", "c\nd"}, {"PATH", "/bin"}}});
  const ProcessResult descriptors = runProcess({.executable = "/bin/ls", .arguments = {"/proc/self/fd"}});
  const ProcessResult looked = runProcess(shell("cat; (: <>/dev/tty) 2>&- || echo no terminal; kill -PIPE $$"));
  ::signal(SIGPIPE, SIG_DFL);
  EXPECT_EQ(looked.exit, (ProcessExit{.signal = SIGPIPE}));
  EXPECT_EQ(looked.output, "no terminal\n");
  EXPECT_EQ(descriptors.output, "0\n1\n2\n3\n") << "3 is the folder that it lists";
  EXPECT_EQ(environment.output, "A B=c\nd\nPATH=/bin\n");
  EXPECT_TRUE(hasNoChildren());
}

TEST(ChildProcess, SaysWhatCannotBeStarted) {
  const test::TemporaryFolder folder;
  folder.write("text", "no program");
  for (const auto& [path, code] :
       {std::pair(folder.at("missing"), ENOENT), {folder.path(), EACCES}, {folder.at("text"), EACCES}})
    try {
      runProcess({.executable = path});
      ADD_FAILURE() << path;
    } catch (const FileError& error) {
      EXPECT_EQ(error.code(), code);
      EXPECT_THAT(error.what(), StartsWith("Can't start " + path + ": "));
    }
  EXPECT_THROW(runProcess({.executable = "/bin/echo", .arguments = {std::string("a\0b", 3)}}), FileError);
}

TEST(ChildProcess, EndsAllThatItStartedAtTheLimit) {
  for (const char* script : {"sleep 300 & sleep 300",                                           // ends when told to
                             "trap '' TERM; (trap '' TERM; sleep 300) & sleep 300; sleep 300",  // doesn't
                             "kill -STOP $$", "while :; do echo flood; done"}) {
    SCOPED_TRACE(script);
    const Leash leash;
    const ProcessResult result = runProcess(shell("exec 9>\"$1\"; " + std::string(script), leash.path()),
                                            {.time = 100ms, .grace = 100ms, .output = 9});
    EXPECT_TRUE(result.timedOut && !result.succeeded());
    EXPECT_NE(result.exit.signal, 0);
    EXPECT_LE(result.output.size(), 9u);
    EXPECT_TRUE(leash.hangsUp());
    EXPECT_TRUE(hasNoChildren());
  }
}

TEST(ChildProcess, DoesNotWaitForWhatHoldsItsPipes) {
  const Leash leash;
  const ProcessResult result = runProcess(shell("(sleep 300 9>\"$1\") & : 9>\"$1\"; echo last words", leash.path()));
  EXPECT_TRUE(result.succeeded());
  EXPECT_EQ(result.output, "last words\n");
  EXPECT_TRUE(leash.hangsUp()) << "it has been ended";

  // A daemon has left the session and goes on writing for as long as anyone reads.
  const Leash started;
  const char* daemon = "setsid sh -c 'echo >\"$0\"; while :; do echo on; done' \"$1\" & read line <\"$1\"; exit 3";
  EXPECT_EQ(runProcess(shell(daemon, started.path())).exit, (ProcessExit{.code = 3}));
}

TEST(ChildProcess, EndsWithThisProcessUnlessItMustNot) {
  struct Case {
    int signal;
    bool endsWithUs;
    const char* script;
  };
  for (const Case& c : {Case{SIGKILL, true, "echo >&9; exec sleep 300"},
                        {SIGTERM, true, "sleep 300 & echo >&9; wait"},
                        {SIGINT, true, "sleep 300 & echo >&9; wait"},
                        {SIGTERM, false, "echo >&9; sleep 0.2"}}) {
    SCOPED_TRACE(c.script);
    const Leash leash;
    const pid_t starter = ::fork();
    if (starter == 0) {
      ::signal(c.signal, SIG_DFL);  // whoever runs the tests may have it ignored
      endProgramsOnSignals();
      ProcessRequest request = shell("exec 9>\"$1\"; " + std::string(c.script) + "; echo >\"$1.end\"", leash.path());
      request.endsWithUs = c.endsWithUs;
      runProcess(request);
      ::_exit(0);
    }
    EXPECT_TRUE(leash.isTaken());
    ::kill(starter, c.signal);
    int status = 0;
    ::waitpid(starter, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == c.signal);
    EXPECT_TRUE(leash.hangsUp());
    EXPECT_EQ(std::filesystem::exists(leash.path() + ".end"), !c.endsWithUs);
  }
}

TEST(ChildProcess, HandsOutEventsUntilAnotherThreadEndsIt) {
  ChildProcess child(shell("echo ready; trap '' TERM; while :; do sleep 300; done"), 50ms);
  auto event = child.next();
  EXPECT_EQ(event.text, "ready\n");
  EXPECT_EQ(child.next(ChildProcess::Clock::now() + 20ms).kind, Kind::timeUp);
  std::thread canceller([&] { child.terminate(), child.terminate(); });
  while ((event = child.next()).kind != Kind::ended) EXPECT_NE(event.kind, Kind::timeUp);
  canceller.join();
  EXPECT_EQ(child.wait(), (ProcessExit{.signal = SIGKILL}));
  child.terminate();

  const Leash leash;
  {
    ChildProcess dropped(shell("exec 9>\"$1\"; echo; sleep 300 & sleep 300", leash.path()));
    EXPECT_EQ(dropped.next().kind, Kind::output);
  }
  EXPECT_TRUE(leash.hangsUp());
  EXPECT_TRUE(hasNoChildren());
}

}  // namespace
}  // namespace vesk
