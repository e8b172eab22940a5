#pragma once

#include <chrono>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "core/assistant/AssistantProvider.h"
#include "core/assistant/AssistantRegistration.h"

namespace vesk::app {

// A program of the user's that can have the tool server.
struct AssistantClient {
  std::string_view id = {};  // as the user types it: "claude-code"
  std::string_view name = {};
  std::optional<AssistantProvider> provider = {};  // none of Claude Desktop, which is told through its settings file
  std::string_view nextStep = {};                  // for the user, once it is told of Vesk
};

std::span<const AssistantClient> assistantClients();

// Whether the user lets it connect, and what to say when not.
bool isAllowed(AssistantProvider provider);
std::string turnedOff(AssistantProvider provider);

// How a client stands to this Vesk.
struct Connection {
  enum class State {
    notInstalled,
    none,         // it knows nothing of Vesk
    other,        // it starts another vesk-mcp, or that with another support directory
    unreachable,  // it starts this one, and got no answer
    made,
  };
  State state = State::none;
  std::string command = {};  // what it starts
  bool operator==(const Connection&) const = default;
};

// Asks the client. Throws RegistrationError when it doesn't answer in time, or its settings can't be read.
Connection connectionOf(const AssistantClient& client, std::chrono::milliseconds time = std::chrono::seconds(30));

// Both throw RegistrationError, and FileError when the settings can't be written.
void connect(const AssistantClient& client);
void disconnect(const AssistantClient& client);

// What the user runs or pastes to do the same by hand.
std::string connectingByHand(const AssistantClient& client);
std::string disconnectingByHand(const AssistantClient& client);

}  // namespace vesk::app
