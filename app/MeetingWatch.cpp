#include "app/MeetingWatch.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <future>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include <fmt/format.h>

#include "app/AnswerText.h"
#include "app/AssistantClients.h"
#include "app/AssistantTurn.h"
#include "app/Interrupts.h"
#include "app/MeetingRows.h"
#include "app/MeetingSession.h"
#include "app/Question.h"
#include "app/Terminal.h"
#include "app/TypedLines.h"
#include "core/base/Calendar.h"
#include "core/base/Text.h"
#include "core/meetings/MeetingPrompts.h"
#include "core/platform/Environment.h"
#include "core/platform/Folder.h"

namespace vesk::app {

namespace {

using Clock = std::chrono::steady_clock;

// The live meeting, read anew only when its file was written.
class MeetingFile {
 public:
  explicit MeetingFile(LiveMeeting meeting) : meeting_(std::move(meeting)) {}

  const LiveMeeting& meeting() const { return meeting_; }

  // False when the meeting is over.
  bool update() {
    const std::string directory = environment::supportDirectory();
    const auto info = Folder::open(directory).info(LiveMeeting::fileName);
    if (!info) return false;
    if (info->modified == modified_ && info->size == size_) return true;
    auto now = LiveMeeting::load(directory);
    if (!isSame(now, meeting_)) return false;
    meeting_ = std::move(*now);
    modified_ = info->modified;
    size_ = info->size;
    return true;
  }

 private:
  LiveMeeting meeting_;
  Timestamp modified_ = distantPast;
  std::uint64_t size_ = 0;
};

// A turn of the assistant's beside the transcript. It is cancelled when this goes away.
class BackgroundTurn {
 public:
  explicit BackgroundTurn(AssistantRequest request) {
    std::packaged_task<AssistantAnswer(const std::stop_token&)> run(
        [request = std::move(request)](const std::stop_token& stop) { return answerTo(request, stop); });
    answer_ = run.get_future();
    thread_ = std::jthread([run = std::move(run)](const std::stop_token& stop) mutable { run(stop); });
  }

  bool isDone() const { return answer_.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }
  AssistantAnswer answer() { return answer_.get(); }

 private:
  std::future<AssistantAnswer> answer_;
  std::jthread thread_;
};

// What the assistant is asked next.
struct Turn {
  AssistantMode mode = AssistantMode::meeting;
  std::string question = {};      // "" for a look at what is new
  MeetingProposal approved = {};  // of the mode approvedMeetingAction
};

class MeetingWatch {
 public:
  MeetingWatch(const WatchOptions& options, LiveMeeting meeting) : options_(options), file_(std::move(meeting)) {
    if (!options.isQuiet) session_.provider = readyAssistant(options.provider);
  }

  void run() {
    begin();
    while (!isLeft_ && step()) continue;
    if (isCarryingOut()) showAside("Stopped. Some of what you said yes to may be done.");
  }

 private:
  const LiveMeeting& meeting() const { return file_.meeting(); }

  void begin() {
    constexpr std::size_t mostBefore = 20;
    print("{}\n", styled(shownTitle(meeting().title), Style::strong, terminal_));
    const std::size_t count = meeting().lines.size();
    shownLines_ = count - std::min(count, mostBefore);
    if (shownLines_ > 0) showAside(fmt::format("{} before: vesk meeting show", counted(shownLines_, "line")));
    if (isAtTerminal_ && !options_.isQuiet)
      showAside(fmt::format("Type a question to {} and press Return. Ctrl-C ends the watching, not the meeting.",
                            nameOf(session_.provider)));
  }

  // False when the meeting is over, and nothing is left to wait for.
  bool step() {
    if (!isOver_ && !file_.update()) end();
    showLines();
    takeAnswer();
    startTurn();
    if (isOver_ && !turn_ && (proposals_.empty() || !isAtTerminal_)) return false;
    takeTyped();
    return true;
  }

  void end() {
    isOver_ = true;
    print("The meeting is over.\n");
    showAside("vesk meeting summary has a summary written, from the note of its transcript.");
  }

  void showLines() {
    const auto& lines = meeting().lines;
    for (; shownLines_ < lines.size(); ++shownLines_) print("{}", shownLine(lines[shownLines_], calendar_, terminal_));
    flush();
  }

  // ---- The assistant's turns

  bool isLookDue() const {
    const std::string last = lastLine(meeting());
    return !options_.isQuiet && !isOver_ && failures_ < mostFailures && !last.empty() && last != session_.seenLine &&
           Clock::now() >= lookAt_;
  }

  void startTurn() {
    if (turn_) return;
    if (turns_.empty() && isLookDue()) turns_.emplace_back();
    if (turns_.empty()) return;
    if (!isAllowed(session_.provider)) throw Error(turnedOff(session_.provider));
    const Turn turn = std::move(turns_.front());
    turns_.pop_front();
    toldUntil_ = turn.mode == AssistantMode::meeting ? lastLine(meeting()) : session_.seenLine;
    mode_ = turn.mode;
    turn_.emplace(session_.request(mode_, promptFor(turn)));
  }

  bool isCarryingOut() const {
    constexpr auto action = AssistantMode::approvedMeetingAction;
    return (turn_ && mode_ == action) || std::ranges::find(turns_, action, &Turn::mode) != turns_.end();
  }

  std::string promptFor(const Turn& turn) const {
    if (turn.mode == AssistantMode::approvedMeetingAction) return MeetingPrompts::approved(turn.approved);
    if (turn.question.empty()) return MeetingPrompts::watch(meeting(), session_.seen(), calendar_);
    return MeetingPrompts::question(turn.question, meeting(), session_.seen(), calendar_);
  }

  void takeAnswer() {
    if (!turn_ || !turn_->isDone()) return;
    const AssistantAnswer answer = turn_->answer();
    turn_.reset();
    lookAt_ = Clock::now() + options_.every;
    session_.take(answer, toldUntil_);
    const std::string text = AnswerText::shown(answer.text, terminal_);
    if (!text.empty())
      print("{} {}", styled(fmt::format("{}:", nameOf(session_.provider)), Style::good, terminal_), text);
    tellOfFailure(answer);
    for (MeetingProposal& each : session_.newProposals(answer.text)) propose(std::move(each));
    flush();
  }

  void tellOfFailure(const AssistantAnswer& answer) {
    failures_ = answer.failure ? failures_ + 1 : 0;
    if (!answer.failure) return;
    complain(*answer.failure);
    if (failures_ == mostFailures)
      showAside(fmt::format("{} doesn't look at the transcript any more. Ask it something to try again.",
                            nameOf(session_.provider)));
  }

  // ---- What it asks to do

  void propose(MeetingProposal proposal) {
    const auto isSame = [&](const MeetingProposal& each) { return each.action == proposal.action; };
    if (std::ranges::any_of(proposals_, isSame)) return;
    proposals_.push_back(std::move(proposal));
    if (proposals_.size() == 1 || !isAtTerminal_) show(proposals_.back());
  }

  void show(const MeetingProposal& proposal) const {
    print("{}", shownProposal(proposal, session_.provider, terminal_));
    if (isAtTerminal_) print("{}\n", yesOrNotNowQuestion);
    flush();
  }

  void settle(bool isYes) {
    MeetingProposal proposal = std::move(proposals_.front());
    proposals_.pop_front();
    session_.remember(proposal, isYes);
    if (isYes) turns_.push_back({.mode = AssistantMode::approvedMeetingAction, .approved = std::move(proposal)});
    showAside(isYes ? fmt::format("{} does it.", nameOf(session_.provider)) : "Not now.");
    if (proposals_.empty()) return;
    lines_.forget();
    show(proposals_.front());
  }

  // ---- The user

  void takeTyped() {
    constexpr std::chrono::milliseconds pause{200};  // from one look at the file to the next
    if (!isAtTerminal_) {
      isLeft_ = interrupts_.wait(pause);
      return;
    }
    const Typed typed = lines_.next(pause);
    if (typed.kind == Typed::Kind::interrupt || typed.kind == Typed::Kind::end) isLeft_ = true;
    if (typed.isCut) return complain(cutLineComplaint);
    const std::string words = text::collapseWhitespace(typed.line);
    if (words.empty() || options_.isQuiet) return;
    if (const auto answer = yesOrNotNow(words))
      return proposals_.empty() ? showAside("Nothing was asked.") : settle(*answer);
    turns_.push_back({.question = words});
    showAside(fmt::format("{} is asked.", nameOf(session_.provider)));
  }

  static constexpr int mostFailures = 3;  // in a row

  const WatchOptions options_;
  const Interrupts interrupts_;
  TypedLines lines_{interrupts_};
  const Terminal terminal_ = Terminal::ofStandardOutput();
  const Calendar calendar_ = Calendar::ofSystem();
  const bool isAtTerminal_ = canAsk();

  MeetingFile file_;
  std::size_t shownLines_ = 0;
  bool isOver_ = false;
  bool isLeft_ = false;

  MeetingSession session_;
  std::deque<Turn> turns_;                       // that wait for the one under way
  std::string toldUntil_;                        // the last line that this one tells of
  AssistantMode mode_ = AssistantMode::meeting;  // likewise
  Clock::time_point lookAt_ = Clock::now() + options_.every;
  int failures_ = 0;
  std::deque<MeetingProposal> proposals_;  // the first one is asked
  std::optional<BackgroundTurn> turn_;
};

}  // namespace

void watchMeeting(const WatchOptions& options) { MeetingWatch(options, currentMeeting()).run(); }

}  // namespace vesk::app
