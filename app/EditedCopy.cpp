#include "app/EditedCopy.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <spawn.h>
#include <stdlib.h>
#include <unistd.h>

#include <fmt/format.h>
#include <sys/wait.h>

#include "app/Terminal.h"
#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/platform/Environment.h"
#include "core/platform/FileError.h"
#include "core/platform/Folder.h"

namespace vesk::app {

namespace {

std::string makeTemporaryFolder() {
  const std::string directory = environment::supportDirectory();
  makePrivateFolder(directory);
  std::string path = directory + "/edit-XXXXXX";
  if (!::mkdtemp(path.data())) throw FileError("make a folder in", directory, errno);
  return path;
}

std::string editorCommand() {
  for (const char* variable : {"VISUAL", "EDITOR"})
    if (auto command = environment::value(variable)) return *std::move(command);
  throw Error("Say which editor to use: set VISUAL or EDITOR, as in EDITOR=nano.");
}

// What the terminal sends when the user interrupts is the editor's alone, as it would end this program, too.
class IgnoredInterrupts {
 public:
  IgnoredInterrupts() : interrupt_(std::signal(SIGINT, SIG_IGN)), quit_(std::signal(SIGQUIT, SIG_IGN)) {}
  ~IgnoredInterrupts() {
    std::signal(SIGINT, interrupt_);
    std::signal(SIGQUIT, quit_);
  }
  IgnoredInterrupts(const IgnoredInterrupts&) = delete;
  IgnoredInterrupts& operator=(const IgnoredInterrupts&) = delete;

 private:
  using Handler = void (*)(int);
  Handler interrupt_;
  Handler quit_;
};

// The command is the user's own and may have arguments and quotes: like other programs, we have the shell read it.
pid_t startEditor(std::string command, std::string path) {
  command += " \"$1\"";
  std::string shell = "/bin/sh";
  std::string option = "-c";
  char* arguments[] = {shell.data(), option.data(), command.data(), shell.data(), path.data(), nullptr};
  sigset_t defaults;
  sigemptyset(&defaults);
  for (const int number : {SIGINT, SIGQUIT, SIGXFSZ}) sigaddset(&defaults, number);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setsigdefault(&attributes, &defaults);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  pid_t id = -1;
  const int failure = ::posix_spawn(&id, shell.c_str(), nullptr, &attributes, arguments, environ);
  posix_spawnattr_destroy(&attributes);
  if (failure != 0) throw FileError("start", shell, failure);
  return id;
}

void waitForEditor(pid_t id) {
  int status = 0;
  while (::waitpid(id, &status, 0) < 0)
    if (errno != EINTR) throw FileError("wait for", "the editor", errno);
  if (WIFSIGNALED(status)) throw Error(fmt::format("The editor was ended by signal {}.", WTERMSIG(status)));
  if (WEXITSTATUS(status) != 0) throw Error(fmt::format("The editor ended with status {}.", WEXITSTATUS(status)));
}

}  // namespace

EditedCopy::EditedCopy(std::string_view text, const std::string& name)
    : editor_(editorCommand()), text_(text), folder_(makeTemporaryFolder()), path_(joinPath(folder_, name)) {
  constexpr std::uint32_t usersAlone = 0600;
  Folder::open(folder_).createFile(name, text, usersAlone);
}

std::string EditedCopy::edit() const {
  flush();  // what was said before comes first
  const IgnoredInterrupts ignored;
  waitForEditor(startEditor(editor_, path_));
  std::string text = read();
  if (!text::isValidUtf8(text)) throw Error("What the editor wrote isn't UTF-8.");
  return text;
}

void EditedCopy::discard() const { std::filesystem::remove_all(folder_); }

bool EditedCopy::discardUnchanged() const {
  if (read() != text_) return false;
  discard();
  return true;
}

// Anew by its name, as many editors put another file in its place.
std::string EditedCopy::read() const { return Folder::open(folder_).read(lastComponent(path_)); }

}  // namespace vesk::app
