// vesk chat: a conversation with an assistant about the vault, kept as a note.

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/AssistantTurn.h"
#include "app/Commands.h"
#include "app/CurrentVault.h"
#include "app/Interrupts.h"
#include "app/Question.h"
#include "app/StandardInput.h"
#include "app/Terminal.h"
#include "app/TypedLines.h"
#include "core/assistant/SavedChat.h"
#include "core/base/Calendar.h"
#include "core/base/Error.h"
#include "core/base/Text.h"

namespace vesk::app {

namespace {

// ---- The chat and its note

ChatProvider chatProviderOf(AssistantProvider provider) {
  return provider == AssistantProvider::claude ? ChatProvider::claude : ChatProvider::codex;
}

// What the note keeps of an answer, with a mark where it isn't whole.
std::string keptText(const AssistantAnswer& answer) {
  std::string text(text::trimWhitespace(answer.text));
  const auto mark = [&](std::string_view words) { text.append(text.empty() ? "" : "\n\n").append(words); };
  if (answer.isCancelled)
    mark("*Stopped.*");
  else if (answer.failure)
    mark(fmt::format("*Failed: {}*", text::collapseWhitespace(*answer.failure)));
  else if (text.empty())
    mark("*No answer.*");
  return text;
}

// A chat while it goes on. What is said is in its note before the assistant hears it, and what the assistant answers
// when it has said it.
class Chat {
 public:
  Chat(Vault vault, AssistantProvider provider) : vault_(std::move(vault)), provider_(provider) {
    chat_.provider = chatProviderOf(provider);
  }

  Chat(Vault vault, AssistantProvider provider, SavedChatNote note)
      : vault_(std::move(vault)), provider_(provider), chat_(std::move(note.chat)), noteID_(std::move(note.noteID)) {
    keptSession_ = chat_.session;
  }

  // Shows the answer as it comes. Throws Error when the note can't be written: what wasn't kept is by the next turn.
  AssistantAnswer ask(const std::string& words, const Interrupts& interrupts) {
    if (chat_.title.empty()) begin(words);
    chat_.turns.push_back({ChatSpeaker::user, words});
    save();
    const auto request = requestTo(provider_, AssistantMode::chat, words, chat_.session);
    heardSession_.clear();
    AssistantAnswer answer = showAnswer(request, interrupts, [this](const AssistantEvent& event) { hear(event); });
    if (answer.isWhole()) chat_.session = answer.session;
    if (answer.failure && request.sessionID && heardSession_.empty())
      *answer.failure +=
          fmt::format("\nIf {} doesn't know this chat any more, begin a new one with vesk chat.", nameOf(provider_));
    chat_.turns.push_back({ChatSpeaker::assistant, keptText(answer)});
    save();
    return answer;
  }

  const std::string& noteID() const { return noteID_; }  // "" before the first turn

 private:
  void begin(std::string_view words) {
    chat_.title = chatTitle(words);
    chat_.started = std::chrono::system_clock::now();
  }

  // A conversation in which the assistant has begun to answer can go on, whatever becomes of the answer.
  void hear(const AssistantEvent& event) {
    if (event.kind == AssistantEvent::Kind::session && isChatID(event.text)) heardSession_ = event.text;
    const bool isAnswer = event.kind == AssistantEvent::Kind::text || event.kind == AssistantEvent::Kind::tool;
    if (!isAnswer || heardSession_.empty() || heardSession_ == chat_.session) return;
    chat_.session = heardSession_;
    try {
      save();
    } catch (const Error&) {
      // The answer is to come first. It is saved again with it.
    }
  }

  // The note may have been moved, or thrown away, meanwhile.
  void find() {
    if (noteID_.empty() || vault_.exists(noteID_)) return;
    const auto moved = chatOfSession(vault_, chat_.provider, keptSession_);
    noteID_ = moved ? moved->noteID : "";
  }

  void save() {
    find();
    if (noteID_.empty()) {
      noteID_ = saveChat(vault_, chat_, chatsFolder(vault_), Calendar::ofSystem());
      keptTurns_ = chat_.turns.size();
      keptSession_ = chat_.session;
    }
    for (; keptTurns_ < chat_.turns.size(); ++keptTurns_)
      appendTurn(vault_, noteID_, chat_.turns[keptTurns_], chat_.provider);
    if (chat_.session == keptSession_) return;
    setChatSession(vault_, noteID_, chat_.session);
    keptSession_ = chat_.session;
  }

  const Vault vault_;
  const AssistantProvider provider_;
  SavedChat chat_;  // with the turns of this conversation alone
  std::string noteID_;
  std::string heardSession_;
  std::string keptSession_;  // what the note has
  std::size_t keptTurns_ = 0;
};

struct ChatOptions {
  std::vector<std::string> words = {};
  std::optional<AssistantProvider> provider = {};
  bool goesOn = false;
};

std::optional<AssistantProvider> assistantOf(ChatProvider provider) { return assistantProviderWithID(id(provider)); }

// The latest that an assistant can go on with. Imported ones are none.
SavedChatNote latestChat(const Vault& vault, std::optional<AssistantProvider> provider) {
  for (SavedChatNote& each : savedChats(vault)) {
    const auto assistant = assistantOf(each.chat.provider);
    if (assistant && !each.chat.session.empty() && (!provider || provider == assistant)) return std::move(each);
  }
  throw Error(fmt::format("There is no chat{} to go on with. Begin one with vesk chat.",
                          provider ? fmt::format(" with {}", nameOf(*provider)) : ""));
}

Chat chatFor(const ChatOptions& options) {
  Vault vault = currentVault();
  if (!options.goesOn) return Chat(std::move(vault), readyAssistant(options.provider));
  SavedChatNote note = latestChat(vault, options.provider);
  const AssistantProvider provider = readyAssistant(assistantOf(note.chat.provider));
  showAside(fmt::format("{}, with {}", note.chat.title, nameOf(provider)));
  return Chat(std::move(vault), provider, std::move(note));
}

// ---- One turn

constexpr InputRules questionText = {"Write what you want to ask, and press Ctrl-D when you are done.",
                                     std::size_t{1} << 20,  // assistants take less
                                     "This is too much text to ask about. Save it in the vault and name the note."};

void askOnce(std::string_view typed, const ChatOptions& options) {
  const std::string words(text::trimWhitespace(typed));
  if (words.empty()) throw Error("Write what you want to ask.");
  Chat chat = chatFor(options);
  const Interrupts interrupts;
  const AssistantAnswer answer = chat.ask(words, interrupts);
  showAside(fmt::format("Kept in {}", chat.noteID()));
  if (answer.isCancelled) throw Error("Stopped.");
  if (answer.failure) throw Error(*answer.failure);
}

// ---- A conversation

// The next line, or several that come all at once, as pasted ones do.
Typed nextLines(TypedLines& lines) {
  constexpr std::chrono::milliseconds together{30};
  Typed typed = lines.next();
  if (typed.kind != Typed::Kind::line) return typed;
  for (Typed more = lines.next(together); more.kind == Typed::Kind::line; more = lines.next(together)) {
    typed.line.append("\n").append(more.line);
    typed.isCut = typed.isCut || more.isCut;
  }
  return typed;
}

// The next message; nullopt when the user leaves. Ctrl-C that comes too late for an answer doesn't leave.
std::optional<std::string> nextMessage(TypedLines& lines, const Terminal& terminal) {
  for (;;) {
    print("{} ", styled(">", Style::strong, terminal));
    flush();
    const Typed typed = nextLines(lines);
    if (typed.kind != Typed::Kind::line) print("\n");
    if (typed.kind == Typed::Kind::end) return std::nullopt;
    if (typed.kind == Typed::Kind::interrupt) showAside("Ctrl-D leaves.");
    if (typed.isCut) complain(cutLineComplaint);
    const std::string_view message = text::trimWhitespace(typed.line);
    if (!message.empty() && !typed.isCut) return std::string(message);
  }
}

void converse(const ChatOptions& options) {
  Chat chat = chatFor(options);
  const Interrupts interrupts;
  const Terminal terminal = Terminal::ofStandardOutput();
  TypedLines lines(interrupts);
  showAside("Ctrl-C stops an answer, Ctrl-D leaves.");
  while (const auto message = nextMessage(lines, terminal)) {
    print("\n");
    try {
      const AssistantAnswer answer = chat.ask(*message, interrupts);
      if (answer.isCancelled) showAside("Stopped.");
      if (answer.failure && !answer.isCancelled) complain(*answer.failure);
    } catch (const Error& error) {
      complain(error.what());
    }
    print("\n");
  }
  if (!chat.noteID().empty()) showAside(fmt::format("Kept in {}. Go on with vesk chat --continue.", chat.noteID()));
}

void talk(const ChatOptions& options) {
  if (!options.words.empty()) return askOnce(text::wellFormed(text::join(options.words, " ")), options);
  if (canAsk()) return converse(options);
  askOnce(text::wellFormed(standardInput(questionText)), options);
}

}  // namespace

void addChatCommand(CLI::App& program) {
  const auto options = std::make_shared<ChatOptions>();
  CLI::App* command =
      program.add_subcommand("chat", "Talk with an assistant about the vault. Each chat becomes a note.");
  command->add_option(
      "WORDS", options->words,
      "What you ask; a conversation unless given. For example: vesk chat what did we decide on the roof");
  addProviderOption(*command, options->provider);
  command->add_flag("--continue", options->goesOn, "Go on with the latest chat.");
  command->callback([options] { talk(*options); });
}

}  // namespace vesk::app
