#pragma once

namespace CLI {
class App;
}

namespace vesk::app {

// The commands with which an assistant helps before, in and after a meeting: brief, ask, watch and summary.
void addMeetingAssistantCommands(CLI::App& meeting);

}  // namespace vesk::app
