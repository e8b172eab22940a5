#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "core/assistant/AssistantProvider.h"
#include "core/base/Error.h"
#include "core/base/Json.h"
#include "core/platform/ChildProcess.h"

namespace vesk {

// What an assistant is to start.
struct ToolServerEntry {
  std::string command = {};                          // the path of vesk-mcp
  std::optional<std::string> supportDirectory = {};  // for it; absent for the usual one
  bool operator==(const ToolServerEntry&) const = default;
};

// What an assistant knows of Vesk.
struct Registration {
  ToolServerEntry entry = {};
  std::optional<bool> isReached = {};  // whether it started the tool server just now and was answered, if it tried
  bool operator==(const Registration&) const = default;
};

// Why an assistant couldn't be told of the tool server, or made to forget it.
class RegistrationError : public Error {
 public:
  using Error::Error;
};

// Claude Code and Codex, which keep their tool servers themselves and are asked with their own commands. They are found
// and run as the assistants are (AssistantShell), in the user's home folder: a project's settings don't count there.
namespace assistantRegistration {

// Of the program, where it isn't the assistant's: "Claude Code".
std::string_view programName(AssistantProvider provider);

bool isInstalled(AssistantProvider provider, const ProcessEnvironment& environment,
                 std::chrono::milliseconds time = std::chrono::seconds(30));

// Nullopt when it knows nothing of Vesk, or isn't installed. RegistrationError when it doesn't answer in time.
std::optional<Registration> find(AssistantProvider provider, const ProcessEnvironment& environment,
                                 std::chrono::milliseconds time = std::chrono::seconds(30));

// Both throw RegistrationError. A server that is there by the name is replaced; to remove none is no failure with
// Codex.
void add(AssistantProvider provider, const ToolServerEntry& entry, const ProcessEnvironment& environment);
void remove(AssistantProvider provider, const ProcessEnvironment& environment);

}  // namespace assistantRegistration

// The settings file of Claude Desktop. What isn't Vesk's in it stays as it is written. A file that can't be read as a
// JSON object is left alone; RegistrationError says so.
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

  // What it starts for Vesk now; nullopt when it knows nothing of Vesk. Both throw RegistrationError.
  std::optional<ToolServerEntry> installed() const;
  std::optional<std::string> installedCommand() const;

  // Both throw RegistrationError, and FileError when the file can't be written. A file that is missing is made.
  void install(const ToolServerEntry& entry) const;
  void remove() const;

  // The settings for the user to paste by hand.
  static std::string snippet(const ToolServerEntry& entry);

 private:
  // The text of the file, and what it says.
  struct Settings {
    std::string text = {};
    Json json = Json::Object();
  };
  Settings read() const;
  void write(std::string_view text) const;

  std::string path_;
};

}  // namespace vesk
