#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/base/Error.h"
#include "core/base/Json.h"
#include "core/platform/ChildProcess.h"

namespace vesk {

// What an assistant is to start.
struct ToolServerEntry {
  std::string command = {};                          // the path of vesk-mcp
  std::optional<std::string> supportDirectory = {};  // for it; absent for the usual one
};

// Why an assistant couldn't be told of the tool server, or made to forget it.
class RegistrationError : public Error {
 public:
  using Error::Error;
};

// Claude Code, which keeps its tool servers itself and is asked with the command `claude`. It is found and run as the
// assistants are (AssistantShell). All but the questions throw RegistrationError.
namespace claudeCode {

bool isInstalled(const ProcessEnvironment& environment);
bool isRegistered(const ProcessEnvironment& environment);

// A server that is there by the name is replaced.
void add(const ToolServerEntry& entry, const ProcessEnvironment& environment);
void remove(const ProcessEnvironment& environment);

}  // namespace claudeCode

// The settings file of Claude Desktop. What isn't Vesk's in it is kept, though its keys may come in another order. A
// file that can't be read as a JSON object is left alone; RegistrationError says so.
class ClaudeDesktopConfig {
 public:
  static constexpr std::string_view serverName = "vesk";

  explicit ClaudeDesktopConfig(std::string path) : path_(std::move(path)) {}

  // The user's: "Claude/claude_desktop_config.json" in $XDG_CONFIG_HOME, or in ~/.config unless that is an absolute
  // path.
  static ClaudeDesktopConfig standard(std::string_view home, const std::optional<std::string>& configHome = {});

  const std::string& path() const { return path_; }

  // Whether Claude Desktop has been used here: its folder is there.
  bool isClientInstalled() const;

  // What it starts for Vesk now; nullopt when it knows nothing of Vesk. Throws RegistrationError.
  std::optional<std::string> installedCommand() const;

  // Both throw RegistrationError, and FileError when the file can't be written. A file that is missing is made.
  void install(const ToolServerEntry& entry) const;
  void remove() const;

  // The settings for the user to paste by hand.
  static std::string snippet(const ToolServerEntry& entry);

 private:
  Json read() const;
  void write(const Json& settings) const;

  std::string path_;
};

}  // namespace vesk
