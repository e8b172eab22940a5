#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "bench/Process.h"

namespace vesk::bench {

// The line that begins every session.
inline constexpr std::string_view initializeLine =
    R"({"jsonrpc":"2.0","id":0,"method":"initialize","params":{"protocolVersion":"2025-06-18","capabilities":{},)"
    R"("clientInfo":{"name":"bench-report","version":"1"}}})"
    "\n";

// A tool server that runs and has been initialized.
class ServerSession {
 public:
  explicit ServerSession(const Command& command);

  // Calls a tool with arguments given as JSON. The milliseconds from the first byte written to the last of the answer.
  // Throws Error when the tool fails or no answer comes.
  double call(std::string_view tool, std::string_view arguments);

  // Any other request, likewise.
  double request(std::string_view method);

  // The most memory that the server has had so far, in bytes.
  std::size_t peakMemory() const;

 private:
  ServerSession(const Command& command, Pipe requests, Pipe answers);

  double timed(const std::string& line, std::string_view what);
  void send(std::string_view line);
  std::string receive();

  Process process_;
  Fd requests_;
  Fd answers_;
};

}  // namespace vesk::bench
