// vesk doctor: whether all that Vesk works with does work, and what to do where it doesn't.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/Checks.h"
#include "app/Commands.h"
#include "app/Terminal.h"
#include "app/WaitingLine.h"
#include "core/base/Error.h"
#include "core/base/Json.h"
#include "core/base/Text.h"

namespace vesk::app {

namespace {

using Clock = std::chrono::steady_clock;

// For a program that is told to end at its limit, and for the check to say so.
constexpr std::chrono::seconds beyondLimit{5};

// A check at work on a thread of its own. One that hangs, on a drive that doesn't answer, is left behind.
class RunningCheck {
 public:
  RunningCheck(Check check, std::chrono::milliseconds time)
      : subject_(std::move(check.subject)),
        onFailure_(std::move(check.onFailure)),
        deadline_(Clock::now() + time + beyondLimit) {
    std::packaged_task<Finding()> task([run = std::move(check.run), time] { return run(time); });
    finding_ = task.get_future();
    thread_ = std::thread(std::move(task));
  }
  ~RunningCheck() {
    if (thread_.joinable()) thread_.detach();
  }
  RunningCheck(RunningCheck&&) = default;
  RunningCheck& operator=(RunningCheck&&) = delete;

  const std::string& subject() const { return subject_; }

  bool isDone(Clock::time_point until = Clock::now()) const {
    return finding_.wait_until(until) == std::future_status::ready;
  }
  Clock::time_point deadline() const { return deadline_; }

  // Of a check that is done, or whose time is up. Once.
  Finding finding() {
    if (!isDone())
      return {Verdict::attention, "The check didn't come to an end in time.", "See whether a drive doesn't answer."};
    thread_.join();
    try {
      return finding_.get();
    } catch (const std::exception& failure) {
      return {Verdict::attention, failure.what(), onFailure_};
    }
  }

 private:
  std::string subject_;
  std::string onFailure_;
  Clock::time_point deadline_;
  std::future<Finding> finding_;
  std::thread thread_;
};

std::vector<std::string> waitedFor(const std::vector<RunningCheck>& checks, std::size_t first) {
  std::vector<std::string> subjects;
  for (std::size_t i = first; i < checks.size(); ++i)
    if (!checks[i].isDone()) subjects.push_back(checks[i].subject());
  return subjects;
}

// Waits for one of the checks, and says meanwhile which ones aren't done.
void await(const std::vector<RunningCheck>& checks, std::size_t index) {
  constexpr std::chrono::milliseconds pause{100};
  WaitingLine line;
  std::vector<std::string> shown;
  const RunningCheck& check = checks[index];
  while (!check.isDone(std::min(Clock::now() + pause, check.deadline())) && Clock::now() < check.deadline()) {
    std::vector<std::string> subjects = waitedFor(checks, index);
    if (subjects == shown) continue;
    line.show(fmt::format("Checking {} …", text::join(subjects, ", ")));
    shown = std::move(subjects);
  }
}

Style styleOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::good: return Style::good;
    case Verdict::attention: return Style::bad;
    case Verdict::notSetUp: break;
  }
  return Style::faint;
}

void show(const std::string& subject, const Finding& finding, const Terminal& terminal) {
  constexpr std::size_t indent = 28;
  const std::string verdict = fmt::format("{:<12}", name(finding.verdict));
  std::string says = finding.says;
  std::ranges::replace(says, '\n', ' ');  // git says things in several lines
  says = wrapped(safe(says), indent, terminal).substr(indent);
  print("{}{:<16}{}\n", styled(verdict, styleOf(finding.verdict), terminal), subject, says);
  if (!finding.toDo.empty()) print("{}\n", wrapped("→ " + safe(finding.toDo), indent, terminal));
  flush();
}

Json toJson(const std::string& subject, const Finding& finding) {
  return Json::Object{
      {"subject", subject}, {"verdict", name(finding.verdict)}, {"says", finding.says}, {"to_do", finding.toDo}};
}

// What was said is written out; a check that hangs can't be stopped, so the program ends without it.
[[noreturn]] void leaveHanging() {
  flush();
  fmt::print(stderr, "vesk: A check hangs and was left alone.\n");
  std::_Exit(EXIT_FAILURE);
}

void doctor(std::chrono::seconds time, bool asJson) {
  const Terminal terminal = asJson ? Terminal{} : Terminal::ofStandardOutput();
  std::vector<RunningCheck> checks;
  for (Check& check : allChecks()) checks.emplace_back(std::move(check), time);
  std::size_t needingAttention = 0;
  bool isHanging = false;
  Json::Array findings;
  for (std::size_t i = 0; i < checks.size(); ++i) {
    await(checks, i);
    isHanging = isHanging || !checks[i].isDone();
    const Finding finding = checks[i].finding();
    if (finding.verdict == Verdict::attention) ++needingAttention;
    asJson ? findings.push_back(toJson(checks[i].subject(), finding)) : show(checks[i].subject(), finding, terminal);
  }
  if (asJson)
    print("{}\n", Json(Json::Object{{"checks", std::move(findings)}, {"attention", needingAttention}}).pretty());
  if (isHanging) leaveHanging();
  if (needingAttention > 0)
    throw Error(fmt::format("{} your attention.",
                            needingAttention == 1 ? "1 thing needs" : fmt::format("{} things need", needingAttention)));
  if (!asJson) print("\nNothing needs your attention.\n");
}

}  // namespace

void addDoctorCommand(CLI::App& program) {
  constexpr int usualSeconds = 20;
  const auto seconds = std::make_shared<int>(usualSeconds);
  const auto asJson = std::make_shared<bool>(false);
  CLI::App* command = program.add_subcommand("doctor", "Check that all Vesk works with does work.");
  command->add_option("--wait", *seconds, "Give each check at most so many seconds; 20 unless given.")
      ->check(CLI::Range(1, 600, "SECONDS"));
  command->add_flag("--json", *asJson, "Write JSON.");
  command->footer("The exit status is 0 when nothing needs your attention, and 1 otherwise.");
  command->callback([seconds, asJson] { doctor(std::chrono::seconds(*seconds), *asJson); });
}

}  // namespace vesk::app
