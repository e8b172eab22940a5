#include "core/sync/GitCommand.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "core/base/Text.h"
#include "core/platform/Folder.h"
#include "core/sync/RemoteAddress.h"

namespace vesk {

namespace {

constexpr std::size_t keptOutput = 32 << 20;  // the names of a hundred thousand files
constexpr std::size_t keptErrors = 1 << 20;
constexpr std::size_t longestText = 8 << 10;  // of what an error shows

// The keys of assistants are none of git's business, nor of its hooks'. By GPG_TTY, a program that was started long ago
// would ask on this process's terminal. SSH_ASKPASS is for what the user starts: git would open its window for any
// login.
constexpr std::array<std::string_view, 5> withheld = {"ANTHROPIC_API_KEY", "ANTHROPIC_AUTH_TOKEN", "OPENAI_API_KEY",
                                                      "GPG_TTY", "SSH_ASKPASS"};

// Of git's own variables, those by which the user logs in, and says who they are. Others may lead it to another
// repository.
bool isOfUser(std::string_view variable) {
  constexpr std::array<std::string_view, 7> beginnings = {"GIT_SSH",     "GIT_SSL_",    "GIT_HTTP_",     "GIT_PROXY_",
                                                          "GIT_ASKPASS", "GIT_AUTHOR_", "GIT_COMMITTER_"};
  return std::ranges::any_of(beginnings, [&](std::string_view beginning) { return variable.starts_with(beginning); });
}

ProcessEnvironment gitEnvironment(std::string_view root) {
  ProcessEnvironment variables = ownEnvironment();
  std::erase_if(variables, [](const auto& variable) {
    return (variable.first.starts_with("GIT_") && !isOfUser(variable.first)) ||
           std::ranges::count(withheld, variable.first) > 0;
  });
  variables["PATH"] = "/opt/homebrew/bin:/usr/local/bin:/usr/bin:/bin";
  variables["LC_ALL"] = "C";
  variables["GIT_TERMINAL_PROMPT"] = "0";
  // Where the folder is no repository after all, one around it isn't meant.
  variables["GIT_CEILING_DIRECTORIES"] = root.rfind('/') == 0 ? "/" : parentPath(root);
  return variables;
}

// The end of a text that is too long: what went wrong stands there.
std::string shortened(std::string_view text) {
  if (text.size() <= longestText) return std::string(text);
  text.remove_prefix(text.size() - longestText);
  const std::size_t line = text.find('\n');
  return std::string("…\n").append(text.substr(line == std::string_view::npos ? 0 : line + 1));
}

// A line that was cut may hold the rest of an address whose password can't be told from other words any more.
std::string shown(std::string_view text, bool isCut) {
  if (isCut) text = text.substr(std::min(text.find('\n'), text.size()));
  return text::wellFormed(shortened(remoteAddress::withoutCredentials(text::trimWhitespace(text))));
}

}  // namespace

GitCommand::GitCommand(std::string root, GitProgram program)
    : root_(std::move(root)), program_(std::move(program)), environment_(gitEnvironment(root_)) {}

ProcessResult GitCommand::result(const std::vector<std::string>& arguments, Interruption interruption) const {
  ProcessRequest request{.executable = program_.executable,
                         .arguments = {"-C", root_},
                         .environment = environment_,
                         .endsWithUs = interruption == Interruption::allowed};
  request.arguments.insert(request.arguments.end(), arguments.begin(), arguments.end());
  return runProcess(request, {.time = program_.timeout, .output = keptOutput, .errors = keptErrors});
}

std::string GitCommand::run(const std::vector<std::string>& arguments) const {
  const ProcessResult result = this->result(arguments);
  if (!result.succeeded()) throw failure(result);
  if (result.isOutputCut) throw GitError::failed("Git lists more than Vesk can take in.");
  return text::wellFormed(result.output);
}

GitError GitCommand::failure(const ProcessResult& result) const {
  std::string said = shown(result.errors, result.areErrorsCut);
  if (said.empty()) said = shown(result.output, result.isOutputCut);
  if (result.timedOut) {
    const auto seconds = std::chrono::ceil<std::chrono::seconds>(program_.timeout).count();
    return GitError::failed(fmt::format("Git didn't finish within {} seconds and was stopped.{}{}", seconds,
                                        said.empty() ? "" : "\n", said));
  }
  if (!said.empty()) return GitError::failed(said);
  if (result.exit.signal != 0) return GitError::failed(fmt::format("Git was ended by signal {}.", result.exit.signal));
  return GitError::failed(fmt::format("Git failed with exit status {}.", result.exit.code));
}

}  // namespace vesk
