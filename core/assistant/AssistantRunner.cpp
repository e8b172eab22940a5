#include "core/assistant/AssistantRunner.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <fmt/format.h>

#include "core/assistant/AssistantShell.h"
#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/platform/FileError.h"
#include "core/platform/Folder.h"

namespace vesk {

namespace {

constexpr std::chrono::seconds grace{1};  // from being told to end to being ended

// The keys are taken out of the environment beforehand; the user's profile may have put them back.
std::string runScript(AssistantProvider provider) {
  const std::vector<std::string> keys(std::begin(assistantShell::keys), std::end(assistantShell::keys));
  return fmt::format(R"({} unset {}; exec {} "$@")", assistantShell::pathLine, text::join(keys, " "),
                     program(provider).command);
}

ProcessRequest processOf(const AssistantRequest& request, const ProcessEnvironment& environment) {
  std::vector<std::string> words = {"vesk"};
  for (std::string& each :
       request.provider == AssistantProvider::claude ? request.claudeArguments() : request.codexArguments())
    words.push_back(std::move(each));
  ProcessRequest process = assistantShell::request(runScript(request.provider), environment, words);
  process.input = request.input();
  process.folder = request.workspace;
  return process;
}

// An identifier may come out of a note that anybody wrote; the assistant would take this for one of its options.
void checkSession(const AssistantRequest& request) {
  if (request.sessionID && (request.sessionID->empty() || request.sessionID->starts_with('-')))
    throw Error("This conversation can't go on: its identifier isn't one.");
}

}  // namespace

AssistantStream::AssistantStream(const AssistantRequest& request, const ProcessEnvironment& environment)
    : provider_(request.provider), parser_(request.provider) {
  try {
    checkSession(request);
    makePrivateFolder(request.workspace);
    child_.emplace(processOf(request, environment), grace);
  } catch (const Error& error) {
    events_.push_back({AssistantEvent::Kind::failure, error.what()});
  }
}

AssistantStream::~AssistantStream() {
  if (!child_) return;
  child_->terminate();
  child_->wait();
}

std::optional<AssistantEvent> AssistantStream::next() {
  while (taken_ == events_.size() && child_ && !isEnded_ && !isCancelled_) readMore();
  if (taken_ == events_.size() || isCancelled_) return std::nullopt;
  return std::move(events_[taken_++]);
}

void AssistantStream::cancel() {
  isCancelled_ = true;
  if (child_) child_->terminate();
}

void AssistantStream::readMore() {
  using Kind = ChildProcess::Event::Kind;
  events_.clear();
  taken_ = 0;
  const auto event = child_->next();
  if (event.kind == Kind::output)
    for (const std::string_view line : lines_.append(event.text)) parser_.parse(line, events_);
  if (event.kind == Kind::errors) {
    errors_.append(event.text);
    errors_.erase(0, errors_.size() - std::min(errors_.size(), keptErrors));
  }
  if (event.kind == Kind::ended) finish();
}

// A line that lacks its end is read when it is whole for all that.
void AssistantStream::finish() {
  isEnded_ = true;
  parser_.parse(lines_.pending, events_);
  if (child_->wait().code <= 0) return;  // a signal ended it, or nothing went wrong
  std::string sentence =
      errors_.empty() ? fmt::format("{} exited with an error.", program(provider_).name) : text::wellFormed(errors_);
  events_.push_back({.kind = AssistantEvent::Kind::failure, .text = std::move(sentence), .isOfExit = true});
}

AssistantStatus AssistantRunner::status(AssistantProvider provider, const ProcessEnvironment& environment,
                                        std::chrono::milliseconds time) {
  constexpr int notFound = 127;
  const std::string_view command = program(provider).command;
  const std::string_view question = provider == AssistantProvider::claude ? "auth status" : "login status";
  std::string script = fmt::format("{0} command -v {1} >/dev/null || exit {2}; {1} {3}", assistantShell::pathLine,
                                   command, notFound, question);
  try {
    const ProcessResult result = runProcess(assistantShell::request(std::move(script), environment),
                                            {.time = time, .grace = grace, .output = 0, .errors = 0});
    if (result.timedOut) return AssistantStatus::unknown;
    if (result.succeeded()) return AssistantStatus::ready;
    return result.exit.code == notFound ? AssistantStatus::notInstalled : AssistantStatus::notSignedIn;
  } catch (const FileError&) {
    return AssistantStatus::unknown;
  }
}

AssistantStream AssistantRunner::stream(const AssistantRequest& request, const ProcessEnvironment& environment) {
  return AssistantStream(request, environment);
}

}  // namespace vesk
