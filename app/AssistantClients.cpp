#include "app/AssistantClients.h"

#include <filesystem>
#include <system_error>

#include <fmt/format.h>

#include "app/CurrentVault.h"
#include "app/ToolServer.h"
#include "core/platform/ChildProcess.h"
#include "core/platform/Environment.h"

namespace vesk::app {

namespace fs = std::filesystem;

namespace {

ClaudeDesktopConfig desktopConfig() {
  return ClaudeDesktopConfig::standard(environment::home(), environment::value("XDG_CONFIG_HOME"));
}

bool isInstalled(const AssistantClient& client, std::chrono::milliseconds time) {
  if (!client.provider) return desktopConfig().isClientInstalled();
  return assistantRegistration::isInstalled(*client.provider, ownEnvironment(), time);
}

std::optional<Registration> registrationOf(const AssistantClient& client, std::chrono::milliseconds time) {
  if (client.provider) return assistantRegistration::find(*client.provider, ownEnvironment(), time);
  const auto entry = desktopConfig().installed();
  return entry ? std::optional(Registration{.entry = *entry}) : std::nullopt;
}

bool isSamePlace(const std::string& one, const std::string& other) {
  std::error_code ignored;
  return one == other || fs::equivalent(one, other, ignored);
}

bool isSame(const ToolServerEntry& one, const ToolServerEntry& other) {
  return isSamePlace(one.command, other.command) &&
         isSamePlace(one.supportDirectory.value_or(usualSupportDirectory()),
                     other.supportDirectory.value_or(usualSupportDirectory()));
}

}  // namespace

bool isAllowed(AssistantProvider provider) {
  const AIAccess access = currentAccess();
  return provider == AssistantProvider::claude ? access.allowsClaude : access.allowsCodex;
}

std::string turnedOff(AssistantProvider provider) {
  return fmt::format("{0} is turned off. Turn it on with vesk access on allows{0}.", program(provider).name);
}

std::span<const AssistantClient> assistantClients() {
  static constexpr AssistantClient clients[] = {
      {.id = "claude-code",
       .name = "Claude Code",
       .provider = AssistantProvider::claude,
       .nextStep = "The next session of claude has Vesk's tools; /mcp shows them there."},
      {.id = "claude-desktop",
       .name = "Claude Desktop",
       .nextStep = "Quit Claude Desktop and start it again: then it has Vesk's tools."},
      {.id = "codex",
       .name = "Codex",
       .provider = AssistantProvider::codex,
       .nextStep = "The next session of codex has Vesk's tools; /mcp shows them there."},
  };
  return clients;
}

Connection connectionOf(const AssistantClient& client, std::chrono::milliseconds time) {
  using State = Connection::State;
  const auto registration = registrationOf(client, time);
  if (!registration) return {.state = isInstalled(client, time) ? State::none : State::notInstalled};
  const auto& [entry, isReached] = *registration;
  if (!isSame(entry, toolServerEntry())) return {.state = State::other, .command = entry.command};
  return {.state = isReached == false ? State::unreachable : State::made, .command = entry.command};
}

void connect(const AssistantClient& client) {
  if (!client.provider) return desktopConfig().install(toolServerEntry());
  assistantRegistration::add(*client.provider, toolServerEntry(), ownEnvironment());
}

void disconnect(const AssistantClient& client) {
  if (!client.provider) return desktopConfig().remove();
  assistantRegistration::remove(*client.provider, ownEnvironment());
}

std::string connectingByHand(const AssistantClient& client) {
  if (client.provider == AssistantProvider::claude) return fmt::format("Run:\n  {}\n", claudeCommand());
  if (client.provider == AssistantProvider::codex) return fmt::format("Run:\n  {}\n", codexCommand());
  return fmt::format("Put this into {}:\n{}\n", desktopConfig().path(),
                     ClaudeDesktopConfig::snippet(toolServerEntry()));
}

std::string disconnectingByHand(const AssistantClient& client) {
  if (client.provider == AssistantProvider::claude) return "Run:\n  claude mcp remove --scope user vesk\n";
  if (client.provider == AssistantProvider::codex) return "Run:\n  codex mcp remove vesk\n";
  return fmt::format("In {}, take out \"{}\" under \"mcpServers\".\n", desktopConfig().path(),
                     ClaudeDesktopConfig::serverName);
}

}  // namespace vesk::app
