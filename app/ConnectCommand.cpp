// vesk connect and vesk disconnect: the assistants that the user runs outside of Vesk, told of the tool server.

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/AssistantClients.h"
#include "app/Commands.h"
#include "app/CurrentVault.h"
#include "app/Table.h"
#include "app/Terminal.h"
#include "app/ToolServer.h"
#include "app/WaitingLine.h"
#include "core/base/Error.h"
#include "core/base/Json.h"

namespace vesk::app {

namespace {

using State = Connection::State;

void requireToolServer() {
  const std::string path = toolServerEntry().command;
  std::error_code ignored;
  if (!std::filesystem::exists(path, ignored))
    throw Error(fmt::format("There is no {}. Install Vesk anew: its two programs belong beside each other.", path));
}

// ---- What is connected

// A client and what it says; a failure to say it is a sentence.
struct Answer {
  const AssistantClient& client;
  Connection connection = {};
  std::string failure = {};
};

Answer ask(const AssistantClient& client) {
  try {
    return {client, connectionOf(client)};
  } catch (const Error& error) {
    return {client, {}, error.what()};
  }
}

// Side by side: a program may take seconds to answer.
std::vector<Answer> askAll() {
  std::vector<std::future<Answer>> asked;
  for (const AssistantClient& client : assistantClients())
    asked.push_back(std::async(std::launch::async, ask, std::cref(client)));
  std::vector<Answer> answers;
  for (std::future<Answer>& each : asked) answers.push_back(each.get());
  return answers;
}

struct Wording {
  std::string_view id;  // in JSON
  std::string_view text;
  Style style = Style::plain;
};

Wording wordingOf(const Answer& answer) {
  if (!answer.failure.empty()) return {"unknown", "unknown", Style::bad};
  switch (answer.connection.state) {
    case State::notInstalled: return {"not_installed", "not installed", Style::faint};
    case State::none: return {"not_connected", "not connected", Style::faint};
    case State::other: return {"other", "connected to another", Style::bad};
    case State::unreachable: return {"unreachable", "connected, no answer", Style::bad};
    case State::made: break;
  }
  return {"connected", "connected", Style::good};
}

std::string detailOf(const Answer& answer) {
  if (!answer.failure.empty()) return answer.failure;
  switch (answer.connection.state) {
    case State::notInstalled: return "";
    case State::none: return fmt::format("vesk connect {}", answer.client.id);
    case State::unreachable: return "vesk doctor";
    default: return answer.connection.command;
  }
}

Json toJson(const std::vector<Answer>& answers) {
  Json::Array clients;
  for (const Answer& answer : answers) {
    Json client;
    client["id"] = answer.client.id;
    client["name"] = answer.client.name;
    client["state"] = wordingOf(answer).id;
    client["command"] = answer.connection.command;
    client["failure"] = answer.failure;
    clients.push_back(std::move(client));
  }
  return Json::Object{{"tool_server", toolServerEntry().command}, {"clients", std::move(clients)}};
}

void show(bool asJson) {
  const Terminal terminal = Terminal::ofStandardOutput();
  if (terminal.width && !asJson) fmt::print(stderr, "Asking the assistants …\n");
  const std::vector<Answer> answers = askAll();
  if (asJson) return print("{}\n", toJson(answers).pretty());
  constexpr std::size_t detail = 2;
  Table table(detail);
  for (const Answer& answer : answers) {
    const Wording wording = wordingOf(answer);
    table.add({{std::string(answer.client.name), Style::strong},
               {std::string(wording.text), wording.style},
               {detailOf(answer), Style::plain}});
  }
  print("{}", table.text(terminal));
}

// ---- connect and disconnect

// Connects it where it isn't, and returns how it stood before. What goes wrong leaves the user with the way to do it by
// hand.
Connection connectUnlessMade(const AssistantClient& client) {
  try {
    const WaitingLine waiting(fmt::format("Connecting {} …", client.name));
    Connection before = connectionOf(client);
    const bool isThere = before.state != State::notInstalled || !client.provider;
    if (isThere && before.state != State::made) connect(client);
    return before;
  } catch (const Error&) {
    fmt::print(stderr, "By hand it goes like this. {}", safeLines(connectingByHand(client)));
    throw;
  }
}

Connection awaitedConnection(const AssistantClient& client) {
  const WaitingLine waiting(fmt::format("Asking {} …", client.name));
  return connectionOf(client);
}

void requireConnection(const AssistantClient& client) {
  const Connection now = awaitedConnection(client);
  if (now.state == State::made) return;
  if (now.state == State::unreachable)
    throw Error(fmt::format("{} was told of Vesk, but got no answer from {}. vesk doctor says more.", client.name,
                            now.command));
  throw Error(fmt::format("{} was told of Vesk, but {}. It may have settings of its own that come first.", client.name,
                          now.command.empty() ? "doesn't know it" : fmt::format("starts {}", now.command)));
}

void connectTo(const AssistantClient& client) {
  if (client.provider && !isAllowed(*client.provider)) throw Error(turnedOff(*client.provider));
  requireToolServer();
  const Connection before = connectUnlessMade(client);
  if (before.state == State::made) return print("{} is connected already.\n", client.name);
  if (before.state == State::notInstalled && client.provider)
    throw Error(fmt::format("{} isn't installed. Install it, then connect it.", client.name));
  requireConnection(client);
  print("{} is connected: it starts {}\n", client.name, safe(toolServerEntry().command));
  if (before.state == State::other && before.command != toolServerEntry().command)
    print("It started {} before.\n", safe(before.command));
  print("{}\n", before.state == State::notInstalled ? "It hasn't been used here so far, and will find Vesk when it is."
                                                    : client.nextStep);
  if (!currentAccess().vaultPath) print("No vault is open so far, so there is nothing to see: vesk open FOLDER\n");
}

void disconnectFrom(const AssistantClient& client) {
  try {
    const State before = awaitedConnection(client).state;
    if (before == State::none || before == State::notInstalled) return print("{} isn't connected.\n", client.name);
    disconnect(client);
  } catch (const Error&) {
    fmt::print(stderr, "By hand it goes like this. {}", safeLines(disconnectingByHand(client)));
    throw;
  }
  print("{} isn't connected any more. Sessions that are open keep Vesk's tools until they end.\n", client.name);
}

// ---- The commands

// Checked when it is typed.
const AssistantClient& clientNamed(std::string_view id) {
  return *std::ranges::find(assistantClients(), id, &AssistantClient::id);
}

CLI::Option* addClientOption(CLI::App& command, const std::shared_ptr<std::string>& client, const char* description) {
  std::vector<std::string> ids;
  for (const AssistantClient& each : assistantClients()) ids.emplace_back(each.id);
  return command.add_option("ASSISTANT", *client, description)->check(CLI::IsMember(ids));
}

}  // namespace

void addConnectCommand(CLI::App& program) {
  const auto client = std::make_shared<std::string>();
  const auto asJson = std::make_shared<bool>(false);
  CLI::App* command = program.add_subcommand("connect", "Give an assistant Vesk's tools, or show which have them.");
  addClientOption(*command, client, "claude-code, claude-desktop or codex; without one they are listed.");
  command->add_flag("--json", *asJson, "Write the list as JSON.");
  command->callback([client, asJson] { client->empty() ? show(*asJson) : connectTo(clientNamed(*client)); });
}

void addDisconnectCommand(CLI::App& program) {
  const auto client = std::make_shared<std::string>();
  CLI::App* command = program.add_subcommand("disconnect", "Take Vesk's tools from an assistant.");
  addClientOption(*command, client, "claude-code, claude-desktop or codex.")->required();
  command->callback([client] { disconnectFrom(clientNamed(*client)); });
}

}  // namespace vesk::app
