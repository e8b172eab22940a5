// vesk import: conversations that were exported from ChatGPT or Claude, as notes.

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <unistd.h>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/Commands.h"
#include "app/CurrentVault.h"
#include "app/Terminal.h"
#include "core/assistant/ConversationImport.h"
#include "core/base/Calendar.h"
#include "core/base/Error.h"
#include "core/platform/Fd.h"
#include "core/platform/FileError.h"
#include "core/platform/Folder.h"

namespace vesk::app {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view exportName = "conversations.json";

// An exported file while it is read, in pieces.
class ExportFile {
 public:
  // `typed` is the file, or the folder that holds it.
  explicit ExportFile(const std::string& typed) : path_(fileAt(typed)), piece_(std::size_t{1} << 18) {
    file_ = Folder::open(path_.parent_path()).openFile(path_.filename().native());
    size_ = fileInfo(file_.get()).size;
  }

  std::string_view next() {
    ssize_t count = 0;
    do count = ::read(file_.get(), piece_.data(), piece_.size());
    while (count < 0 && errno == EINTR);
    if (count < 0) throw FileError("read", path_.native(), errno);
    const std::string_view piece(piece_.data(), static_cast<std::size_t>(count));
    constexpr std::string_view zipMark = "PK\x03\x04";
    if (read_ == 0 && piece.starts_with(zipMark))
      throw Error(fmt::format("This is a ZIP archive. Unpack it and import its {}.", exportName));
    read_ += piece.size();
    return piece;
  }

  std::uint64_t percent() const { return size_ == 0 ? 100 : 100 * read_ / size_; }

 private:
  static fs::path fileAt(const std::string& typed) {
    std::error_code ignored;
    const fs::path path = fs::is_directory(typed, ignored) ? fs::path(typed) / exportName : fs::path(typed);
    std::error_code failure;
    fs::path file = fs::canonical(path, failure);
    if (failure) throw FileError("read", path.native(), failure.value());
    return file;
  }

  fs::path path_;
  std::vector<char> piece_;
  Fd file_;
  std::uint64_t size_ = 0;
  std::uint64_t read_ = 0;
};

// A line that says how far the import is, for as long as it goes on.
class Progress {
 public:
  Progress() : isShown_(Terminal::ofStandardOutput().width.has_value()) {}
  ~Progress() { clear(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void show(const ConversationImport& done, std::uint64_t percent) {
    constexpr std::chrono::milliseconds pause{100};
    if (!isShown_ || Clock::now() - shownAt_ < pause) return;
    shownAt_ = Clock::now();
    std::fputs(fmt::format("\r{} % read, {} imported", percent, counted(done.imported, "chat")).c_str(), stdout);
    std::fflush(stdout);
  }

  void clear() {
    if (isShown_) std::fputs("\r\x1b[K", stdout);
    isShown_ = false;
  }

 private:
  using Clock = std::chrono::steady_clock;

  bool isShown_ = false;
  Clock::time_point shownAt_ = {};
};

void report(const ConversationImport& done) {
  print("Imported {}{}.\n", counted(done.imported, "chat"),
        done.alreadyThere > 0 ? fmt::format("; {} imported before", counted(done.alreadyThere, "chat")) : "");
  if (done.imported > 0) print("  {}\n", safe(done.folder));
  if (done.skipped > 0) print("Left out {}:\n", counted(done.skipped, "conversation"));
  for (const auto& [number, reason] : done.skips) print("  Number {} in the file: {}\n", number, safe(reason));
  if (done.skipped > done.skips.size()) print("  …\n");
}

void import(ChatProvider provider, const std::string& typed) {
  const Vault vault = currentVault();
  const Calendar calendar = Calendar::ofSystem();
  ExportFile file(typed);
  Progress progress;
  const auto onProgress = [&](const ConversationImport& done) { progress.show(done, file.percent()); };
  const ConversationImport done = importConversations(
      vault, provider, [&] { return file.next(); }, calendar, onProgress);
  progress.clear();
  report(done);
  if (done.isCutOff)
    throw Error("The file ends in the middle. What is whole in it was imported; export it again for the rest.");
}

}  // namespace

void addChatImportCommand(CLI::App& program) {
  CLI::App* command = program.add_subcommand("import", "Make notes of conversations exported from elsewhere.");
  command->require_subcommand(1);
  for (const ChatProvider provider : {ChatProvider::chatGPT, ChatProvider::claude}) {
    const auto file = std::make_shared<std::string>();
    CLI::App* source = command->add_subcommand(std::string(id(provider)),
                                               fmt::format("Conversations with {}, each once.", name(provider)));
    source->add_option("EXPORT", *file, fmt::format("The {}, or the unpacked folder it is in.", exportName))
        ->required();
    source->callback([provider, file] { import(provider, *file); });
  }
}

}  // namespace vesk::app
