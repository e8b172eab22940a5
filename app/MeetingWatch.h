#pragma once

#include <chrono>
#include <optional>

#include "core/assistant/AssistantProvider.h"

namespace vesk::app {

struct WatchOptions {
  std::optional<AssistantProvider> provider = {};
  std::chrono::seconds every{120};  // from one look at the transcript to the next
  bool isQuiet = false;             // the assistant doesn't look at it
};

// Shows the transcript as it grows, until the meeting is over or Ctrl-C is pressed. From time to time the assistant
// looks at what is new in it; what it has to say is shown, and what it asks to do is asked. At a terminal the user can
// ask it something meanwhile.
void watchMeeting(const WatchOptions& options);

}  // namespace vesk::app
