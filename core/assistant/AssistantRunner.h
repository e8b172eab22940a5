#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "core/assistant/AssistantRequest.h"
#include "core/assistant/AssistantStreamParser.h"
#include "core/platform/ChildProcess.h"

namespace vesk {

// An assistant while it answers. One thread reads its events, the one that started it, and has to outlive it
// (ChildProcess); any other may cancel() it meanwhile.
class AssistantStream {
 public:
  static constexpr std::size_t keptErrors = 600;  // bytes of the end of what it writes to standard error

  // Starts the assistant. What keeps it from starting is an event, a failure, and the end.
  AssistantStream(const AssistantRequest& request, const ProcessEnvironment& environment);

  // Tells an assistant that still runs, and all that it started, to end; what hasn't after a second is ended.
  ~AssistantStream();
  AssistantStream(const AssistantStream&) = delete;
  AssistantStream& operator=(const AssistantStream&) = delete;

  // Waits for the next event, in the order of the lines that the assistant prints. Nullopt when it has ended, and once
  // it is cancelled. An assistant that reports an error and then exits with it gives two failures (see isOfExit).
  std::optional<AssistantEvent> next();

  // Tells it to end, as above. From any thread, at any time.
  void cancel();

 private:
  void readMore();
  void finish();

  AssistantProvider provider_;
  AssistantStreamParser parser_;
  LineBuffer lines_;
  std::string errors_;  // the end of what it wrote to standard error
  std::vector<AssistantEvent> events_;
  std::size_t taken_ = 0;              // the events that were handed out
  std::optional<ChildProcess> child_;  // none when it couldn't be started
  bool isEnded_ = false;
  std::atomic<bool> isCancelled_ = false;
};

// Runs the assistants that the user has installed, with the user's own login to them. `environment` is what they and
// the login shell that starts them get to see, but for the keys of assistants.
namespace AssistantRunner {

// Asks the program itself: `unknown` when the shell doesn't start, or the program doesn't answer in time.
AssistantStatus status(AssistantProvider provider, const ProcessEnvironment& environment,
                       std::chrono::milliseconds time = std::chrono::seconds(30));

AssistantStream stream(const AssistantRequest& request, const ProcessEnvironment& environment);

}  // namespace AssistantRunner

}  // namespace vesk
