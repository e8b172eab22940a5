// vesk-mcp: serves the user's vault to an AI assistant over standard input and output.

#include <csignal>
#include <cstdio>
#include <exception>
#include <string_view>
#include <unistd.h>

#include "core/platform/ChildProcess.h"
#include "core/platform/Environment.h"
#include "core/platform/Memory.h"
#include "core/toolserver/LineLoop.h"

namespace {

// For whoever starts it by hand. Assistants start it without arguments.
int answer(std::string_view argument) {
  if (argument == "--version") return std::puts("vesk-mcp " VESK_VERSION) < 0;
  if (argument == "--help" || argument == "-h")
    return std::puts(
               "vesk-mcp serves the vault that is open in Vesk to an AI assistant, over standard input and output.\n"
               "Assistants start it: \"vesk connect\" tells them of it, \"vesk access\" sets what they may do.") < 0;
  std::fputs("vesk-mcp: There are no arguments but --help and --version. Assistants start it without any.\n", stderr);
  return 2;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount > 1) return answer(arguments[1]);
  vesk::keepFreedMemory();
  // A client that is gone, or a file-size limit, is a failed write like any other.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  vesk::endProgramsOnSignals();
  try {
    vesk::serveLines(vesk::MCPServer(vesk::environment::supportDirectory()), STDIN_FILENO, STDOUT_FILENO);
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "vesk-mcp: %s\n", failure.what());
    return 1;
  }
}
