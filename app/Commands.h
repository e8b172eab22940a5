#pragma once

namespace CLI {
class App;
}

// What `vesk` can do: each function adds one command, which runs when it is named on the command line. What a command
// throws is shown to the user, and makes the exit status. CommandTree.cpp lists them.
namespace vesk::app {

void addOpenCommand(CLI::App& program);
void addOrganizeCommand(CLI::App& program);
void addStatusCommand(CLI::App& program);
void addNotesCommand(CLI::App& program);
void addSearchCommand(CLI::App& program);
void addJournalCommand(CLI::App& program);
void addCaptureCommand(CLI::App& program);
void addEditCommand(CLI::App& program);
void addWatchCommand(CLI::App& program);
void addOverviewCommand(CLI::App& program);
void addProjectsCommand(CLI::App& program);
void addAreasCommand(CLI::App& program);
void addTopicsCommand(CLI::App& program);
void addContextCommand(CLI::App& program);
void addMapCommand(CLI::App& program);
void addHealthCommand(CLI::App& program);
void addQueryCommand(CLI::App& program);
void addTasksCommand(CLI::App& program);
void addAddCommand(CLI::App& program);
void addDoingCommand(CLI::App& program);
void addDoneCommand(CLI::App& program);
void addTodoCommand(CLI::App& program);
void addTodayCommand(CLI::App& program);
void addWeekCommand(CLI::App& program);
void addBacklogCommand(CLI::App& program);
void addPlanCommand(CLI::App& program);
void addHoursCommand(CLI::App& program);
void addDiagramsCommand(CLI::App& program);
void addDiagramCommand(CLI::App& program);
void addMeetingCommand(CLI::App& program);
void addSyncCommand(CLI::App& program);
void addMailCommand(CLI::App& program);
void addChatCommand(CLI::App& program);
void addConnectCommand(CLI::App& program);
void addDisconnectCommand(CLI::App& program);
void addDoctorCommand(CLI::App& program);
void addAccessCommand(CLI::App& program);
void addProposalsCommand(CLI::App& program);
void addReviewCommand(CLI::App& program);
void addActionsCommand(CLI::App& program);
void addUndoCommand(CLI::App& program);
void addCallCommand(CLI::App& program);
void addChatImportCommand(CLI::App& program);
void addCompletionsCommand(CLI::App& program);
void addPackagedCommand(CLI::App& program);

}  // namespace vesk::app
