#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace vesk {

// The assistants that Vesk can run, in the order in which the user sees them: programs that the user has installed and
// signed in to.
enum class AssistantProvider { claude, codex };
inline constexpr std::array assistantProviders = {AssistantProvider::claude, AssistantProvider::codex};

struct AssistantProgram {
  std::string_view id;  // as it is stored
  std::string_view name;
  std::string_view logo;          // the name of its image
  std::string_view command;       // what a shell finds it by
  std::string_view loginCommand;  // what the user types to sign in
};

const AssistantProgram& program(AssistantProvider provider);
std::optional<AssistantProvider> assistantProviderWithID(std::string_view id);

// Whether an assistant can be asked.
enum class AssistantStatus { unknown, ready, notInstalled, notSignedIn, turnedOff };  // the last one by the user

}  // namespace vesk
