#include "core/assistant/AssistantShell.h"

#include <unistd.h>
#include <utility>

namespace vesk::assistantShell {

ProcessRequest request(std::string script, const ProcessEnvironment& environment,
                       const std::vector<std::string>& words) {
  constexpr const char* zsh = "/bin/zsh";
  ProcessRequest request{.executable = ::access(zsh, X_OK) == 0 ? zsh : "/bin/sh",
                         .arguments = {"-lc", std::move(script)},
                         .environment = environment};
  request.arguments.insert(request.arguments.end(), words.begin(), words.end());
  for (const std::string_view key : keys)
    if (const auto variable = request.environment.find(key); variable != request.environment.end())
      request.environment.erase(variable);
  return request;
}

}  // namespace vesk::assistantShell
