// Parts of Vesk by themselves: timed from within, with one line of figures a measurement, or for others to time.

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include "bench/Mime.h"
#include "bench/Process.h"
#include "bench/Stream.h"
#include "core/base/DiffLine.h"
#include "core/diagrams/DiagramFiles.h"
#include "core/platform/Fd.h"
#include "core/platform/FileError.h"
#include "core/sync/GitSync.h"
#include "core/tasks/TaskEdit.h"
#include "core/vault/Vault.h"

namespace vesk::bench {

namespace {

using Arguments = std::span<const std::string>;  // those after the verb

void printScan(const Vault& vault) {
  const auto start = std::chrono::steady_clock::now();
  const VaultSnapshot snapshot = vault.scan();
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
  std::size_t bytes = 0;
  for (const auto& note : snapshot.notes) bytes += note->body.size();
  fmt::print("{} notes, {} bytes, {:.3f} ms, {:.1f} MB/s\n", snapshot.notes.size(), bytes, took.count() * 1e3,
             static_cast<double>(bytes) / 1e6 / took.count());
}

// scan FOLDER [--again]
bool scan(Arguments arguments) {
  const bool again = arguments.size() == 2 && arguments[1] == "--again";
  if (arguments.size() != 1 && !again) return false;
  const Vault vault(std::filesystem::absolute(arguments[0]).native());
  printScan(vault);
  if (again) printScan(vault);
  return true;
}

// The bytes of a file, without copying them. They are there until the program ends.
std::string_view mapFile(const std::string& path) {
  const Fd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat attributes = {};
  if (!file || ::fstat(file.get(), &attributes) != 0) throw FileError("read", path, errno);
  const auto size = static_cast<std::size_t>(attributes.st_size);
  if (size == 0) return {};
  const void* bytes = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file.get(), 0);
  if (bytes == MAP_FAILED) throw FileError("read", path, errno);
  return {static_cast<const char*>(bytes), size};
}

std::string_view prefix(DiffLine::Kind kind) {
  if (kind == DiffLine::Kind::same) return "  ";
  return kind == DiffLine::Kind::removed ? "- " : "+ ";
}

void flush(std::string& output) {
  std::fwrite(output.data(), 1, output.size(), stdout);
  output.clear();
}

// diff OLD NEW
bool diff(Arguments arguments) {
  if (arguments.size() != 2) return false;
  std::string output;
  for (const DiffLine& line : DiffLine::compare(mapFile(arguments[0]), mapFile(arguments[1]))) {
    output.append(prefix(line.kind)).append(line.text).push_back('\n');
    if (output.size() >= 32 * 1024) flush(output);
  }
  flush(output);
  return true;
}

template <typename Step>
void printTimeOf(Step step) {
  const auto start = std::chrono::steady_clock::now();
  step();
  const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
  fmt::print("{:.3f} ms\n", took.count());
}

// task FOLDER NOTE LINE
bool changeTask(Arguments arguments) {
  if (arguments.size() != 3) return false;
  const Vault vault(std::filesystem::absolute(arguments[0]).native());
  const auto isWanted = [&](const TaskItem& task) { return std::to_string(task.line) == arguments[2]; };
  const auto tasks = vault.note(arguments[1])->tasks();
  const auto task = std::find_if(tasks.begin(), tasks.end(), isWanted);
  if (task == tasks.end()) throw Error(fmt::format("There is no task in line {}.", arguments[2]));
  const bool isDone = task->status == TaskStatus::done;
  printTimeOf([&] {
    update(vault, *task, [&](TaskEdit& edit) { edit.status = isDone ? TaskStatus::todo : TaskStatus::done; });
  });
  return true;
}

// rewrite FILE
bool rewrite(Arguments arguments) {
  if (arguments.size() != 1) return false;
  printTimeOf([&] {
    const Fd source(::open(arguments[0].c_str(), O_RDONLY | O_CLOEXEC));
    struct stat attributes = {};
    if (!source || ::fstat(source.get(), &attributes) != 0) throw FileError("read", arguments[0], errno);
    std::string text(static_cast<std::size_t>(attributes.st_size), '\0');
    if (::read(source.get(), text.data(), text.size()) < 0) throw FileError("read", arguments[0], errno);
    const Fd target(::open(arguments[0].c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC));
    if (!target || ::write(target.get(), text.data(), text.size()) < 0) throw FileError("write", arguments[0], errno);
    if (::fsync(target.get()) != 0) throw FileError("write", arguments[0], errno);
  });
  return true;
}

// canvas FILE
bool rewriteCanvas(Arguments arguments) {
  if (arguments.size() != 1) return false;
  const std::string text(mapFile(arguments[0]));
  std::string written;
  printTimeOf([&] { written = Diagram::parse(text).serialized(); });
  return true;
}

// changes FILE CHANGES
bool applyChanges(Arguments arguments) {
  if (arguments.size() != 2) return false;
  Diagram diagram = Diagram::parse(mapFile(arguments[0]));
  const Json changes = Json::parse(mapFile(arguments[1]));
  printTimeOf([&] { diagram.apply(changes); });
  return true;
}

// open FOLDER DIAGRAM
bool openDiagram(Arguments arguments) {
  if (arguments.size() != 2) return false;
  const Vault vault(std::filesystem::absolute(arguments[0]).native());
  const ReadDiagram read = readDiagram(vault, arguments[1]);
  fmt::print("{} nodes, {:.3f} MB\n", read.diagram.nodes.size(), static_cast<double>(peakMemoryOf("self")) / 1e6);
  return true;
}

// sync FOLDER
bool sync(Arguments arguments) {
  if (arguments.size() != 1) return false;
  const SyncResult done = GitSync(std::filesystem::absolute(arguments[0]).native()).sync();
  fmt::print("{} committed\n", done.committed);
  return true;
}

// relay FILE
bool relayStream(Arguments arguments) {
  if (arguments.size() != 1) return false;
  fmt::print("{} bytes of text\n", relay(arguments[0]));
  return true;
}

struct Verb {
  std::string_view name = {};
  std::string_view usage = {};
  bool (*run)(Arguments) = nullptr;  // false when the arguments are not as in `usage`
};

constexpr Verb verbs[] = {
    {"scan", "scan FOLDER [--again]    a scan of a vault, and a second one with nothing changed", scan},
    {"diff", "diff OLD NEW             the lines of two files, compared as for a proposed change", diff},
    {"task", "task FOLDER NOTE LINE    a task of a note marked as done, or as not", changeTask},
    {"rewrite", "rewrite FILE             a file read and written as it was, to the disk, the plain way", rewrite},
    {"canvas", "canvas FILE              a diagram read from its text and written again, without the disk",
     rewriteCanvas},
    {"changes", "changes FILE CHANGES     a change set applied to a diagram", applyChanges},
    {"sync", "sync FOLDER              a vault brought in step with its repository", sync},
    {"mime", "mime FOLDER              every message of a folder taken apart, and the most memory that took", mime},
    {"relay", "relay FILE               a stream that an assistant prints, read event by event", relayStream},
    {"open", "open FOLDER DIAGRAM      a diagram of a vault opened: the most memory that took", openDiagram},
};

bool run(const std::vector<std::string>& arguments) {
  if (arguments.empty()) return false;
  for (const Verb& verb : verbs) {
    if (verb.name == arguments.front()) return verb.run(Arguments(arguments).subspan(1));
  }
  return false;
}

void printUsage() {
  fmt::print(stderr, "Usage:\n");
  for (const Verb& verb : verbs) fmt::print(stderr, "  vesk-bench {}\n", verb.usage);
}

}  // namespace

}  // namespace vesk::bench

int main(int argc, char** argv) {
  try {
    if (vesk::bench::run({argv + 1, argv + argc})) return 0;
    vesk::bench::printUsage();
    return 2;
  } catch (const std::exception& error) {
    fmt::print(stderr, "vesk-bench: {}\n", error.what());
    return 1;
  }
}
