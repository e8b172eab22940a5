#include "core/assistant/AssistantProvider.h"

namespace vesk {

const AssistantProgram& program(AssistantProvider provider) {
  static constexpr AssistantProgram claude = {
      .id = "claude", .name = "Claude", .logo = "claude", .command = "claude", .loginCommand = "claude auth login"};
  static constexpr AssistantProgram codex = {
      .id = "codex", .name = "Codex", .logo = "codex", .command = "codex", .loginCommand = "codex login"};
  return provider == AssistantProvider::claude ? claude : codex;
}

std::optional<AssistantProvider> assistantProviderWithID(std::string_view id) {
  for (const AssistantProvider provider : assistantProviders)
    if (program(provider).id == id) return provider;
  return std::nullopt;
}

}  // namespace vesk
