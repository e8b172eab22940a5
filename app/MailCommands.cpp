// vesk mail: reads it, keeps it in order, writes it and sends it.

#include "app/MailCommands.h"

#include <CLI/CLI.hpp>

#include "app/Commands.h"

namespace vesk::app {

void addMailCommand(CLI::App& program) {
  CLI::App* mail = program.add_subcommand("mail", "Read and write mail.");
  mail->require_subcommand(1);
  addMailReadingCommands(*mail);
  addMailChangeCommands(*mail);
  addMailDraftCommands(*mail);
  addMailSendCommand(*mail);
  addMailSyncCommand(*mail);
  addMailAccountCommands(*mail);
}

}  // namespace vesk::app
