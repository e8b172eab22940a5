// Prints the words that an assistant's program is started with, a NUL behind each: for scripts/try-assistants.
//
//   vesk_arguments claude|codex chat|meeting|approved SERVER [SUPPORT_DIRECTORY [SESSION]]

#include <cstdio>
#include <map>
#include <string>
#include <string_view>

#include "core/assistant/AssistantRequest.h"

int main(int argumentCount, char** arguments) {
  using namespace vesk;
  static const std::map<std::string_view, AssistantMode> modes = {
      {"chat", AssistantMode::chat},
      {"meeting", AssistantMode::meeting},
      {"approved", AssistantMode::approvedMeetingAction},
  };
  const auto provider = argumentCount > 3 ? assistantProviderWithID(arguments[1]) : std::nullopt;
  const auto mode = argumentCount > 3 ? modes.find(arguments[2]) : modes.end();
  if (!provider || mode == modes.end()) return 2;
  AssistantRequest request{.provider = *provider, .serverPath = arguments[3], .mode = mode->second};
  if (argumentCount > 4) request.serverSupportDirectory = arguments[4];
  if (argumentCount > 5) request.sessionID = arguments[5];
  for (const std::string& word :
       *provider == AssistantProvider::claude ? request.claudeArguments() : request.codexArguments())
    std::fwrite(word.c_str(), 1, word.size() + 1, stdout);
}
