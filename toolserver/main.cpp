// vesk-mcp: serves the user's vault to an AI assistant over standard input and output.

#include <climits>
#include <csignal>
#include <cstdio>
#include <exception>
#include <malloc.h>
#include <unistd.h>

#include "core/platform/Environment.h"
#include "core/toolserver/LineLoop.h"

namespace {

// Each call reads the whole vault into memory and lets it go again. Kept by the allocator for the next call, that
// memory costs no page faults; one arena, so that the threads of a scan hand it on to each other.
void keepMemoryBetweenCalls() {
  mallopt(M_ARENA_MAX, 1);
  mallopt(M_TRIM_THRESHOLD, INT_MAX);
  mallopt(M_MMAP_THRESHOLD, 32 << 20);
  mallopt(M_TOP_PAD, 1 << 20);
}

}  // namespace

int main() {
  keepMemoryBetweenCalls();
  // A client that is gone, or a file-size limit, is a failed write like any other.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  try {
    vesk::serveLines(vesk::MCPServer(vesk::environment::supportDirectory()), STDIN_FILENO, STDOUT_FILENO);
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "vesk-mcp: %s\n", failure.what());
    return 1;
  }
}
