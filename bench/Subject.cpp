#include "bench/Subject.h"

#include <filesystem>
#include <fstream>
#include <utility>

#include <fmt/format.h>

#include "bench/Process.h"
#include "bench/Stream.h"
#include "bench/generator/Random.h"
#include "core/base/Error.h"
#include "core/base/Json.h"
#include "core/sync/GitSync.h"

namespace vesk::bench {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t nodesOf5MB = 20'000;

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

std::string randomLine(Random& random) {
  static constexpr std::string_view words[] = {"the",   "of",     "and",    "to",     "garden",  "terrace", "stone",
                                               "water", "winter", "budget", "client", "project", "meeting", "letter"};
  static constexpr std::string_view beginnings[] = {"", "", "", "- ", "- [ ] ", "## "};
  std::string line(random.pick(beginnings));
  for (std::size_t count = random.between(1, random.percent(50) ? 8 : 30); count > 0; --count) {
    line.append(random.pick(words)).append(count > 1 ? " " : ".");
  }
  return line;
}

// Of as many lines; a third of them are empty, as in notes.
std::string randomText(Random& random, std::size_t lines) {
  std::string text;
  for (; lines > 0; --lines) {
    if (!random.percent(33)) text += randomLine(random);
    text += '\n';
  }
  text.pop_back();  // another line would follow
  return text;
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
  Random random(2000);
  for (const std::string& path : unlikeTexts()) std::ofstream(path) << randomText(random, 2000);
}

std::vector<std::string> Subject::unlikeTexts() const { return {support_ + "/old.md", support_ + "/new.md"}; }

std::string Subject::canvas(std::size_t nodes) const {
  const std::string path = fmt::format("{}/{}.canvas", support_, nodes);
  if (!fs::exists(path)) std::ofstream(path) << canvasText(nodes);
  return path;
}

std::string Subject::changeSet(std::size_t nodes, Links links) const {
  const std::string path =
      fmt::format("{}/{}-{}.json", support_, links == Links::forward ? "forward" : "anywhere", nodes);
  if (!fs::exists(path)) std::ofstream(path) << changeSetText(nodes, links);
  return path;
}

std::string Subject::stream() const {
  constexpr std::size_t lines = 720'000;
  const std::string path = support_ + "/stream.jsonl";
  if (!fs::exists(path)) std::ofstream(path) << streamText(lines);
  return path;
}

std::string Subject::mails(std::string_view which) const { return fs::path(vault_).parent_path() / "mails" / which; }

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

ServerSession& Subject::smallerServer() {
  if (smallerServer_) return *smallerServer_;
  const std::string support = support_ + "/smaller";
  fs::create_directory(support);
  std::ofstream(support + "/ai-access.json") << Json(Json::Object{{"vaultPath", smaller_}}).pretty();
  Command command = program("vesk-mcp");
  command.environment = {"VESK_SUPPORT_DIR=" + support};
  return smallerServer_.emplace(command);
}

ServerSession& Subject::changingServer() {
  if (changingServer_) return *changingServer_;
  const std::string support = support_ + "/changing";
  const std::string vault = support + "/vault";
  fs::create_directory(support);
  fs::copy(vault_, vault, fs::copy_options::recursive | fs::copy_options::create_hard_links);
  Json access;
  access["vaultPath"] = vault;
  access["approval"] = "trusted";
  for (const char* allowed : {"canEditNotes", "canManageTasks", "canFile"}) access[allowed] = true;
  std::ofstream(support + "/ai-access.json") << access.pretty();
  Command command = program("vesk-mcp");
  command.environment = {"VESK_SUPPORT_DIR=" + support};
  return changingServer_.emplace(command);
}

std::string Subject::longNoteFolder() const {
  const std::string folder = support_ + "/long";
  if (!fs::create_directory(folder)) return folder;
  std::ofstream note(folder + "/Long.md");
  Random random(100'000);
  for (int line = 0; line < 100'000; ++line) note << (line % 10 == 0 ? "- [ ] " : "") << randomLine(random) << '\n';
  return folder;
}

std::string Subject::syncedVault() const {
  const std::string folder = support_ + "/synced";
  if (!fs::create_directory(folder)) return folder;
  Random random(100);
  for (int note = 0; note < 100; ++note)
    std::ofstream(fmt::format("{}/{}.md", folder, note)) << randomLine(random) << '\n';
  millisecondsOf({.arguments = {"git", "init", "-q", "--bare", "-b", "main", folder + ".git"}});
  const GitSync sync(folder);
  sync.connect(folder + ".git");
  sync.sync();
  return folder;
}

Command Subject::veskCommand(std::vector<std::string> arguments) const {
  Command command = program("vesk", std::move(arguments));
  command.environment = serverCommand().environment;
  return command;
}

Command Subject::smallServerCommand() const {
  const std::string support = support_ + "/small";
  if (fs::create_directory(support)) {
    Json access;
    access["vaultPath"] = syncedVault();
    std::ofstream(support + "/ai-access.json") << access.pretty();
  }
  Command command = program("vesk-mcp");
  command.environment = {"VESK_SUPPORT_DIR=" + support};
  return command;
}

Command Subject::smallVeskCommand(std::vector<std::string> arguments) const {
  Command command = program("vesk", std::move(arguments));
  command.environment = smallServerCommand().environment;
  return command;
}

namespace probe {

Probe change(std::string_view name, std::string_view there, std::string_view back) {
  return [=, isThere = false](Subject& subject) mutable {
    isThere = !isThere;
    return subject.changingServer().call(name, isThere ? there : back);
  };
}

double readOneNote(Subject& subject) { return subject.changingServer().call("read_note", R"({"note":"Home"})"); }

Probe tool(std::string_view name, std::string_view arguments) {
  return [=](Subject& subject) { return subject.server().call(name, arguments); };
}

Probe toolOfSmaller(std::string_view name) {
  return [=](Subject& subject) { return subject.smallerServer().call(name, "{}"); };
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

Probe memoryAfter(int calls) {
  return [=](Subject& subject) {
    ServerSession server(subject.smallServerCommand());
    constexpr std::string_view tools[] = {"list_notes",  "list_tags",    "get_overview",       "list_tasks",
                                          "list_guides", "list_folders", "get_context_health", "get_context_map"};
    for (int call = 0; call < calls; ++call)
      server.call(tools[static_cast<std::size_t>(call) % std::size(tools)], "{}");
    return static_cast<double>(server.peakMemory()) / 1e6;
  };
}

Probe requests(std::string_view method) {
  return [=](Subject& subject) {
    double sum = 0;
    for (int i = 0; i < 100; ++i) sum += subject.server().request(method);
    return sum;
  };
}

// Ignore files above the vault are of no concern here, and cost the search time where there are any.
Probe textSearch(std::string_view word) {
  return [=](Subject& subject) {
    return millisecondsOf({.arguments = {"rg", "--no-ignore-parent", "-il", std::string(word), subject.vault()}});
  };
}

double readFloor(Subject& subject) { return millisecondsOf(subject.program("floor", {"read", subject.vault()})); }

double hello(Subject& subject) { return millisecondsOf(subject.program("hello")); }

double help(Subject& subject) { return millisecondsOf(subject.veskCommand({"--help"})); }

double smallStatus(Subject& subject) { return millisecondsOf(subject.smallVeskCommand({"status"})); }

Probe search(std::string_view word) {
  return [=](Subject& subject) { return millisecondsOf(subject.veskCommand({"search", std::string(word)})); };
}

Probe startAndSearch(std::string_view word) {
  return [arguments = fmt::format(R"({{"query":"{}"}})", word)](Subject& subject) {
    return subject.server().call("search_notes", arguments) + millisecondsOf(subject.veskCommand({"--version"}));
  };
}

double diff(Subject& subject) {
  const auto texts = subject.unlikeTexts();
  return millisecondsOf(subject.program("vesk-bench", {"diff", texts[0], texts[1]}));
}

double plainDiff(Subject& subject) {
  const auto texts = subject.unlikeTexts();
  return millisecondsOf({.arguments = {"diff", texts[0], texts[1]}, .status = 1});  // they differ
}

double idleSync(Subject& subject) {
  return millisecondsOf(subject.program("vesk-bench", {"sync", subject.syncedVault()}));
}

double gitByHand(Subject& subject) {
  constexpr const char* script =
      "cd \"$1\" && git add -A && git diff --cached --name-only && git symbolic-ref --short HEAD && "
      "git ls-remote --heads origin main && git pull -q --rebase origin main && git push -q -u origin HEAD";
  return millisecondsOf({.arguments = {"/bin/sh", "-c", script, "sh", subject.syncedVault()}});
}

double scanPerByte(Subject& subject) { return scanOf(subject, subject.vault()); }

double smallerScanPerByte(Subject& subject) { return scanOf(subject, subject.smaller()); }

double secondScan(Subject& subject) {
  return figure(outputOf(subject.program("vesk-bench", {"scan", subject.vault(), "--again"})), "ms");
}

double statFloor(Subject& subject) {
  return figure(outputOf(subject.program("floor", {"stat", subject.vault()})), "ms");
}

double taskUpdate(Subject& subject) {
  return figure(outputOf(subject.program("vesk-bench", {"task", subject.longNoteFolder(), "Long.md", "50000"})), "ms");
}

double plainRewrite(Subject& subject) {
  return figure(outputOf(subject.program("vesk-bench", {"rewrite", subject.longNoteFolder() + "/Long.md"})), "ms");
}

double noteMegabytes(Subject& subject) {
  return figure(outputOf(subject.program("floor", {"stat", subject.vault()})), "bytes") / 1e6;
}

double canvasRewrite(Subject& subject) {
  return figure(outputOf(subject.program("vesk-bench", {"canvas", subject.canvas(nodesOf5MB)})), "ms");
}

double canvasChange(Subject& subject) {
  const std::string changes = subject.changeSet(1000, Links::anywhere);
  return figure(outputOf(subject.program("vesk-bench", {"changes", subject.canvas(nodesOf5MB), changes})), "ms");
}

double jsonRewrite(Subject& subject) {
  return figure(outputOf(subject.program("json-floor", {"rewrite", subject.canvas(nodesOf5MB)})), "ms");
}

double jsonParse(Subject& subject) {
  return figure(outputOf(subject.program("json-floor", {"parse", subject.canvas(nodesOf5MB)})), "ms");
}

Probe layoutPerNode(std::size_t nodes, Links links) {
  return [=](Subject& subject) {
    const Command command =
        subject.program("vesk-bench", {"changes", subject.canvas(0), subject.changeSet(nodes, links)});
    return figure(outputOf(command), "ms") * 1e3 / static_cast<double>(nodes);
  };
}

double mimeParse(Subject& subject) {
  return figure(outputOf(subject.program("vesk-bench", {"mime", subject.mails("many")})), "ms");
}

double mimeFloor(Subject& subject) {
  return figure(outputOf(subject.program("mime-floor", {subject.mails("many")})), "ms");
}

double mimeMemory(Subject& subject) {
  return figure(outputOf(subject.program("vesk-bench", {"mime", subject.mails("large")})), "MB at most");
}

double mailMegabytes(Subject& subject) {
  return figure(outputOf(subject.program("vesk-bench", {"mime", subject.mails("large")})), "bytes,") / 1e6;
}

double relay(Subject& subject) { return millisecondsOf(subject.program("vesk-bench", {"relay", subject.stream()})); }

double pipe(Subject& subject) {
  return millisecondsOf({.arguments = {"sh", "-c", "cat \"$0\" | cat > /dev/null", subject.stream()}});
}

double canvasMemory(Subject& subject) {
  const fs::path canvas = subject.canvas(1'000'000);
  return figure(outputOf(subject.program("vesk-bench", {"open", canvas.parent_path(), canvas.filename()})), "MB");
}

double canvasMegabytes(Subject& subject) { return static_cast<double>(fs::file_size(subject.canvas(1'000'000))) / 1e6; }

}  // namespace probe

}  // namespace vesk::bench
