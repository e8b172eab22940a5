// vesk-mcp: serves the user's vault to an AI assistant over standard input and output.

#include <csignal>
#include <cstdio>
#include <exception>
#include <unistd.h>

#include "core/platform/ChildProcess.h"
#include "core/platform/Environment.h"
#include "core/platform/Memory.h"
#include "core/toolserver/LineLoop.h"

int main() {
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
