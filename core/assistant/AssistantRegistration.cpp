#include "core/assistant/AssistantRegistration.h"

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "core/assistant/AssistantShell.h"
#include "core/assistant/JsonText.h"
#include "core/base/Text.h"
#include "core/platform/FileError.h"
#include "core/platform/FileLock.h"
#include "core/platform/Folder.h"

namespace vesk {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view directoryVariable = "VESK_SUPPORT_DIR";
constexpr std::string_view serversKey = "mcpServers";

// What `claude mcp get` shows: a line for each of its "Scope", "Status", "Command" …, and one for each variable.
Registration readClaude(std::string_view output) {
  Registration registration;
  for (const std::string_view line : text::split(output, '\n')) {
    const std::string_view words = text::trimWhitespace(line);
    const std::size_t end = words.find_first_of(":=");
    if (end == std::string_view::npos) continue;
    const std::string_view name = words.substr(0, end);
    const std::string_view value = text::trimWhitespace(words.substr(end + 1));
    if (name == "Command") registration.entry.command = text::wellFormed(value);
    if (name == directoryVariable) registration.entry.supportDirectory = text::wellFormed(value);
    if (name == "Status" && value.ends_with("Connected")) registration.isReached = true;
    if (name == "Status" && value.find("Failed") != std::string_view::npos) registration.isReached = false;
  }
  return registration;
}

std::string stringAt(const Json* json, std::string_view key) {
  const Json* value = json ? json->find(key) : nullptr;
  return value && value->string() ? *value->string() : "";
}

ToolServerEntry entryOf(const Json* server) {
  ToolServerEntry entry{.command = stringAt(server, "command")};
  const std::string directory = stringAt(server ? server->find("env") : nullptr, directoryVariable);
  if (!directory.empty()) entry.supportDirectory = directory;
  return entry;
}

// What `codex mcp get --json` prints. A server that is switched off is never reached.
Registration readCodex(std::string_view output) {
  try {
    const Json server = Json::parse(output);
    Registration registration{.entry = entryOf(server.find("transport"))};
    const Json* enabled = server.find("enabled");
    if (enabled && enabled->boolean() == false) registration.isReached = false;
    return registration;
  } catch (const JsonError&) {
    return {};  // it knows of something by this name
  }
}

// The commands that a program has for it, for a shell that sees $VESK_MCP and $VESK_SUPPORT_DIR. The name stands before
// an option for variables, which would take it for one of its values.
struct Commands {
  std::string_view name;
  std::string_view program;
  std::string_view add;
  std::string_view addWithDirectory;
  std::string_view remove;
  std::string_view get;
  Registration (*read)(std::string_view output);
  bool replaces;  // whether adding a name that is taken replaces what it stands for, instead of failing
};

const Commands& commandsOf(AssistantProvider provider) {
  static constexpr Commands claude = {
      .name = "Claude Code",
      .program = "claude",
      .add = R"(claude mcp add --scope user vesk -- "$VESK_MCP")",
      .addWithDirectory = R"(claude mcp add --scope user vesk -e "VESK_SUPPORT_DIR=$VESK_SUPPORT_DIR" -- "$VESK_MCP")",
      .remove = "claude mcp remove --scope user vesk",
      .get = "claude mcp get vesk",
      .read = readClaude,
      .replaces = false};
  static constexpr Commands codex = {
      .name = "Codex",
      .program = "codex",
      .add = R"(codex mcp add vesk -- "$VESK_MCP")",
      .addWithDirectory = R"(codex mcp add vesk --env "VESK_SUPPORT_DIR=$VESK_SUPPORT_DIR" -- "$VESK_MCP")",
      .remove = "codex mcp remove vesk",
      .get = "codex mcp get vesk --json",
      .read = readCodex,
      .replaces = true};
  return provider == AssistantProvider::claude ? claude : codex;
}

constexpr std::chrono::seconds patience{60};  // with a program that is told something

ProcessResult run(std::string_view command, const ProcessEnvironment& environment,
                  std::chrono::milliseconds time = patience, const ToolServerEntry& entry = {}) {
  ProcessEnvironment variables = environment;
  variables["VESK_MCP"] = entry.command;
  if (entry.supportDirectory) variables[std::string(directoryVariable)] = *entry.supportDirectory;
  ProcessRequest request = assistantShell::request(fmt::format("{} {}", assistantShell::pathLine, command), variables);
  std::error_code ignored;
  if (const auto home = environment.find("HOME"); home != environment.end() && fs::is_directory(home->second, ignored))
    request.folder = home->second;
  return runProcess(request, {.time = time});
}

RegistrationError silence(const Commands& commands) {
  return RegistrationError(fmt::format("{} didn't answer.", commands.name));
}

void runOrThrow(const Commands& commands, std::string_view command, const ProcessEnvironment& environment,
                const ToolServerEntry& entry = {}) {
  constexpr int notFound = 127;
  const ProcessResult result = run(command, environment, patience, entry);
  if (result.succeeded()) return;
  if (result.timedOut) throw silence(commands);
  if (result.exit.code == notFound)
    throw RegistrationError(
        fmt::format("{} isn't installed: there is no command named {}.", commands.name, commands.program));
  const auto said = text::trimWhitespace(result.errors.empty() ? result.output : result.errors);
  throw RegistrationError(said.empty() ? fmt::format("{} exited with an error.", commands.name)
                                       : fmt::format("{} says: {}", commands.name, text::wellFormed(said)));
}

}  // namespace

namespace assistantRegistration {

std::string_view programName(AssistantProvider provider) { return commandsOf(provider).name; }

bool isInstalled(AssistantProvider provider, const ProcessEnvironment& environment, std::chrono::milliseconds time) {
  return run(fmt::format("command -v {}", commandsOf(provider).program), environment, time).succeeded();
}

std::optional<Registration> find(AssistantProvider provider, const ProcessEnvironment& environment,
                                 std::chrono::milliseconds time) {
  const Commands& commands = commandsOf(provider);
  const ProcessResult result = run(commands.get, environment, time);
  if (result.timedOut) throw silence(commands);
  if (!result.succeeded()) return std::nullopt;
  return commands.read(result.output);
}

void add(AssistantProvider provider, const ToolServerEntry& entry, const ProcessEnvironment& environment) {
  const Commands& commands = commandsOf(provider);
  if (!commands.replaces) run(commands.remove, environment);
  runOrThrow(commands, entry.supportDirectory ? commands.addWithDirectory : commands.add, environment, entry);
}

void remove(AssistantProvider provider, const ProcessEnvironment& environment) {
  const Commands& commands = commandsOf(provider);
  runOrThrow(commands, commands.remove, environment);
}

}  // namespace assistantRegistration

namespace {

RegistrationError unreadable() {
  return RegistrationError("Claude's settings file couldn't be read, so Vesk left it alone.");
}

Json serverOf(const ToolServerEntry& entry) {
  Json server;
  server["command"] = entry.command;
  if (entry.supportDirectory) server["env"][directoryVariable] = *entry.supportDirectory;
  return server;
}

// The tool servers in the settings; nullptr when there is no list of them.
const Json* serversIn(const Json& settings) {
  const Json* servers = settings.find(serversKey);
  if (!servers || servers->isNull()) return nullptr;
  if (!servers->object()) throw unreadable();
  return servers;
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

std::optional<ToolServerEntry> ClaudeDesktopConfig::installed() const {
  const Settings settings = read();
  const Json* servers = serversIn(settings.json);
  const Json* server = servers ? servers->find(serverName) : nullptr;
  return server ? std::optional(entryOf(server)) : std::nullopt;
}

std::optional<std::string> ClaudeDesktopConfig::installedCommand() const {
  const auto entry = installed();
  return entry && !entry->command.empty() ? std::optional(entry->command) : std::nullopt;
}

void ClaudeDesktopConfig::install(const ToolServerEntry& entry) const {
  makePrivateFolder(fs::path(path_).parent_path());
  const FileLock lock(fs::path(path_).parent_path());
  const Settings settings = read();
  serversIn(settings.json);  // throws for what is no list of them
  write(settings.text.empty() ? snippet(entry) + "\n"
                              : jsonText::with(settings.text, serversKey, serverName, serverOf(entry)));
}

void ClaudeDesktopConfig::remove() const {
  if (!isClientInstalled()) return;
  const FileLock lock(fs::path(path_).parent_path());
  const Settings settings = read();
  const Json* servers = serversIn(settings.json);
  if (!servers || !servers->find(serverName)) return;
  write(jsonText::without(settings.text, serversKey, serverName));
}

std::string ClaudeDesktopConfig::snippet(const ToolServerEntry& entry) {
  Json settings;
  settings[serversKey][serverName] = serverOf(entry);
  return settings.pretty();
}

ClaudeDesktopConfig::Settings ClaudeDesktopConfig::read() const {
  try {
    const fs::path file = target(path_);
    Settings settings{.text = Folder::open(file.parent_path()).read(file.filename().string())};
    settings.json = Json::parse(settings.text);
    if (settings.json.object()) return settings;
  } catch (const FileError& error) {
    if (error.isMissing()) return {};
  } catch (const JsonError&) {
  }
  throw unreadable();
}

void ClaudeDesktopConfig::write(std::string_view text) const {
  const fs::path file = target(path_);
  const Folder folder = Folder::open(file.parent_path());
  const std::string name = file.filename();
  // Its user has said so; to put another file in its place would be possible all the same.
  constexpr std::uint32_t anyWriting = 0222;
  if (const auto info = folder.info(name); info && info->kind == FileKind::file && !(info->mode & anyWriting))
    throw FileError("write", path_, EACCES);
  if (!folder.createFile(name, text, 0600)) folder.replaceFile(name, text);
}

}  // namespace vesk
