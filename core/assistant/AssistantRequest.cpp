#include "core/assistant/AssistantRequest.h"

#include <initializer_list>

#include "core/assistant/SystemPrompts.h"
#include "core/base/Json.h"
#include "core/base/Text.h"
#include "core/toolserver/ToolCatalog.h"

namespace vesk {

namespace {

using Arguments = std::vector<std::string>;

void add(Arguments& arguments, std::initializer_list<std::string_view> more) {
  arguments.insert(arguments.end(), more.begin(), more.end());
}

// The tools of the server by the names that Claude gives them, for one of its options.
template <typename Condition>
std::string claudeTools(Condition isWanted) {
  std::vector<std::string> names;
  for (const Tool& tool : toolCatalog::tools())
    if (isWanted(tool)) names.push_back(std::string("mcp__vesk__").append(tool.name));
  return text::join(names, ",");
}

bool isAny(const Tool&) { return true; }
bool isReading(const Tool& tool) { return tool.effect == Effect::reads; }
bool isChanging(const Tool& tool) { return !isReading(tool); }

std::string_view systemPrompt(AssistantMode mode) {
  return mode == AssistantMode::chat ? systemPrompts::chat : systemPrompts::meeting;
}

std::string claudeConfiguration(const AssistantRequest& request) {
  Json configuration;
  Json& server = configuration["mcpServers"]["vesk"];
  server["command"] = request.serverPath;
  server["args"] = Json::Array();
  if (request.serverSupportDirectory) server["env"]["VESK_SUPPORT_DIR"] = *request.serverSupportDirectory;
  return configuration.compact();
}

// What the mode allows. An empty word is a list of nothing: no tools of Claude's own, no settings.
Arguments claudePermissions(AssistantMode mode) {
  switch (mode) {
    case AssistantMode::chat:
      return {"--strict-mcp-config",
              "--tools",
              "",
              "--allowedTools",
              claudeTools(isAny),
              "--setting-sources",
              "",
              "--system-prompt",
              std::string(systemPrompt(mode))};
    case AssistantMode::meeting:
      return {"--strict-mcp-config",
              "--tools",
              "",
              "--allowedTools",
              claudeTools(isReading),
              "--disallowedTools",
              claudeTools(isChanging),
              "--setting-sources",
              "user",
              "--append-system-prompt",
              std::string(systemPrompt(mode))};
    case AssistantMode::approvedMeetingAction:
      return {"--setting-sources",      "user",
              "--permission-mode",      "bypassPermissions",
              "--disallowedTools",      "Bash,Write,Edit,NotebookEdit",
              "--append-system-prompt", std::string(systemPrompt(mode))};
  }
  return {};
}

// A string of TOML, whose escapes JSON has too.
std::string quoted(std::string_view text) { return Json(text).compact(); }

Arguments codexConfiguration(const AssistantRequest& request) {
  Arguments entries = {"mcp_servers.vesk.command=" + quoted(request.serverPath),
                       R"(mcp_servers.vesk.default_tools_approval_mode="approve")",
                       "features.shell_tool=false",
                       R"(web_search="disabled")",
                       R"(sandbox_mode="read-only")",
                       R"(approval_policy="never")"};
  if (request.serverSupportDirectory)
    entries.push_back("mcp_servers.vesk.env={VESK_SUPPORT_DIR=" + quoted(*request.serverSupportDirectory) + "}");
  return entries;
}

}  // namespace

// Codex has no option for a system prompt. A conversation that goes on has it already.
std::string AssistantRequest::input() const {
  if (provider == AssistantProvider::claude || sessionID) return prompt;
  return std::string(systemPrompt(mode)).append("\n\n").append(prompt);
}

Arguments AssistantRequest::claudeArguments() const {
  Arguments arguments = {
      "-p",           "--output-format",         "stream-json", "--verbose", "--include-partial-messages",
      "--mcp-config", claudeConfiguration(*this)};
  for (std::string& each : claudePermissions(mode)) arguments.push_back(std::move(each));
  if (sessionID) add(arguments, {"--resume", *sessionID});
  return arguments;
}

Arguments AssistantRequest::codexArguments() const {
  Arguments arguments = {"exec"};
  if (sessionID) add(arguments, {"resume"});
  add(arguments, {"--json", "--skip-git-repo-check"});
  for (const std::string& entry : codexConfiguration(*this)) add(arguments, {"-c", entry});
  if (sessionID) add(arguments, {*sessionID});
  add(arguments, {"-"});
  return arguments;
}

}  // namespace vesk
