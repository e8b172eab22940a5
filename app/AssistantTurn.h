#pragma once

#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

#include "app/Interrupts.h"
#include "core/assistant/AssistantRequest.h"
#include "core/assistant/AssistantStreamParser.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace vesk::app {

// The option --provider of the commands that ask an assistant.
CLI::Option* addProviderOption(CLI::App& command, std::optional<AssistantProvider>& provider);

// The assistant to ask: the wanted one, else the first that is ready. Throws Error, with what the user can do, when
// it isn't ready.
AssistantProvider readyAssistant(std::optional<AssistantProvider> wanted);

std::string_view nameOf(AssistantProvider provider);

// One turn, in a conversation that `session` names; "" begins one.
AssistantRequest requestTo(AssistantProvider provider, AssistantMode mode, std::string prompt,
                           const std::string& session = {});

// What came of a turn.
struct AssistantAnswer {
  static constexpr std::size_t longest = std::size_t{8} << 20;  // bytes; an assistant that says more is stopped

  std::string text = {};                    // Markdown, as far as it got
  std::string session = {};                 // with which the conversation goes on; "" when it can't
  std::optional<std::string> failure = {};  // a sentence for the user
  bool isCancelled = false;

  bool isWhole() const { return !failure && !isCancelled; }
};

using AssistantEventHandler = std::function<void(const AssistantEvent& event)>;

// Runs the assistant to its end, or until it is told to stop. Of an assistant's failures the one that holds is kept:
// Claude's first, and Codex's last, which tells of every attempt to reconnect; none that an answer followed. How the
// program ended is only told when it told of nothing itself.
AssistantAnswer answerTo(const AssistantRequest& request, const std::stop_token& stop,
                         const AssistantEventHandler& onEvent = {});

// Likewise, shown as it comes. Ctrl-C stops it.
AssistantAnswer showAnswer(const AssistantRequest& request, const Interrupts& interrupts,
                           const AssistantEventHandler& onEvent = {});

// Tells of something beside the answer: on a terminal in a faint line of the output, else among the errors.
void showAside(std::string_view line);

// Tells of a failure after which the program goes on.
void complain(std::string_view sentence);

}  // namespace vesk::app
