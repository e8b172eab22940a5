#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bench/Canvas.h"
#include "bench/ServerSession.h"

namespace vesk::bench {

// A vault that is measured on, with what is needed to do so. The server is started when it is first wanted and runs on.
class Subject {
 public:
  // `programs` is the folder of our programs, `support` a folder of its own that exists and is empty; `smaller` is the
  // vault that some of it is measured beside. All absolute.
  Subject(std::string programs, std::string vault, std::string smaller, std::string support);

  const std::string& vault() const { return vault_; }
  const std::string& smaller() const { return smaller_; }

  Command program(std::string_view name, std::vector<std::string> arguments = {}) const;
  Command serverCommand() const;
  ServerSession& server();
  ServerSession& smallerServer();

  // A server that may change everything at once, over a copy of the vault whose files are links to the vault's own:
  // Vesk writes a file anew when it changes it.
  ServerSession& changingServer();

  // `vesk` over the vault.
  Command veskCommand(std::vector<std::string> arguments) const;

  // A server, and `vesk`, over a small vault.
  Command smallServerCommand() const;
  Command smallVeskCommand(std::vector<std::string> arguments) const;

  // A folder with a note "Long.md" of 100,000 lines, every tenth a task, made when it is first wanted.
  std::string longNoteFolder() const;
  // Files that are made when they are first wanted: a canvas of that many nodes, and a change set that adds so many.
  std::string canvas(std::size_t nodes) const;
  std::string changeSet(std::size_t nodes, Links links) const;
  // Likewise, what an assistant prints: 200 MB.
  std::string stream() const;
  // The folder of the messages that scripts/bench makes: "many" or "large".
  std::string mails(std::string_view which) const;
  // A small vault that is in step with a repository beside it, made when it is first wanted.
  std::string syncedVault() const;
  // Two texts of 2,000 lines that have little in common: their files.
  std::vector<std::string> unlikeTexts() const;

 private:
  std::string programs_;
  std::string vault_;
  std::string smaller_;
  std::string support_;
  std::optional<ServerSession> server_;
  std::optional<ServerSession> smallerServer_;
  std::optional<ServerSession> changingServer_;
};

// One way to measure: gives milliseconds, or what its row says.
using Probe = std::function<double(Subject&)>;

namespace probe {

// A call to a running server.
Probe tool(std::string_view name, std::string_view arguments = "{}");
// One over the smaller vault.
Probe toolOfSmaller(std::string_view name);
// A change that `there` makes and `back` unmakes, by turns.
Probe change(std::string_view name, std::string_view there, std::string_view back);
// On the server that changes notes.
double readOneNote(Subject& subject);
// A server from its start to its end, initialized once.
double serverStart(Subject& subject);
// The most memory (MB) of a server that is asked for everything once.
double serverMemory(Subject& subject);
// Of one over a small vault, after that many calls.
Probe memoryAfter(int calls);
// A hundred requests in a row.
Probe requests(std::string_view method);

// Whole processes.
Probe textSearch(std::string_view word);
double readFloor(Subject& subject);
double hello(Subject& subject);
double help(Subject& subject);         // of `vesk`
double smallStatus(Subject& subject);  // `vesk status` of a small vault
Probe search(std::string_view word);   // `vesk search`
// The call of a running server that finds the same, and the start of `vesk`.
Probe startAndSearch(std::string_view word);
double diff(Subject& subject);
double plainDiff(Subject& subject);

// By the programs' own clocks.
double scanPerByte(Subject& subject);         // nanoseconds
double smallerScanPerByte(Subject& subject);  // of the smaller vault
double secondScan(Subject& subject);          // nothing changed since the first
double statFloor(Subject& subject);

// A sync with nothing to do, and the git commands that it takes, in a shell.
double idleSync(Subject& subject);
double gitByHand(Subject& subject);

// Of a task in a long note, by the programs' own clocks.
double taskUpdate(Subject& subject);
double plainRewrite(Subject& subject);

double noteMegabytes(Subject& subject);

// Of diagrams, by the programs' own clocks. The canvas of 5 MB is the same for all.
double canvasRewrite(Subject& subject);
double canvasChange(Subject& subject);  // 1,000 nodes and 2,000 connections are added
double jsonRewrite(Subject& subject);   // by the library alone
double jsonParse(Subject& subject);
// Nodes that are added to nothing, with twice as many connections; microseconds a node.
Probe layoutPerNode(std::size_t nodes, Links links);

// Messages taken apart, by the programs' own clocks; and the most memory (MB) for one of 50 MB, and its size.
double mimeParse(Subject& subject);
double mimeFloor(Subject& subject);
double mimeMemory(Subject& subject);
double mailMegabytes(Subject& subject);

// Reading what an assistant prints, and the same bytes from one `cat` to another.
double relay(Subject& subject);
double pipe(Subject& subject);

// The most memory (MB) that opening a canvas of a million nodes takes, and the size of its file.
double canvasMemory(Subject& subject);
double canvasMegabytes(Subject& subject);

}  // namespace probe

}  // namespace vesk::bench
