#include "core/assistant/AssistantRegistration.h"

#include <filesystem>
#include <utility>

#include <fmt/format.h>

#include "core/assistant/AssistantShell.h"
#include "core/base/Text.h"
#include "core/platform/FileError.h"
#include "core/platform/FileLock.h"
#include "core/platform/Folder.h"

namespace vesk {

namespace claudeCode {

namespace {

// Runs a command of the shell that sees $VESK_MCP and, where the entry has one, $VESK_SUPPORT_DIR.
ProcessResult run(std::string_view command, const ProcessEnvironment& environment, const ToolServerEntry& entry = {}) {
  ProcessEnvironment variables = environment;
  variables["VESK_MCP"] = entry.command;
  if (entry.supportDirectory) variables["VESK_SUPPORT_DIR"] = *entry.supportDirectory;
  return runProcess(assistantShell::request(fmt::format("{} {}", assistantShell::pathLine, command), variables));
}

void runOrThrow(std::string_view command, const ProcessEnvironment& environment, const ToolServerEntry& entry = {}) {
  constexpr int notFound = 127;
  const ProcessResult result = run(command, environment, entry);
  if (result.succeeded()) return;
  if (result.timedOut) throw RegistrationError("Claude Code didn't answer.");
  if (result.exit.code == notFound)
    throw RegistrationError("Claude Code isn't installed: there is no command named claude.");
  const auto said = text::trimWhitespace(result.errors.empty() ? result.output : result.errors);
  throw RegistrationError(said.empty() ? "Claude Code exited with an error."
                                       : fmt::format("Claude Code says: {}", text::wellFormed(said)));
}

constexpr std::string_view removal = "claude mcp remove --scope user vesk";

}  // namespace

bool isInstalled(const ProcessEnvironment& environment) { return run("command -v claude", environment).succeeded(); }

bool isRegistered(const ProcessEnvironment& environment) { return run("claude mcp get vesk", environment).succeeded(); }

// Claude Code refuses a name that is taken, and fails to remove one that isn't there. The name stands before "-e",
// which would take it for one of its values.
void add(const ToolServerEntry& entry, const ProcessEnvironment& environment) {
  run(removal, environment);
  runOrThrow(entry.supportDirectory
                 ? R"(claude mcp add --scope user vesk -e "VESK_SUPPORT_DIR=$VESK_SUPPORT_DIR" -- "$VESK_MCP")"
                 : R"(claude mcp add --scope user vesk -- "$VESK_MCP")",
             environment, entry);
}

void remove(const ProcessEnvironment& environment) { runOrThrow(removal, environment); }

}  // namespace claudeCode

namespace {

namespace fs = std::filesystem;

RegistrationError unreadable() {
  return RegistrationError("Claude's settings file couldn't be read, so Vesk left it alone.");
}

Json serverOf(const ToolServerEntry& entry) {
  Json server;
  server["command"] = entry.command;
  if (entry.supportDirectory) server["env"]["VESK_SUPPORT_DIR"] = *entry.supportDirectory;
  return server;
}

// The tool servers in the settings; none is an empty list of them.
Json::Object& serversIn(Json& settings) {
  Json& servers = settings["mcpServers"];
  if (servers.isNull()) servers = Json::Object();
  if (!servers.object()) throw unreadable();
  return *servers.object();
}

// Where a link that the user has put in the file's place leads.
fs::path target(const std::string& path) {
  std::error_code failure;
  const fs::path resolved = fs::weakly_canonical(path, failure);
  return failure ? fs::path(path) : resolved;
}

}  // namespace

ClaudeDesktopConfig ClaudeDesktopConfig::standard(std::string_view home, const std::optional<std::string>& configHome) {
  const bool isSet = configHome && configHome->starts_with('/');
  const std::string folder = isSet ? *configHome : joinPath(home, ".config");
  return ClaudeDesktopConfig(joinPath(folder, "Claude/claude_desktop_config.json"));
}

bool ClaudeDesktopConfig::isClientInstalled() const {
  std::error_code ignored;
  return fs::is_directory(fs::path(path_).parent_path(), ignored);
}

std::optional<std::string> ClaudeDesktopConfig::installedCommand() const {
  const Json settings = read();
  const Json* servers = settings.find("mcpServers");
  const Json* server = servers ? servers->find(serverName) : nullptr;
  const Json* command = server ? server->find("command") : nullptr;
  return command && command->string() ? std::optional(*command->string()) : std::nullopt;
}

void ClaudeDesktopConfig::install(const ToolServerEntry& entry) const {
  makePrivateFolder(fs::path(path_).parent_path());
  const FileLock lock(fs::path(path_).parent_path());
  Json settings = read();
  serversIn(settings).insert_or_assign(std::string(serverName), serverOf(entry));
  write(settings);
}

void ClaudeDesktopConfig::remove() const {
  if (!isClientInstalled()) return;
  const FileLock lock(fs::path(path_).parent_path());
  Json settings = read();
  const Json* servers = settings.find("mcpServers");
  if (!servers || !servers->find(serverName)) return;
  serversIn(settings).erase(std::string(serverName));
  write(settings);
}

std::string ClaudeDesktopConfig::snippet(const ToolServerEntry& entry) {
  Json settings;
  settings["mcpServers"][serverName] = serverOf(entry);
  return settings.pretty();
}

Json ClaudeDesktopConfig::read() const {
  try {
    const fs::path file = target(path_);
    Json settings = Json::parse(Folder::open(file.parent_path()).read(file.filename().string()));
    if (settings.object()) return settings;
  } catch (const FileError& error) {
    if (error.isMissing()) return Json::Object();
  } catch (const JsonError&) {
  }
  throw unreadable();
}

void ClaudeDesktopConfig::write(const Json& settings) const {
  const fs::path file = target(path_);
  const Folder folder = Folder::open(file.parent_path());
  const std::string text = settings.pretty() + "\n";
  const std::string name = file.filename();
  if (!folder.createFile(name, text, 0600)) folder.replaceFile(name, text);
}

}  // namespace vesk
