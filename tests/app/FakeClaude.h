#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/app/VeskProgram.h"
#include "tests/assistant/FakeAssistant.h"

namespace vesk::test {

// An open vault, and a Claude that is signed in.
class WithClaude : public testing::Test {
 protected:
  WithClaude() {
    folder().write("vault/Inbox/Plan.md", "# Plan\n");
    vesk({"open", folder().at("vault")});
    claudeAnswers("say Yes.");
  }

  // How it answers from now on: shell that may `say` pieces of text and `use` tools, written as in JSON's strings, and
  // print any other event. What it was asked is in "$HOME/prompt", and how often in "$HOME/turns".
  void claudeAnswers(std::string_view script) const {
    fake_.install("claude",
                  "[ \"$1\" = auth ] && exit 0\n"
                  "echo x >>\"$HOME/turns\"; cat >\"$HOME/prompt\"\n"
                  "event() { printf '%s\\n' \"$1\"; }\n"
                  "streamed() { event '{\"type\":\"stream_event\",\"event\":{'\"$1\"'}}'; }\n"
                  "say() { streamed '\"type\":\"content_block_delta\",\"delta\":"
                  "{\"type\":\"text_delta\",\"text\":\"'\"$1\"'\"}'; }\n"
                  "use() { event '{\"type\":\"assistant\",\"message\":{\"content\":[{\"type\":\"tool_use\","
                  "\"name\":\"mcp__vesk__'$1'\",\"input\":{\"query\":\"'\"$2\"'\"}}]}}'\n"
                  "streamed '\"type\":\"content_block_start\",\"content_block\":{\"type\":\"text\"}'; }\n"
                  "event '{\"type\":\"system\",\"subtype\":\"init\",\"session_id\":\"s-1\"}'\n" +
                      std::string(script));
  }

  ProgramResult run(std::vector<std::string> arguments, std::string input = {}) const {
    return vesk(std::move(arguments), {.input = std::move(input), .environment = environment()});
  }

  // The program at a terminal. `typist` is shell that prints what is typed, and may `await 2 WORDS`: until they stand
  // in so many lines of the terminal. "$HOME" is the assistant's.
  std::string runAtTerminal(std::string_view command, std::string_view typist) const {
    const std::string script = fmt::format(
        "screen=\"$HOME/screen\"; : >\"$screen\"\n"
        "await() {{ until [ $(grep -c \"$2\" \"$screen\") -ge $1 ]; do sleep 0.05; done; }}\n"
        "({}) | script -qefc '{}/vesk {}' \"$screen\"",
        typist, VESK_BIN_DIR, command);
    return runProgram({"/bin/sh", "-c", script}, {.environment = environment()}).output;
  }

  std::map<std::string, std::string> environment() const { return {{"HOME", fake_.home()}, {"TZ", "UTC"}}; }
  const FakeAssistant& fake() const { return fake_; }
  const TemporaryFolder& folder() const { return fake_.folder(); }
  std::string prompt() const { return folder().read("home/prompt"); }

 private:
  FakeAssistant fake_;
};

}  // namespace vesk::test
