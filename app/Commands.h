#pragma once

namespace CLI {
class App;
}

// What `vesk` can do: each function adds one command, which runs when it is named on the command line. What a command
// throws is shown to the user, and makes the exit status.
namespace vesk::app {

void addOpenCommand(CLI::App& program);
void addStatusCommand(CLI::App& program);
void addAccessCommand(CLI::App& program);
void addNotesCommand(CLI::App& program);
void addSearchCommand(CLI::App& program);
void addWatchCommand(CLI::App& program);

// In the order of the help.
inline constexpr void (*commands[])(CLI::App& program) = {
    addOpenCommand, addStatusCommand, addAccessCommand, addNotesCommand, addSearchCommand, addWatchCommand,
};

}  // namespace vesk::app
