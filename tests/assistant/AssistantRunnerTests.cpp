#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <thread>
#include <unistd.h>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "core/assistant/AssistantRunner.h"
#include "core/assistant/SystemPrompts.h"
#include "core/toolserver/ToolCatalog.h"
#include "tests/assistant/FakeAssistant.h"

namespace vesk {
namespace {

using namespace std::chrono_literals;
using test::FakeAssistant;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using testing::StartsWith;
using Kind = AssistantEvent::Kind;
using Words = std::vector<std::string>;

AssistantRequest requestFor(const FakeAssistant& fake, AssistantProvider provider = AssistantProvider::claude) {
  return {.provider = provider,
          .prompt = "What's next?",
          .serverPath = "/opt/vesk-mcp",
          .workspace = fake.folder().at("work/space")};
}

std::vector<AssistantEvent> run(const FakeAssistant& fake, const AssistantRequest& request) {
  AssistantStream stream = AssistantRunner::stream(request, fake.environment());
  std::vector<AssistantEvent> events;
  while (auto event = stream.next()) events.push_back(std::move(*event));
  EXPECT_EQ(stream.next(), std::nullopt);
  return events;
}

std::vector<AssistantEvent> run(std::string_view script) {
  const FakeAssistant fake;
  fake.install("claude", script);
  return run(fake, requestFor(fake));
}

AssistantEvent exitFailure(std::string text) {
  return {.kind = Kind::failure, .text = std::move(text), .isOfExit = true};
}

std::size_t openDescriptors() {
  return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

bool hasNoChildren() { return ::waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD; }

// A pipe by a name, "$HOME/leash". It hangs up when every process that holds its other end has ended.
class Leash {
 public:
  explicit Leash(const FakeAssistant& fake) {
    std::filesystem::create_directories(fake.home());
    const std::string path = fake.home() + "/leash";
    ::mkfifo(path.c_str(), 0600);
    end_ = Fd(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  }
  // Reads until that many bytes have come, or, for none, until it hangs up.
  bool waitFor(std::size_t bytes) const {
    pollfd polled = {end_.get(), POLLIN, 0};
    char byte = 0;
    for (std::size_t got = 0; ::poll(&polled, 1, 20'000) == 1;) {
      if (::read(end_.get(), &byte, 1) == 0) return bytes == 0;
      if (++got == bytes) return true;
    }
    return false;
  }

 private:
  Fd end_;
};

std::string claudeTools(bool (*isWanted)(const Tool&)) {
  Words names;
  for (const Tool& tool : toolCatalog::tools())
    if (isWanted(tool)) names.push_back(fmt::format("mcp__vesk__{}", tool.name));
  return text::join(names, ",");
}

TEST(AssistantRunner, PassesClaudeWhatTheModeAllows) {
  const std::string all = claudeTools([](const Tool&) { return true; });
  const std::string reading = claudeTools([](const Tool& tool) { return tool.effect == Effect::reads; });
  const std::string changing = claudeTools([](const Tool& tool) { return tool.effect != Effect::reads; });
  const std::string chat(systemPrompts::chat);
  const std::string meeting(systemPrompts::meeting);
  struct Case {
    AssistantMode mode;
    Words words;
  };
  const Case cases[] = {
      {AssistantMode::chat,
       {"--strict-mcp-config", "--tools", "", "--allowedTools", all, "--setting-sources", "", "--system-prompt", chat}},
      {AssistantMode::meeting,
       {"--strict-mcp-config", "--tools", "", "--allowedTools", reading, "--disallowedTools", changing,
        "--setting-sources", "user", "--append-system-prompt", meeting}},
      {AssistantMode::approvedMeetingAction,
       {"--setting-sources", "user", "--permission-mode", "bypassPermissions", "--disallowedTools",
        "Bash,Write,Edit,NotebookEdit", "--append-system-prompt", meeting}},
  };
  for (const Case& c : cases) {
    const FakeAssistant fake;
    fake.install("claude", "cat >\"$HOME/input\"");
    AssistantRequest request = requestFor(fake);
    request.mode = c.mode;
    Words expected = {"-p",
                      "--output-format",
                      "stream-json",
                      "--verbose",
                      "--include-partial-messages",
                      "--mcp-config",
                      R"({"mcpServers":{"vesk":{"args":[],"command":"/opt/vesk-mcp"}}})"};
    expected.insert(expected.end(), c.words.begin(), c.words.end());
    expected.push_back("");
    EXPECT_THAT(run(fake, request), ElementsAre());
    EXPECT_EQ(fake.arguments(), expected);
    EXPECT_EQ(fake.folder().read("home/input"), request.prompt);
    EXPECT_EQ(fake.folder().read("home/folder"), request.workspace + "\n");
  }
}

TEST(AssistantRunner, PassesCodexTheSystemPromptOnce) {
  const FakeAssistant fake;
  fake.install("codex", "cat >>\"$HOME/input\"");
  AssistantRequest request = requestFor(fake, AssistantProvider::codex);
  request.mode = AssistantMode::meeting;
  run(fake, request);
  request.sessionID = "01a1";
  request.serverSupportDirectory = R"(/home/ana "x"/\dir)";
  run(fake, request);
  Words options = {"--json", "--skip-git-repo-check"};
  for (const char* entry : {R"(mcp_servers.vesk.command="/opt/vesk-mcp")",
                            R"(mcp_servers.vesk.default_tools_approval_mode="approve")", "features.shell_tool=false",
                            R"(web_search="disabled")", R"(sandbox_mode="read-only")", R"(approval_policy="never")"}) {
    options.push_back("-c");
    options.push_back(entry);
  }
  Words expected = {"exec"};
  expected.insert(expected.end(), options.begin(), options.end());
  for (const char* word : {"-", "", "exec", "resume"}) expected.push_back(word);
  expected.insert(expected.end(), options.begin(), options.end());
  for (const char* word : {"-c", R"(mcp_servers.vesk.env={VESK_SUPPORT_DIR="/home/ana \"x\"/\\dir"})", "01a1", "-", ""})
    expected.push_back(word);
  EXPECT_EQ(fake.arguments(), expected);
  EXPECT_EQ(fake.folder().read("home/input"), std::string(systemPrompts::meeting) + "\n\nWhat's next?What's next?");
}

TEST(AssistantRunner, PassesEveryByteAndNoKey) {
  const FakeAssistant fake;
  fake.install("claude", "cat >\"$HOME/input\"");
  for (const char* profile : {"home/.zprofile", "home/.profile"})
    fake.folder().write(profile, "export OPENAI_API_KEY=from-the-profile\n");
  AssistantRequest request = requestFor(fake);
  request.prompt = std::string("'\"`$(touch x)\n\\é", 18) + std::string("\0end", 4);
  request.serverPath = "/a b/\"c\"\\d/$(e)\nf";
  request.sessionID = "; exit 1 #";
  request.serverSupportDirectory = "/s p";
  ProcessEnvironment environment = fake.environment();
  for (const char* key : {"ANTHROPIC_API_KEY", "ANTHROPIC_AUTH_TOKEN", "OPENAI_API_KEY", "KEPT"})
    environment[key] = "x";
  AssistantStream stream(request, environment);
  EXPECT_EQ(stream.next(), std::nullopt);
  EXPECT_EQ(fake.folder().read("home/input"), request.prompt);
  EXPECT_THAT(fake.arguments(), Contains(R"({"mcpServers":{"vesk":{"args":[],"command":"/a b/\"c\"\\d/$(e)\nf",)"
                                         R"("env":{"VESK_SUPPORT_DIR":"/s p"}}}})"));
  EXPECT_THAT(fake.arguments(), Contains("; exit 1 #"));
  const Words variables = fake.variables();
  EXPECT_THAT(variables, Contains("KEPT=x"));
  for (const char* key : {"ANTHROPIC_API_KEY", "ANTHROPIC_AUTH_TOKEN", "OPENAI_API_KEY"})
    EXPECT_THAT(variables, Not(Contains(StartsWith(std::string(key) + "="))));
}

TEST(AssistantRunner, RelaysWhatComesAndHowItEnds) {
  constexpr std::string_view answer =
      R"(echo 'no JSON'; echo; echo '{"type":"system","subtype":"init","session_id":"s1"}'
echo '{"type":"stream_event","event":{"type":"content_block_delta","delta":{"type":"text_delta","text":"Yes"}}}'
)";
  const AssistantEvent session{Kind::session, "s1"};
  const AssistantEvent text{Kind::text, "Yes"};
  struct Case {
    std::string script;
    std::vector<AssistantEvent> events;
  };
  const std::string tail = std::string(550, 'x') + "é. Bye.";
  const Case cases[] = {
      {"echo noise >&2", {session, text}},
      {"exit 3", {session, text, exitFailure("Claude exited with an error.")}},
      {"printf 'Out of \\377tokens' >&2; exit 1", {session, text, exitFailure("Out of \xEF\xBF\xBDtokens")}},
      {fmt::format("printf '%01000d{}' 0 >&2; exit 1", tail),
       {session, text, exitFailure(std::string(600 - tail.size(), '0') + tail)}},
      {"kill -KILL $$", {session, text}},
      {"printf '%s' '{\"type\":\"result\",\"is_error\":true}'",  // without a line break
       {session, text, {Kind::failure, "The assistant stopped with an error."}}},
  };
  for (const Case& c : cases) EXPECT_EQ(run(std::string(answer) + c.script), c.events) << c.script;
}

TEST(AssistantRunner, SaysWhatKeepsItFromStarting) {
  const FakeAssistant fake;
  const auto events = run(fake, requestFor(fake));
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events.front().kind, Kind::failure);
  EXPECT_THAT(events.front().text, testing::HasSubstr("not found"));

  fake.folder().write("file", "");
  AssistantRequest nowhere = requestFor(fake);
  nowhere.workspace = fake.folder().at("file/space");
  EXPECT_THAT(run(fake, nowhere), ElementsAre(testing::Field(&AssistantEvent::kind, Kind::failure)));
  fake.install("claude", "exit 0");
  for (const std::string& session : {std::string(), std::string("--yolo"), std::string("a\0b", 3)}) {
    AssistantRequest request = requestFor(fake);
    request.sessionID = session;
    EXPECT_THAT(run(fake, request), ElementsAre(testing::Field(&AssistantEvent::kind, Kind::failure))) << session;
  }
  EXPECT_THAT(fake.arguments(), ElementsAre()) << "it wasn't started";
}

TEST(AssistantRunner, WaitsForNobody) {
  const std::size_t descriptors = openDescriptors();
  EXPECT_THAT(run("head -c 100000000 /dev/zero >&2; exec >&-; echo >&2 last words; exit 1"),
              ElementsAre(testing::Field(&AssistantEvent::text, testing::EndsWith("last words\n"))));
  EXPECT_THAT(run("head -c 40000000 /dev/zero"), ElementsAre());
  EXPECT_THAT(run("sleep 300 & exit 0"), ElementsAre()) << "what it leaves behind holds the streams";

  const FakeAssistant fake;
  fake.install("claude", "exit 0");  // and reads nothing
  AssistantRequest large = requestFor(fake);
  large.prompt.assign(10'000'000, 'x');
  for (int i = 0; i < 20; ++i) EXPECT_THAT(run(fake, large), ElementsAre());
  EXPECT_EQ(openDescriptors(), descriptors);
  EXPECT_TRUE(hasNoChildren());
}

TEST(AssistantRunner, EndsWithAllThatItStartedWhenItIsCancelled) {
  const std::size_t descriptors = openDescriptors();
  for (const char* script :
       {"sleep 300 & exec sleep 300", "trap '' TERM; (trap '' TERM; sleep 300) & sleep 300; sleep 300",
        "while :; do echo '{\"type\":\"error\"}'; done"}) {
    for (const bool byThread : {true, false}) {
      SCOPED_TRACE(fmt::format("{} {}", script, byThread));
      const FakeAssistant fake;
      const Leash leash(fake);
      fake.install("claude", fmt::format("exec 9>\"$HOME/leash\"; echo >&9; {}", script));
      std::chrono::steady_clock::time_point begin;
      {
        AssistantStream stream = AssistantRunner::stream(requestFor(fake), fake.environment());
        ASSERT_TRUE(leash.waitFor(1));
        begin = std::chrono::steady_clock::now();
        std::thread other;
        if (byThread) other = std::thread([&] { stream.cancel(); });
        while (byThread && stream.next()) continue;
        if (byThread) other.join();
      }
      EXPECT_TRUE(leash.waitFor(0));
      EXPECT_LT(std::chrono::steady_clock::now() - begin, 2s);
      EXPECT_TRUE(hasNoChildren());
    }
  }
  EXPECT_EQ(openDescriptors(), descriptors);
}

TEST(AssistantRunner, AsksForTheStatus) {
  struct Case {
    const char* script;
    AssistantStatus status;
  };
  for (const AssistantProvider provider : assistantProviders) {
    const Case cases[] = {{"cat; echo ready; exit 0", AssistantStatus::ready},
                          {"echo 'not logged in' >&2; exit 1", AssistantStatus::notSignedIn},
                          {"sleep 300", AssistantStatus::unknown}};
    for (const Case& c : cases) {
      const FakeAssistant fake;
      EXPECT_EQ(AssistantRunner::status(provider, fake.environment()), AssistantStatus::notInstalled);
      fake.install(program(provider).command, c.script);
      EXPECT_EQ(AssistantRunner::status(provider, fake.environment(), 1s), c.status) << c.script;
      EXPECT_THAT(fake.arguments(),
                  ElementsAre(provider == AssistantProvider::claude ? "auth" : "login", "status", ""));
    }
  }
}

}  // namespace
}  // namespace vesk
