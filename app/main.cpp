// vesk: the user's own hand on the vault, and on what assistants may do in it.

#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/CommandTree.h"
#include "app/Terminal.h"
#include "core/platform/ChildProcess.h"
#include "core/platform/Memory.h"

namespace {

using vesk::app::safeLines;

constexpr int failed = 1;
constexpr int wrongUse = 2;

// The command as far as it was understood: "vesk access on".
std::string understoodCommand(const CLI::App& program) {
  std::string words = program.get_name();
  for (const CLI::App* command = &program; !command->get_subcommands().empty();) {
    command = command->get_subcommands().front();
    words += " " + command->get_name();
  }
  return words;
}

void complain(std::string_view sentence) {
  std::fflush(stdout);  // what was said before comes first
  fmt::print(stderr, "vesk: {}\n", safeLines(sentence));
}

int run(int argumentCount, char** arguments) {
  const std::vector<std::string> typed(arguments + 1, arguments + argumentCount);
  const auto program = vesk::app::makeProgram(typed.empty() ? "" : typed.front());
  try {
    vesk::app::parse(*program, typed);
    if (program->get_subcommands().empty()) throw CLI::RequiredError("A command");
    vesk::app::flush();
    return 0;
  } catch (const CLI::Success& answer) {
    return program->exit(answer);
  } catch (const CLI::ParseError& error) {
    complain(error.what());
    fmt::print(stderr, "Run \"{} --help\" to see how it is used.\n", understoodCommand(*program));
    return wrongUse;
  }
}

}  // namespace

int main(int argumentCount, char** arguments) {
  vesk::keepFreedMemory();
  std::signal(SIGXFSZ, SIG_IGN);  // a file-size limit is a failed write like any other
  vesk::endProgramsOnSignals();
  try {
    return run(argumentCount, arguments);
  } catch (const std::exception& failure) {
    complain(failure.what());
    return failed;
  }
}
