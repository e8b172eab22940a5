#include "bench/Subject.h"

#include <fstream>
#include <utility>

#include <fmt/format.h>

#include "core/base/Error.h"
#include "core/base/Json.h"

namespace vesk::bench {

namespace {

// The number before a unit in the last line of a program's figures: "10000 notes, 70868615 bytes, 24.976 ms".
double figure(std::string_view output, std::string_view unit) {
  const std::size_t end = output.rfind(fmt::format(" {}", unit));
  if (end == output.npos) throw Error(fmt::format("There are no {} in \"{}\".", unit, output));
  const std::size_t start = output.find_last_of(" \n", end - 1);
  return std::stod(std::string(output.substr(start + 1, end - start - 1)));
}

double scanOf(const Subject& subject, const std::string& vault) {
  const std::string figures = outputOf(subject.program("vesk-bench", {"scan", vault}));
  return figure(figures, "ms") * 1e6 / figure(figures, "bytes");
}

}  // namespace

Subject::Subject(std::string programs, std::string vault, std::string smaller, std::string support)
    : programs_(std::move(programs)),
      vault_(std::move(vault)),
      smaller_(std::move(smaller)),
      support_(std::move(support)) {
  Json access;
  access["vaultPath"] = vault_;
  std::ofstream(support_ + "/ai-access.json") << access.pretty();
}

Command Subject::program(std::string_view name, std::vector<std::string> arguments) const {
  arguments.insert(arguments.begin(), fmt::format("{}/{}", programs_, name));
  return {.arguments = std::move(arguments)};
}

Command Subject::serverCommand() const {
  Command command = program("vesk-mcp");
  command.environment.push_back("VESK_SUPPORT_DIR=" + support_);
  return command;
}

ServerSession& Subject::server() {
  if (!server_) server_.emplace(serverCommand());
  return *server_;
}

namespace probe {

Probe tool(std::string_view name, std::string_view arguments) {
  return [=](Subject& subject) { return subject.server().call(name, arguments); };
}

double serverStart(Subject& subject) { return millisecondsOf(subject.serverCommand(), initializeLine); }

double serverMemory(Subject& subject) {
  ServerSession server(subject.serverCommand());
  for (int round = 0; round < 2; ++round) {
    server.call("list_folders", "{}");
    server.call("get_organization", "{}");
    server.call("search_notes", R"({"query":"quixotic"})");
    server.call("search_notes", R"({"query":"harbour"})");
    server.call("read_note", R"({"note":"Home"})");
    server.call("list_tags", "{}");  // holds every note at once
  }
  return static_cast<double>(server.peakMemory()) / 1e6;
}

// Ignore files above the vault are of no concern here, and cost the search time where there are any.
Probe textSearch(std::string_view word) {
  return [=](Subject& subject) {
    return millisecondsOf({.arguments = {"rg", "--no-ignore-parent", "-il", std::string(word), subject.vault()}});
  };
}

double readFloor(Subject& subject) { return millisecondsOf(subject.program("floor", {"read", subject.vault()})); }

double hello(Subject& subject) { return millisecondsOf(subject.program("hello")); }

double scanPerByte(Subject& subject) { return scanOf(subject, subject.vault()); }

double smallerScanPerByte(Subject& subject) { return scanOf(subject, subject.smaller()); }

double secondScan(Subject& subject) {
  return figure(outputOf(subject.program("vesk-bench", {"scan", subject.vault(), "--again"})), "ms");
}

double statFloor(Subject& subject) {
  return figure(outputOf(subject.program("floor", {"stat", subject.vault()})), "ms");
}

double noteMegabytes(Subject& subject) {
  return figure(outputOf(subject.program("floor", {"stat", subject.vault()})), "bytes") / 1e6;
}

}  // namespace probe

}  // namespace vesk::bench
