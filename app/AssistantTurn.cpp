#include "app/AssistantTurn.h"

#include <cstdio>
#include <filesystem>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/AnswerText.h"
#include "app/AssistantClients.h"
#include "app/CurrentVault.h"
#include "app/Terminal.h"
#include "app/ToolServer.h"
#include "app/WaitingLine.h"
#include "core/assistant/AssistantRunner.h"
#include "core/assistant/SavedChat.h"
#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/platform/ChildProcess.h"
#include "core/platform/Environment.h"

namespace vesk::app {

namespace {

namespace fs = std::filesystem;

// ---- Whom to ask

AssistantStatus statusOf(AssistantProvider provider) {
  if (!isAllowed(provider)) return AssistantStatus::turnedOff;
  const WaitingLine waiting(fmt::format("Asking {} …", nameOf(provider)));
  return AssistantRunner::status(provider, ownEnvironment());
}

// What is in the way, and what to do.
std::string advice(AssistantProvider provider, AssistantStatus status) {
  const AssistantProgram& it = program(provider);
  switch (status) {
    case AssistantStatus::notInstalled:
      return fmt::format("{} isn't installed: there is no command {}. Install it, then sign in with {}.", it.name,
                         it.command, it.loginCommand);
    case AssistantStatus::notSignedIn: return fmt::format("{} isn't signed in. Run {}.", it.name, it.loginCommand);
    case AssistantStatus::turnedOff: return turnedOff(provider);
    default: return fmt::format("{0} doesn't answer. See whether {1} runs in a terminal.", it.name, it.command);
  }
}

// ---- A run

// What a program wrote to its standard error may be nothing but empty lines.
std::string sentenceOf(const AssistantEvent& failure, AssistantProvider provider) {
  const std::string_view sentence = text::trimWhitespace(failure.text);
  return sentence.empty() ? fmt::format("{} exited with an error.", nameOf(provider)) : std::string(sentence);
}

void take(const AssistantEvent& event, AssistantProvider provider, AssistantAnswer& answer) {
  using Kind = AssistantEvent::Kind;
  if (event.kind == Kind::session && isChatID(event.text)) answer.session = event.text;
  if (event.kind == Kind::text) answer.text += event.text;
  if (event.kind == Kind::text || event.kind == Kind::tool) answer.failure.reset();
  const bool holds = !answer.failure || (provider == AssistantProvider::codex && !event.isOfExit);
  if (event.kind == Kind::failure && holds) answer.failure = sentenceOf(event, provider);
}

// Claude's own advice is a command of its conversations in a terminal.
void adviseToSignIn(AssistantProvider provider, AssistantAnswer& answer) {
  if (answer.failure && answer.failure->find("/login") != std::string::npos)
    *answer.failure += fmt::format("\nTo sign in, run {}.", program(provider).loginCommand);
}

// The folder that an assistant works in. Conversations go on only in the one in which they began.
std::string workspace() { return fs::absolute(environment::supportDirectory()) / "workspace"; }

// ---- An answer on the screen

class AnswerScreen {
 public:
  explicit AnswerScreen(const AssistantRequest& request)
      : provider_(request.provider), answer_(terminal_, request.mode != AssistantMode::chat) {
    showWaiting();
  }
  ~AnswerScreen() { hideWaiting(); }
  AnswerScreen(const AnswerScreen&) = delete;
  AnswerScreen& operator=(const AnswerScreen&) = delete;

  void show(const AssistantEvent& event) {
    if (event.kind == AssistantEvent::Kind::text) showText(answer_.add(event.text));
    if (event.kind == AssistantEvent::Kind::tool) showTool(event.tool);
  }

  void end() {
    showText(answer_.end());
    flush();
  }

 private:
  void showText(const std::string& text) {
    if (text.empty()) return;
    hideWaiting();
    print("{}{}", std::exchange(isBelowTool_, false) ? "\n" : "", text);
    hasText_ = true;
    flush();
  }

  void showTool(const ChatToolUse& tool) {
    constexpr std::size_t longest = 70;  // columns
    const std::string rest = answer_.end();
    showText(rest);
    hideWaiting();
    if (!rest.empty() && terminal_.width) print("\n");
    const std::string detail = tool.detail ? "  " + inLine(*tool.detail, longest) : "";
    showAside(fmt::format("  {}{}", inLine(tool.name, longest), detail));
    isBelowTool_ = terminal_.width || hasText_;
    showWaiting();
  }

  static std::string inLine(std::string_view text, std::size_t columns) {
    return shortened(text::collapseWhitespace(text::firstBytes(text, 4 * columns)), columns);
  }

  // Until something comes, the user sees that something will.
  void showWaiting() {
    if (!terminal_.width) return;
    print("{}", styled(fmt::format("{} is working…", nameOf(provider_)), Style::faint, terminal_));
    flush();
    isWaitingShown_ = true;
  }

  void hideWaiting() {
    if (std::exchange(isWaitingShown_, false)) std::fputs("\r\x1b[K", stdout);
  }

  const AssistantProvider provider_;
  const Terminal terminal_ = Terminal::ofStandardOutput();
  AnswerText answer_;
  bool isWaitingShown_ = false;
  bool isBelowTool_ = false;  // or the next text is another paragraph
  bool hasText_ = false;
};

}  // namespace

CLI::Option* addProviderOption(CLI::App& command, std::optional<AssistantProvider>& provider) {
  std::vector<std::string> ids;
  for (const AssistantProvider each : assistantProviders) ids.emplace_back(program(each).id);
  const auto set = [&provider](const std::string& typed) { provider = assistantProviderWithID(typed); };
  return command
      .add_option_function<std::string>("--provider", set, "Whom to ask: claude or codex; the first that is ready.")
      ->check(CLI::IsMember(ids));
}

AssistantProvider readyAssistant(std::optional<AssistantProvider> wanted) {
  std::string sentences;
  for (const AssistantProvider provider : assistantProviders) {
    if (wanted && wanted != provider) continue;
    const AssistantStatus status = statusOf(provider);
    if (status == AssistantStatus::ready) return provider;
    sentences += (sentences.empty() ? "" : "\n") + advice(provider, status);
  }
  throw Error(sentences);
}

std::string_view nameOf(AssistantProvider provider) { return program(provider).name; }

AssistantRequest requestTo(AssistantProvider provider, AssistantMode mode, std::string prompt,
                           const std::string& session) {
  AssistantRequest request{.provider = provider,
                           .prompt = std::move(prompt),
                           .serverPath = toolServerPath(),
                           .workspace = workspace(),
                           .serverSupportDirectory = toolServerEntry().supportDirectory,
                           .mode = mode};
  if (!session.empty()) request.sessionID = session;
  return request;
}

AssistantAnswer answerTo(const AssistantRequest& request, const std::stop_token& stop,
                         const AssistantEventHandler& onEvent) {
  AssistantStream stream(request, ownEnvironment());
  const std::stop_callback cancel(stop, [&stream] { stream.cancel(); });
  AssistantAnswer answer{.session = request.sessionID.value_or("")};
  while (const auto event = stream.next()) {
    take(*event, request.provider, answer);
    if (onEvent) onEvent(*event);
    if (answer.text.size() <= AssistantAnswer::longest) continue;
    answer.failure = fmt::format("{} said more than an answer can hold, and was stopped.", nameOf(request.provider));
    break;
  }
  answer.isCancelled = stop.stop_requested();
  adviseToSignIn(request.provider, answer);
  return answer;
}

AssistantAnswer showAnswer(const AssistantRequest& request, const Interrupts& interrupts,
                           const AssistantEventHandler& onEvent) {
  AnswerScreen screen(request);
  const InterruptCancel cancel(interrupts);
  AssistantAnswer answer = answerTo(request, cancel.token(), [&](const AssistantEvent& event) {
    screen.show(event);
    if (onEvent) onEvent(event);
  });
  screen.end();
  if (answer.isWhole() && text::trimWhitespace(answer.text).empty())
    showAside(fmt::format("{} gave no answer.", nameOf(request.provider)));
  return answer;
}

void showAside(std::string_view line) {
  const Terminal terminal = Terminal::ofStandardOutput();
  if (!terminal.width) return fmt::print(stderr, "{}\n", safe(line));
  print("{}\n", styled(safe(line), Style::faint, terminal));
  flush();
}

void complain(std::string_view sentence) {
  flush();
  fmt::print(stderr, "vesk: {}\n", safeLines(sentence));
}

}  // namespace vesk::app
