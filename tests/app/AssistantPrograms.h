#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tests/app/VeskProgram.h"
#include "tests/assistant/FakeAssistant.h"

namespace vesk::test {

// A user's home with Claude Code and Codex in it. They keep one tool server each, and know who is signed in.
class AssistantPrograms {
 public:
  AssistantPrograms() {
    install("claude", R"sh(
      echo "  Status: ✔ Connected"
      sed "s/^/  Command: /" "$c.server"
      cat "$c.variables")sh");
    install("codex", R"sh(
      printf '{"transport":{"command":"%s","env":{"VESK_SUPPORT_DIR":"%s"}}}' \
        "$(cat "$c.server")" "$(sed "s/.*=//" "$c.variables")")sh");
    signIn("claude"), signIn("codex");
  }

  // `showing` is what it does to show its server, whose path and variables stand in files beside "$c".
  void install(const std::string& command, std::string_view showing) const {
    fake.install(command, fmt::format(R"sh(
c=$HOME/{}
case "$1 $2" in
  "auth status" | "login status") [ -e "$c.login" ] ;;
  "mcp add")
    for last; do :; done
    echo "$last" >"$c.server"
    for word; do case "$word" in VESK_SUPPORT_DIR=*) echo "$word" ;; esac; done >"$c.variables" ;;
  "mcp get") [ -e "$c.server" ] || exit 1; {} ;;
  "mcp remove") rm "$c.server" ;;
esac)sh",
                                      command, showing));
  }
  void signIn(std::string_view command) const { fake.folder().write(fmt::format("home/{}.login", command), ""); }

  ProgramResult vesk(std::vector<std::string> arguments, int terminalColumns = 0) const {
    return test::vesk(std::move(arguments), {.environment = {{"HOME", fake.home()}, {"XDG_CONFIG_HOME", ""}},
                                             .terminalColumns = terminalColumns});
  }

  const FakeAssistant fake;
  const TemporaryFolder& folder = fake.folder();
};

}  // namespace vesk::test
