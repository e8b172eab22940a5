#include "bench/ServerSession.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <poll.h>
#include <unistd.h>
#include <utility>

#include <fmt/format.h>

#include "core/base/Error.h"
#include "core/platform/FileError.h"

namespace vesk::bench {

namespace {

constexpr std::chrono::milliseconds patience{60'000};

// Quotes inside the texts of an answer are escaped, so these stand where they seem to.
bool isFailure(std::string_view answer) {
  return answer.find(R"("isError":true)") != answer.npos || answer.find(R"("error":{)") != answer.npos;
}

}  // namespace

ServerSession::ServerSession(const Command& command) : ServerSession(command, makePipe(), makePipe()) {
  send(initializeLine);
  const std::string answer = receive();
  if (isFailure(answer)) throw Error(fmt::format("The server didn't initialize: {}", answer));
  send("{\"jsonrpc\":\"2.0\",\"method\":\"notifications/initialized\"}\n");
}

// The server's own ends of the pipes are closed here, so that its end is seen.
ServerSession::ServerSession(const Command& command, Pipe requests, Pipe answers)
    : process_(command, requests.readEnd.get(), answers.writeEnd.get()),
      requests_(std::move(requests.writeEnd)),
      answers_(std::move(answers.readEnd)) {}

double ServerSession::call(std::string_view tool, std::string_view arguments) {
  return timed(fmt::format("{{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"tools/"
                           "call\",\"params\":{{\"name\":\"{}\",\"arguments\":{}}}}}\n",
                           tool, arguments),
               tool);
}

double ServerSession::request(std::string_view method) {
  return timed(fmt::format("{{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"{}\"}}\n", method), method);
}

double ServerSession::timed(const std::string& line, std::string_view what) {
  const auto start = std::chrono::steady_clock::now();
  send(line);
  const std::string answer = receive();
  const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
  if (isFailure(answer)) throw Error(fmt::format("{} failed: {}", what, answer.substr(0, 200)));
  return took.count();
}

void ServerSession::send(std::string_view line) {
  if (::write(requests_.get(), line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
    throw FileError("write to", "the server", errno);
  }
}

std::string ServerSession::receive() {
  std::string line;
  std::array<char, 65536> buffer = {};
  while (!line.ends_with('\n')) {
    pollfd ready = {answers_.get(), POLLIN, 0};
    if (::poll(&ready, 1, static_cast<int>(patience.count())) <= 0) throw Error("The server doesn't answer.");
    const ssize_t got = ::read(answers_.get(), buffer.data(), buffer.size());
    if (got <= 0) throw Error("The server has ended without an answer.");
    line.append(buffer.data(), static_cast<std::size_t>(got));
  }
  line.pop_back();
  return line;
}

std::size_t ServerSession::peakMemory() const { return peakMemoryOf(std::to_string(process_.id())); }

}  // namespace vesk::bench
