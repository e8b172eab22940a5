#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/platform/ChildProcess.h"

// The assistants are started by the user's login shell, so that they are found, and run, as in the user's terminal.
namespace vesk::assistantShell {

// What every script begins with: places where a shell that no terminal started may not look.
inline constexpr std::string_view pathLine =
    R"(export PATH="$HOME/.local/bin:/opt/homebrew/bin:/usr/local/bin:$PATH";)";

// By which an assistant would bill the user instead of using the program's login.
inline constexpr std::string_view keys[] = {"ANTHROPIC_API_KEY", "ANTHROPIC_AUTH_TOKEN", "OPENAI_API_KEY"};

// Runs the script in zsh, or in sh where there is none. `words` are its "$0" and "$@". The environment is passed on
// without the keys.
ProcessRequest request(std::string script, const ProcessEnvironment& environment,
                       const std::vector<std::string>& words = {});

}  // namespace vesk::assistantShell
