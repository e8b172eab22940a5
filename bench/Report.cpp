// Measures Vesk beside programs that do the least the same work takes, and prints a table in Markdown. Only the ratios
// say something: what a millisecond is worth changes from machine to machine and from minute to minute.

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <map>
#include <signal.h>
#include <stdlib.h>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "bench/Comparison.h"
#include "bench/MailStoreSubject.h"
#include "bench/MailSyncSubject.h"
#include "bench/Subject.h"
#include "core/base/Error.h"
#include "core/platform/FileError.h"

namespace vesk::bench {

namespace {

namespace fs = std::filesystem;

struct Row {
  std::string_view name = {};
  std::string_view besideName = {};
  double limit = 0;             // of the ratio
  std::vector<int> sizes = {};  // notes of the vaults it is measured on: medium, large
  Probe measured = {};
  Probe beside = {};
  std::string_view unit = "ms";  // of both sides
};

constexpr int small = 1'000;
constexpr int medium = 10'000;
constexpr int large = 50'000;

const std::vector<Row>& rows() {
  // clang-format off
  static const std::vector<Row> table = {
      {"`search_notes`, a word in 1 of 1,000 notes", "`rg -il`", 1.0, {medium, large},
       probe::tool("search_notes", R"({"query":"quixotic"})"), probe::textSearch("quixotic")},
      {"`search_notes`, a word in 2 of 5 notes", "`rg -il`", 1.0, {medium, large},
       probe::tool("search_notes", R"({"query":"harbour"})"), probe::textSearch("harbour")},
      {"`read_note`", "`floor read`", 1.7, {medium, large},
       probe::tool("read_note", R"({"note":"Home"})"), probe::readFloor},
      {"`list_folders`", "`floor read`", 0.5, {medium, large},
       probe::tool("list_folders"), probe::readFloor},
      {"`get_organization`", "`floor read`", 0.5, {medium, large},
       probe::tool("get_organization"), probe::readFloor},
      {"`list_tasks`", "`floor read`", 1.7, {medium, large},
       probe::tool("list_tasks"), probe::readFloor},
      {"`list_diagrams`", "`floor read`", 0.5, {medium, large},
       probe::tool("list_diagrams"), probe::readFloor},
      {"`list_notes`", "`floor read`", 2.0, {medium},
       probe::tool("list_notes"), probe::readFloor},
      {"`list_tags`", "`floor read`", 2.0, {medium},
       probe::tool("list_tags"), probe::readFloor},
      {"`get_overview`", "`floor read`", 2.0, {medium},
       probe::tool("get_overview"), probe::readFloor},
      {"`list_collections`", "`floor read`", 2.0, {medium},
       probe::tool("list_collections"), probe::readFloor},
      {"`list_meetings`", "`floor read`", 2.0, {medium},
       probe::tool("list_meetings"), probe::readFloor},
      {"`get_context_map`", "`floor read`", 2.0, {medium},
       probe::tool("get_context_map"), probe::readFloor},
      {"`list_unprocessed_sources`", "`floor read`", 2.0, {medium},
       probe::tool("list_unprocessed_sources"), probe::readFloor},
      {"`list_proposals`", "`floor read`", 2.0, {medium},
       probe::tool("list_proposals"), probe::readFloor},
      {"`list_skills`", "`floor read`", 2.0, {medium},
       probe::tool("list_skills"), probe::readFloor},
      {"`list_guides`", "`floor read`", 2.0, {medium},
       probe::tool("list_guides"), probe::readFloor},
      {"`sync_status`", "`floor read`", 2.0, {medium},
       probe::tool("sync_status"), probe::readFloor},
      {"`read_diagram`", "`floor read`", 2.0, {medium},
       probe::tool("read_diagram", R"({"diagram":"Projects/house 63/board.canvas"})"), probe::readFloor},
      {"`get_project_context`", "`floor read`", 2.0, {medium},
       probe::tool("get_project_context", R"({"project":"Projects/house 63"})"), probe::readFloor},
      {"`run_query`", "`floor read`", 2.0, {medium},
       probe::tool("run_query", R"({"query":"tag: garden\nsort: created"})"), probe::readFloor},
      {"`get_context_health`", "`floor read`", 2.5, {medium, large},
       probe::tool("get_context_health"), probe::readFloor},
      {"`get_context_health`", "of a fifth of them", 5.5, {large},
       probe::tool("get_context_health"), probe::toolOfSmaller("get_context_health")},
      {"`get_connections`", "`floor read`", 2.5, {medium, large},
       probe::tool("get_connections"), probe::readFloor},
      {"`get_connections`", "of a fifth of them", 5.5, {large},
       probe::tool("get_connections"), probe::toolOfSmaller("get_connections")},
      {"100 `tools/list`", "100 `ping`", 3.0, {medium},
       probe::requests("tools/list"), probe::requests("ping")},
      {"peak memory of `vesk-mcp` after 10,000 calls", "after 100", 1.1, {medium},
       probe::memoryAfter(10'000), probe::memoryAfter(100), "MB"},
      {"`update_note`", "the same server's `read_note`", 1.2, {medium},
       probe::change("update_note", R"({"note":"Home","body":"There"})", R"({"note":"Home","body":"Back"})"),
       probe::readOneNote},
      {"`add_task`", "the same server's `read_note`", 1.2, {medium},
       probe::change("add_task", R"({"text":"One"})", R"({"text":"Another"})"), probe::readOneNote},
      {"`move_note`", "the same server's `read_note`", 1.2, {medium},
       probe::change("move_note", R"({"note":"Home","folder":"Archive"})", R"({"note":"Home","folder":"Areas"})"),
       probe::readOneNote},
      {"`update` of one task in 100,000 lines", "a plain read-and-rewrite of the file", 3.0, {medium},
       probe::taskUpdate, probe::plainRewrite},
      {"start, `initialize` and exit of `vesk-mcp`", "hello world", 1.2, {medium},
       probe::serverStart, probe::hello},
      {"`vesk --help`", "hello world", 2.0, {medium}, probe::help, probe::hello},
      {"`vesk status` of 100 notes", "hello world", 2.0, {medium}, probe::smallStatus, probe::hello},
      {"`vesk search`, a word in 1 of 1,000 notes", "the start of `vesk`, and `search_notes`", 1.2, {medium},
       probe::search("quixotic"), probe::startAndSearch("quixotic")},
      {"scan, per byte", "the scan of the next smaller vault", 1.15, {medium, large},
       probe::scanPerByte, probe::smallerScanPerByte, "ns"},
      {"second scan, nothing changed", "`floor stat`, both without their start", 1.5, {medium},
       probe::secondScan, probe::statFloor},
      {"peak memory of `vesk-mcp` over a session", "bytes of the notes", 1.6, {medium, large},
       probe::serverMemory, probe::noteMegabytes, "MB"},
      {"a sync with nothing to do", "its git commands in a shell", 1.3, {medium},
       probe::idleSync, probe::gitByHand},
      {"`vesk-bench diff`, two unlike 2,000-line texts", "`diff`", 1.0, {medium},
       probe::diff, probe::plainDiff},
      {"parse and write of a canvas of 5 MB", "the JSON library's own", 2.0, {medium},
       probe::canvasRewrite, probe::jsonRewrite},
      {"a canvas of 5 MB, 1,000 nodes and 2,000 connections added", "the JSON library's parse of it", 1.0, {medium},
       probe::canvasChange, probe::jsonParse},
      {"layout of 5,000 nodes, per node", "of 500 nodes", 1.5, {medium},
       probe::layoutPerNode(5000, Links::forward), probe::layoutPerNode(500, Links::forward), "µs"},
      {"layout of 5,000 nodes with circles, per node", "of 500 nodes", 3.0, {medium},
       probe::layoutPerNode(5000, Links::anywhere), probe::layoutPerNode(500, Links::anywhere), "µs"},
      {"peak memory of opening a canvas of 1,000,000 nodes", "bytes of the file", 10, {medium},
       probe::canvasMemory, probe::canvasMegabytes, "MB"},
      {"200 MB of an assistant's stream", "`cat` to `cat`", 2.0, {medium}, probe::relay, probe::pipe},
      {"`insert` of 10,000 parsed messages", "bare SQLite statements", 1.2, {medium},
       probe::mailInsert, probe::bareMailInsert},
      {"the newest 50 of 100,000 mails with a word", "the same SQL, bare", 1.1, {medium},
       probe::mailSearch, probe::bareMailSearch},
      {"`vesk-bench mime`, 10,000 messages", "GMime", 0.33, {medium},
       probe::mimeParse, probe::mimeFloor},
      {"peak memory of parsing a message of 50 MB", "its bytes", 2.5, {medium},
       probe::mimeMemory, probe::mailMegabytes, "MB"},
      {"first sync of 5,000 messages", "`mbsync`, without its fsync", 1.3, {medium},
       probe::firstMailSync, probe::mbsync},
      {"sync of mail with nothing new, 20 folders", "its commands, bare", 1.3, {medium},
       probe::idleMailSync, probe::bareMailCommands},
      {"from a mail's delivery to its row, with IDLE", "a second", 1.0, {medium},
       probe::mailArrival, probe::oneSecond},
  };
  // clang-format on
  return table;
}

struct Options {
  std::string vaults = {};  // the folder of the vaults, each named for the number of its notes
  std::string only = {};    // part of the names of the rows wanted
  bool quick = false;
};

// A row on one vault.
struct Result {
  const Row* row = nullptr;
  int size = 0;
  Comparison comparison = {};
  std::string failure = {};  // a sentence; empty when there is none
};

std::string title(const Result& result) { return fmt::format("{} ({} notes)", result.row->name, result.size); }

std::vector<Result> wanted(const Options& options) {
  std::vector<Result> results;
  for (const Row& row : rows()) {
    for (const int size : row.sizes) {
      const Result result = {.row = &row, .size = size};
      if (options.quick && size > medium) continue;
      if (title(result).find(options.only) != std::string::npos) results.push_back(result);
    }
  }
  return results;
}

// The support directories of the servers: gone with the object.
class SupportFolders {
 public:
  SupportFolders() {
    if (!::mkdtemp(base_.data())) throw FileError("make", base_, errno);
  }
  ~SupportFolders() {
    std::error_code ignored;
    fs::remove_all(base_, ignored);
  }
  SupportFolders(const SupportFolders&) = delete;
  SupportFolders& operator=(const SupportFolders&) = delete;

  std::string make(int size) const {
    const fs::path folder = fs::path(base_) / std::to_string(size);
    fs::create_directory(folder);
    return folder;
  }

 private:
  std::string base_ = fs::temp_directory_path() / "vesk-bench-XXXXXX";
};

std::string vaultOf(const Options& options, int size) {
  const fs::path vault = fs::absolute(options.vaults) / std::to_string(size);
  if (!fs::is_directory(vault)) throw Error(fmt::format("{} is not there; scripts/bench makes it.", vault.native()));
  return vault;
}

std::map<int, Subject> subjects(const Options& options, const SupportFolders& support) {
  const std::string programs = fs::read_symlink("/proc/self/exe").parent_path();
  std::map<int, Subject> result;
  for (const auto& [size, smaller] : {std::pair(medium, small), std::pair(large, medium)}) {
    if (options.quick && size > medium) continue;
    result.try_emplace(size, programs, vaultOf(options, size), vaultOf(options, smaller), support.make(size));
  }
  return result;
}

// A row that fails leaves the others be.
void measure(Result& result, Subject& subject, const Effort& effort) {
  if (!result.failure.empty()) return;
  try {
    compare([&] { return result.row->measured(subject); }, [&] { return result.row->beside(subject); }, effort,
            result.comparison);
  } catch (const std::exception& error) {
    result.failure = error.what();
  }
}

void print(const Result& result) {
  const Row& row = *result.row;
  if (!result.failure.empty()) {
    fmt::print("| {} | {} | – | – | {:.2f} | **failed** | – | – |\n", title(result), row.besideName, row.limit);
    return;
  }
  const std::vector<double> ratios = result.comparison.ratios();
  const auto [least, most] = std::minmax_element(ratios.begin(), ratios.end());
  const double ratio = median(ratios);
  fmt::print("| {} | {} | {:.2f} | {:.2f}–{:.2f} | {:.2f} | {} | {:.2f} {} | {:.2f} {} |\n", title(result),
             row.besideName, ratio, *least, *most, row.limit, ratio > row.limit ? "**OVER**" : "ok",
             median(result.comparison.measured), row.unit, median(result.comparison.beside), row.unit);
}

void print(const std::vector<Result>& results) {
  fmt::print("| what | beside | ratio | range | at most | | itself | beside it |\n");
  fmt::print("|---|---|--:|--:|--:|---|--:|--:|\n");
  for (const Result& result : results) print(result);
  for (const Result& result : results) {
    if (!result.failure.empty()) fmt::print("\n{}: {}\n", title(result), result.failure);
  }
}

// The whole list is gone through several times, so that a slow minute does not fall on one row alone.
bool report(const Options& options) {
  const int runs = options.quick ? 1 : 3;
  const Effort effort = options.quick ? Effort{.time = std::chrono::milliseconds(700)} : Effort{};
  const SupportFolders support;
  std::map<int, Subject> vaults = subjects(options, support);
  std::vector<Result> results = wanted(options);
  for (int run = 1; run <= runs; ++run) {
    for (Result& result : results) {
      fmt::print(stderr, "{}/{} {}\n", run, runs, title(result));
      measure(result, vaults.at(result.size), effort);
    }
  }
  print(results);
  return std::all_of(results.begin(), results.end(), [](const Result& result) { return result.failure.empty(); });
}

}  // namespace

}  // namespace vesk::bench

int main(int argc, char** argv) {
  vesk::bench::Options options;
  CLI::App app("Measures Vesk beside programs that do the least the same work takes.", "bench-report");
  app.add_option("VAULTS", options.vaults, "The folder with the vaults that scripts/bench makes")->required();
  app.add_flag("--quick", options.quick, "Fewer repetitions, and no vault of more than 10,000 notes");
  app.add_option("--only", options.only, "Only the rows whose name contains this text");
  CLI11_PARSE(app, argc, argv);

  ::signal(SIGPIPE, SIG_IGN);  // a server that has ended is a row that failed
  try {
    return vesk::bench::report(options) ? 0 : 1;
  } catch (const std::exception& error) {
    fmt::print(stderr, "bench-report: {}\n", error.what());
    return 1;
  }
}
