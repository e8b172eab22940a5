#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "core/platform/ChildProcess.h"
#include "core/sync/GitError.h"

namespace vesk {

// Which git runs, and how long a single command of it may take.
struct GitProgram {
  std::string executable = "/usr/bin/git";
  std::chrono::milliseconds timeout = std::chrono::seconds(90);
};

// The git command-line tool in one folder, with the user's own settings and logins. It can't ask for anything, its
// words aren't translated, and no GIT_ variable that this process happens to have turns it to another repository.
class GitCommand {
 public:
  GitCommand(std::string root, GitProgram program);

  // Has ssh fail where it would ask for a password. The user's own core.sshCommand no longer counts then.
  void keepSshFromAsking() {
    if (!environment_.contains("GIT_SSH")) environment_.try_emplace("GIT_SSH_COMMAND", "ssh -oBatchMode=yes");
  }

  // Whether git ends with this process. Stopped while it changes the vault, it would leave it half changed.
  enum class Interruption { allowed, prevented };

  // Runs git with -C <root> and these arguments. FileError when it can't be started.
  ProcessResult result(const std::vector<std::string>& arguments,
                       Interruption interruption = Interruption::allowed) const;

  // The same, for its output. GitError::failed when it doesn't succeed, or prints more than can be kept.
  std::string run(const std::vector<std::string>& arguments) const;

  // What git said about a command that did not succeed.
  GitError failure(const ProcessResult& result) const;

 private:
  std::string root_;
  GitProgram program_;
  ProcessEnvironment environment_;
};

}  // namespace vesk
