#pragma once

namespace CLI {
class App;
}

// The commands of `vesk mail`, in the files of their subjects.
namespace vesk::app {

void addMailReadingCommands(CLI::App& mail);  // list, search, waiting, read, attachment
void addMailChangeCommands(CLI::App& mail);   // mark, move
void addMailDraftCommands(CLI::App& mail);    // draft, reply, drafts
void addMailSendCommand(CLI::App& mail);
void addMailSyncCommand(CLI::App& mail);
void addMailAccountCommands(CLI::App& mail);  // add, accounts, remove

}  // namespace vesk::app
