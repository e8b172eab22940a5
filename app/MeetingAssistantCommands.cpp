// vesk meeting brief, ask, watch and summary: an assistant's help before, in and after a meeting.

#include <algorithm>
#include <chrono>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/AssistantClients.h"
#include "app/AssistantTurn.h"
#include "app/CurrentVault.h"
#include "app/Interrupts.h"
#include "app/MeetingAssistant.h"
#include "app/MeetingRows.h"
#include "app/MeetingSession.h"
#include "app/MeetingWatch.h"
#include "app/Question.h"
#include "app/Terminal.h"
#include "app/TypedLines.h"
#include "core/base/Calendar.h"
#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/meetings/MeetingList.h"
#include "core/meetings/MeetingNote.h"
#include "core/meetings/MeetingPrompts.h"
#include "core/meetings/MeetingReplies.h"
#include "core/meetings/TranscriptImport.h"
#include "core/platform/Environment.h"
#include "core/platform/Folder.h"
#include "core/tasks/TaskEdit.h"
#include "core/vault/Places.h"

namespace vesk::app {

namespace {

using Words = std::vector<std::string>;

std::string joined(const Words& words) { return text::collapseWhitespace(text::wellFormed(text::join(words, " "))); }

// Throws Error when the answer isn't whole.
void requireWhole(const AssistantAnswer& answer) {
  if (answer.isCancelled) throw Error("Stopped.");
  if (answer.failure) throw Error(*answer.failure);
}

// ---- What the assistant asks to do

using Proposals = std::deque<MeetingProposal>;

// Yes or no; nullopt when the user leaves instead.
std::optional<bool> askYesOrNotNow(TypedLines& lines) {
  lines.forget();
  for (;;) {
    print("{} ", yesOrNotNowQuestion);
    flush();
    const Typed typed = lines.next();
    if (typed.kind != Typed::Kind::line) {
      print("\n");
      return std::nullopt;
    }
    if (const auto answer = yesOrNotNow(typed.line)) return answer;
  }
}

// What was done may lead to more proposals.
void carryOut(const MeetingProposal& approved, MeetingSession& session, Proposals& proposals,
              const Interrupts& interrupts) {
  const AssistantAnswer answer =
      showAnswer(session.request(AssistantMode::approvedMeetingAction, MeetingPrompts::approved(approved)), interrupts);
  session.take(answer, session.seenLine);
  if (answer.isCancelled) showAside("Stopped. Some of it may be done.");
  if (answer.failure && !answer.isCancelled) complain(*answer.failure);
  for (MeetingProposal& each : session.newProposals(answer.text)) proposals.push_back(std::move(each));
}

// Asks for each, and carries out what the user says yes to; where nobody can be asked, nothing is done.
void settle(const AssistantAnswer& answer, MeetingSession& session, const Interrupts& interrupts) {
  std::vector<MeetingProposal> found = session.newProposals(answer.text);
  Proposals proposals(std::make_move_iterator(found.begin()), std::make_move_iterator(found.end()));
  const Terminal terminal = Terminal::ofStandardOutput();
  TypedLines lines(interrupts);
  for (; !proposals.empty(); proposals.pop_front()) {
    const MeetingProposal proposal = proposals.front();
    print("\n{}", shownProposal(proposal, session.provider, terminal));
    if (!canAsk()) continue;
    const auto isYes = askYesOrNotNow(lines);
    if (!isYes) return;
    session.remember(proposal, *isYes);
    if (*isYes) carryOut(proposal, session, proposals, interrupts);
  }
  if (!found.empty() && !canAsk()) showAside("Nothing was done: there is no terminal to say yes on.");
}

// ---- brief

void brief(const Words& words, std::optional<AssistantProvider> provider) {
  currentVault();
  const std::string title = joined(words);
  if (title.empty()) throw Error("Write what the meeting is called.");
  MeetingSession session{.provider = readyAssistant(provider)};
  const Interrupts interrupts;
  const AssistantAnswer answer =
      showAnswer(session.request(AssistantMode::meeting, MeetingPrompts::brief(title)), interrupts);
  session.take(answer, "");
  requireWhole(answer);
  settle(answer, session, interrupts);
}

// ---- ask

// The conversation goes on from one question to the next as long as the meeting lasts.
MeetingSession sessionFor(const LiveMeeting& meeting, std::optional<AssistantProvider> provider) {
  const auto kept = MeetingSession::load(meeting);
  if (!kept || (provider && provider != kept->provider)) return {.provider = readyAssistant(provider)};
  if (!isAllowed(kept->provider)) throw Error(turnedOff(kept->provider));
  return *kept;
}

void ask(const Words& words, std::optional<AssistantProvider> provider) {
  const LiveMeeting meeting = currentMeeting();
  const std::string question = joined(words);
  if (question.empty()) throw Error("Write what you want to ask.");
  MeetingSession session = sessionFor(meeting, provider);
  const Interrupts interrupts;
  const std::string prompt = MeetingPrompts::question(question, meeting, session.seen(), Calendar::ofSystem());
  const AssistantAnswer answer = showAnswer(session.request(AssistantMode::meeting, prompt), interrupts);
  session.take(answer, lastLine(meeting));
  session.save(meeting);
  requireWhole(answer);
  settle(answer, session, interrupts);
  session.save(meeting);
}

// ---- summary

bool isCalled(const SavedMeeting& meeting, std::string_view title) {
  return text::equalIgnoringCase(meeting.title, title) ||
         text::equalIgnoringCase(fmt::format("{} {}", time::isoDay(meeting.day), meeting.title), title);
}

// The latest of that title, or of any, that has a transcript and no summary yet.
SavedMeeting meetingToSum(const VaultSnapshot& snapshot, const std::string& title) {
  const SavedMeeting* summed = nullptr;
  const std::vector<SavedMeeting> meetings = savedMeetings(snapshot, Calendar::ofSystem());
  for (const SavedMeeting& each : meetings) {
    if (!each.transcript || (!title.empty() && !isCalled(each, title))) continue;
    if (!each.summary) return each;
    if (!summed) summed = &each;
  }
  if (summed) throw Error(fmt::format("{} has a summary: {}.", summed->title, summed->summary->id));
  if (const auto running = LiveMeeting::load(environment::supportDirectory()))
    throw Error(fmt::format("{} is still being transcribed. Stop it first, with vesk meeting stop.",
                            shownTitle(running->title)));
  throw Error(title.empty()
                  ? "There is no transcript in the vault. vesk meeting list shows what there is."
                  : fmt::format("There is no transcript of {}. vesk meeting list shows what there is.", title));
}

LiveMeeting transcriptOf(const Vault& vault, const SavedMeeting& saved) {
  const Calendar calendar = Calendar::ofSystem();
  LiveMeeting meeting{.title = saved.title, .started = calendar.moment(saved.day, {})};
  meeting.lines = importTranscript(vault.read(saved.transcript->id), meeting.started, calendar);
  return meeting;
}

void addTasks(const Vault& vault, const Words& items) {
  for (const std::string& item : items) addTask(vault, newTask(item), taskListName, inboxFolder(vault));
  print("Added {}.\n", counted(items.size(), "task"));
}

// The action items, which are in no note until the user wants them as tasks.
void offerTasks(const Vault& vault, Words items, const Interrupts& interrupts) {
  std::erase_if(items, [](const std::string& item) { return newTask(item).text.empty(); });
  if (items.empty()) return;
  print("\nFor you to do:\n");
  for (const std::string& item : items) print("  {}\n", safe(item));
  if (!canAsk()) return showAside("vesk add makes a task of what you want to keep of it.");
  print("Add {}?\n", items.size() == 1 ? "it to your tasks" : "them to your tasks");
  TypedLines lines(interrupts);
  if (askYesOrNotNow(lines).value_or(false)) addTasks(vault, items);
}

std::string save(const Vault& vault, const std::string& summary, const SavedMeeting& saved,
                 const LiveMeeting& meeting) {
  return saveSummary(vault, summary, meeting, saved.transcript->fileName(), meetingsFolder(vault.scan()),
                     Calendar::ofSystem(), environment::language());
}

void sumUp(const Words& words, std::optional<AssistantProvider> provider) {
  const Vault vault = currentVault();
  const SavedMeeting saved = meetingToSum(vault.scan(), joined(words));
  const LiveMeeting meeting = transcriptOf(vault, saved);
  const MeetingSession session{.provider = readyAssistant(provider)};
  showAside(fmt::format("{} {}, {}", time::isoDay(saved.day), saved.title, counted(meeting.lines.size(), "line")));
  const Interrupts interrupts;
  const AssistantAnswer answer = showAnswer(
      session.request(AssistantMode::meeting, MeetingPrompts::summary(meeting, Calendar::ofSystem())), interrupts);
  requireWhole(answer);
  const MeetingSummary summary = MeetingSummary::parse(answer.text);
  if (summary.text.empty()) throw Error(fmt::format("{} wrote no summary. Try again.", nameOf(session.provider)));
  const std::string path = save(vault, summary.text, saved, meeting);
  print("\nSaved the summary.\n  {}\n", safe(path));
  offerTasks(vault, summary.actionItems, interrupts);
}

// ---- The commands

struct Options {
  Words words = {};
  std::optional<AssistantProvider> provider = {};
};

void addBriefCommand(CLI::App& meeting) {
  const auto options = std::make_shared<Options>();
  CLI::App* command = meeting.add_subcommand("brief", "Before a meeting: what your notes say, told by an assistant.");
  command->add_option("TITLE", options->words, "What the meeting is called.")->required();
  addProviderOption(*command, options->provider);
  command->callback([options] { brief(options->words, options->provider); });
}

void addAskCommand(CLI::App& meeting) {
  const auto options = std::make_shared<Options>();
  CLI::App* command =
      meeting.add_subcommand("ask", "Ask an assistant, who reads the transcript, something in private.");
  command->add_option("QUESTION", options->words, "For example: vesk meeting ask what did we promise them")->required();
  addProviderOption(*command, options->provider);
  command->callback([options] { ask(options->words, options->provider); });
}

void addWatchCommand(CLI::App& meeting) {
  const auto options = std::make_shared<WatchOptions>();
  const auto seconds = std::make_shared<int>(static_cast<int>(options->every.count()));
  CLI::App* command = meeting.add_subcommand("watch", "Show what is said, and what an assistant has to say about it.");
  addProviderOption(*command, options->provider);
  command->add_option("--every", *seconds, "Seconds from one look of the assistant's to the next; 120 unless given.")
      ->check(CLI::Range(1, 3600, "NUMBER"));
  command->add_flag("--quiet", options->isQuiet, "Only what is said: the assistant doesn't look.");
  command->callback([options, seconds] {
    options->every = std::chrono::seconds(*seconds);
    watchMeeting(*options);
  });
}

void addSummaryCommand(CLI::App& meeting) {
  const auto options = std::make_shared<Options>();
  CLI::App* command = meeting.add_subcommand("summary", "After a meeting: have its summary written, as a note.");
  command->add_option("TITLE", options->words, "Which meeting; the latest without a summary unless given.");
  addProviderOption(*command, options->provider);
  command->callback([options] { sumUp(options->words, options->provider); });
}

}  // namespace

void addMeetingAssistantCommands(CLI::App& meeting) {
  addBriefCommand(meeting);
  addAskCommand(meeting);
  addWatchCommand(meeting);
  addSummaryCommand(meeting);
}

}  // namespace vesk::app
