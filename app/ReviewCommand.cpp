// vesk proposals and vesk review: the changes of assistants that wait for the user.

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/Commands.h"
#include "app/CurrentVault.h"
#include "app/Days.h"
#include "app/DiffView.h"
#include "app/Options.h"
#include "app/Question.h"
#include "app/ShortID.h"
#include "app/Table.h"
#include "app/Terminal.h"
#include "core/base/Calendar.h"
#include "core/base/Error.h"
#include "core/base/Json.h"
#include "core/base/Text.h"
#include "core/platform/Environment.h"
#include "core/platform/FileLock.h"
#include "core/toolserver/MCPServer.h"
#include "core/toolserver/Proposal.h"
#include "core/toolserver/SupportFile.h"
#include "core/vault/VaultError.h"

namespace vesk::app {

namespace {

using Proposals = std::vector<Proposal>;

constexpr const char* nothingWaits = "Nothing waits for your approval.";

ProposalStore store() { return ProposalStore(environment::supportDirectory()); }

// The note that a change is about, and where it leads: "Inbox/Plan.md → Projects/Plan.md".
std::string place(const Proposal& proposal) {
  std::string note = proposal.notePath.value_or("");
  if (!proposal.destination) return note;
  return note.empty() ? "→ " + *proposal.destination : fmt::format("{} → {}", note, *proposal.destination);
}

// What its texts are of. A diagram that is still to be made has no path yet.
TextKind kindOfText(const Proposal& proposal) {
  return proposal.tool == "create_diagram" ? TextKind::diagram : kindOf(proposal.notePath.value_or(""));
}

// ---- proposals

void printList(const Proposals& proposals) {
  const Terminal terminal = Terminal::ofStandardOutput();
  const Calendar calendar = Calendar::ofSystem();
  const std::size_t numberWidth = std::to_string(proposals.size()).size();
  for (std::size_t i = 0; i < proposals.size(); ++i) {
    const Proposal& proposal = proposals[i];
    const std::string head = fmt::format("{:>{}}  {}  {}  ", i + 1, numberWidth, safe(shortID(proposal.id)),
                                         shownTime(proposal.date, calendar));
    const std::size_t left = terminal.width ? std::max(*terminal.width, columns(head)) - columns(head) : unlimited;
    print("{}{}\n", styled(head, Style::faint, terminal),
          styled(shortened(safe(proposal.title), left), Style::strong, terminal));
    if (const std::string about = place(proposal); !about.empty()) print("{:{}}{}\n", "", numberWidth + 2, safe(about));
  }
}

void listProposals(bool asJson) {
  const Proposals proposals = store().all();
  if (asJson) {
    Json::Array entries;
    for (const Proposal& proposal : proposals) entries.push_back(toJson(proposal));
    const Json json = Json::Object{{"proposals", std::move(entries)}, {"total", proposals.size()}};
    return print("{}\n", json.pretty());
  }
  if (proposals.empty()) fmt::print(stderr, "{}\n", nothingWaits);
  printList(proposals);
}

// ---- Deciding

void approve(const Proposal& proposal) {
  try {
    MCPServer(environment::supportDirectory()).apply(proposal);
  } catch (const VaultError& error) {
    if (error.kind() != VaultError::Kind::conflict) throw;
    throw Error(fmt::format("The {} changed since this was proposed. Decline it, or ask the assistant anew.",
                            kindOfText(proposal) == TextKind::diagram ? "diagram" : "note"));
  }
}

void decline(const Proposal& proposal) {
  const FileLock alone = supportFile::lockReviews(environment::supportDirectory());
  if (!store().find(proposal.id)) throw Error("This change doesn't wait any more.");
  store().remove(proposal.id);
}

struct Decision {
  std::string_view outcome = {};  // once it is carried out
  void (*carryOut)(const Proposal& proposal) = nullptr;
};

constexpr Decision approval = {"Approved", approve};
constexpr Decision refusal = {"Declined", decline};

// Says how it went; false when it failed, and the proposal still waits.
bool carryOut(const Decision& decision, const Proposal& proposal) {
  try {
    decision.carryOut(proposal);
    print("{}  {}\n", decision.outcome, safe(proposal.title));
    return true;
  } catch (const Error& error) {
    print("Failed    {}: {}\n", safe(proposal.title), safe(error.what()));
    return false;
  }
}

// ---- review, decision by decision on the command line

struct ReviewOptions {
  std::vector<std::string> approved = {};
  std::vector<std::string> declined = {};
};

// What was decided, before any of it is carried out.
class Decisions {
 public:
  using All = std::vector<std::pair<Decision, Proposal>>;

  explicit Decisions(Proposals waiting) : waiting_(std::move(waiting)) {}

  // "all" stands for those that no id before it named.
  void add(const Decision& decision, const std::vector<std::string>& ids) {
    for (const std::string& typed : ids) {
      if (typed == "all") {
        for (const Proposal& proposal : waiting_) take(decision, proposal);
      } else if (!take(decision, itemWithID(waiting_, typed))) {
        throw Error(fmt::format("{} is named twice.", typed));
      }
    }
  }

  const All& all() const { return all_; }

 private:
  bool take(const Decision& decision, const Proposal& proposal) {
    if (!taken_.insert(proposal.id).second) return false;
    all_.emplace_back(decision, proposal);
    return true;
  }

  Proposals waiting_;
  All all_;
  std::set<std::string> taken_;
};

void decide(const ReviewOptions& options) {
  Decisions decisions(store().all());
  decisions.add(refusal, options.declined);
  decisions.add(approval, options.approved);
  if (decisions.all().empty()) return print("{}\n", nothingWaits);
  std::size_t failures = 0;
  for (const auto& [decision, proposal] : decisions.all()) {
    const auto now = store().find(proposal.id);  // an earlier one may have brought it along
    if (!carryOut(decision, now.value_or(proposal))) ++failures;
  }
  if (failures > 0) throw Error(fmt::format("{} failed.", counted(failures, "change")));
}

// ---- review, one after another

Json::Object argumentsOf(const Proposal& proposal) {
  try {
    Json arguments = Json::parse(proposal.arguments);
    if (Json::Object* object = arguments.object()) return std::move(*object);
  } catch (const JsonError&) {
    // It can still be declined.
  }
  return {{"arguments", proposal.arguments}};
}

std::string argumentsText(const Proposal& proposal) {
  std::string lines;
  for (const auto& [name, value] : argumentsOf(proposal)) {
    const std::string text = value.string() ? *value.string() : value.compact();
    const bool isLong = text.find('\n') != std::string::npos;
    lines += fmt::format("{}:{}{}\n", safe(name), isLong ? "\n" : " ", safeLines(text));
  }
  return lines;
}

// What the change does: its diff, else what was asked for.
std::string changeText(const Proposal& proposal, const Terminal& terminal) {
  const auto changes = compared(proposal.before.value_or(""), proposal.after.value_or(""), kindOfText(proposal));
  const std::string diff = diffText(changes, terminal);
  return diff.empty() ? argumentsText(proposal) : diff;
}

void show(const Proposal& proposal, std::size_t number, std::size_t count) {
  const Terminal terminal = Terminal::ofStandardOutput();
  print("{}\n", styled(fmt::format("{} of {}", number, count), Style::faint, terminal));
  print("{}\n", styled(safe(proposal.title), Style::strong, terminal));
  Table table(2);
  const auto add = [&](const char* what, const std::string& value) {
    if (!value.empty()) table.add({{what, Style::faint}, {value, Style::plain}});
  };
  add("Tool", proposal.tool);
  add(kindOfText(proposal) == TextKind::diagram ? "Diagram" : "Note", proposal.notePath.value_or(""));
  add("To", proposal.destination.value_or(""));
  if (proposal.vaultPath != currentAccess().vaultPath) add("Vault", proposal.vaultPath.value_or(""));
  add("Asked", shownTime(proposal.date, Calendar::ofSystem()));
  print("{}\n{}\n", table.text(terminal), changeText(proposal, terminal));
}

enum class Answer { approve, decline, skip, quit };

// The end of the input quits.
Answer askForAnswer() {
  struct Word {
    std::string_view letter = {};
    std::string_view word = {};
    Answer answer = {};
  };
  constexpr Word words[] = {{"a", "approve", Answer::approve},
                            {"d", "decline", Answer::decline},
                            {"s", "skip", Answer::skip},
                            {"q", "quit", Answer::quit}};
  while (const auto typed = ask("(a)pprove, (d)ecline, (s)kip or (q)uit?"))
    for (const Word& each : words)
      if (text::equalIgnoringCase(*typed, each.letter) || text::equalIgnoringCase(*typed, each.word))
        return each.answer;
  return Answer::quit;
}

void reviewOneByOne() {
  std::set<std::string> seen;
  const auto isNew = [&](const Proposal& proposal) { return !seen.contains(proposal.id); };
  for (;;) {
    const Proposals waiting = store().all();  // read anew: assistants may add to it, and others decide, meanwhile
    const auto next = std::ranges::find_if(waiting, isNew);
    if (next == waiting.end()) break;
    const auto left = static_cast<std::size_t>(std::ranges::count_if(waiting, isNew));
    show(*next, seen.size() + 1, seen.size() + left);
    seen.insert(next->id);
    const Answer answer = askForAnswer();
    if (answer == Answer::quit) break;
    if (answer == Answer::approve) carryOut(approval, *next);
    if (answer == Answer::decline) carryOut(refusal, *next);
    print("\n");
  }
  const std::size_t waiting = store().all().size();
  print("{}\n", waiting == 0 ? nothingWaits : fmt::format("Still waiting: {}.", counted(waiting, "change")));
}

void review(const ReviewOptions& options) {
  if (!options.approved.empty() || !options.declined.empty()) return decide(options);
  if (store().all().empty()) return print("{}\n", nothingWaits);
  if (!canAsk())
    throw Error("There is no terminal to ask on. Use --approve ID and --decline ID, with ids from vesk proposals.");
  reviewOneByOne();
}

}  // namespace

void addProposalsCommand(CLI::App& program) {
  const auto asJson = std::make_shared<bool>(false);
  CLI::App* command = program.add_subcommand("proposals", "List the changes that wait for your approval.");
  command->add_flag("--json", *asJson, "Write JSON.");
  command->callback([asJson] { listProposals(*asJson); });
}

void addReviewCommand(CLI::App& program) {
  const auto options = std::make_shared<ReviewOptions>();
  CLI::App* command = program.add_subcommand("review", "Approve or decline the changes that wait, one by one.");
  command->add_option("--approve", options->approved, "Approve the one whose id begins so, or all; ask nothing.")
      ->type_name("ID");
  command->add_option("--decline", options->declined, "Decline it likewise.")->type_name("ID");
  command->callback([options] { review(*options); });
}

}  // namespace vesk::app
