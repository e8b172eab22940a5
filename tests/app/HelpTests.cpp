#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>
#include <vector>
#include <wordexp.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/CommandTree.h"
#include "app/Completions.h"
#include "app/Examples.h"
#include "app/Manual.h"
#include "tests/support/RunProgram.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk::app {

namespace {

DescribedCommand described() { return describe(*makeProgram()); }

void expectExamples(const DescribedCommand& command) {
  EXPECT_FALSE(examplesOf(command.path).empty()) << command.path;
  for (const DescribedCommand& subcommand : command.subcommands) expectExamples(subcommand);
}

// The arguments of a shell's command line, without what is redirected.
std::vector<std::string> wordsOf(std::string_view line) {
  const std::string typed(line.substr(0, std::min(line.find(" > "), line.find(" < "))));
  wordexp_t words = {};
  if (::wordexp(typed.c_str(), &words, WRDE_NOCMD | WRDE_UNDEF) != 0) return {};
  std::vector<std::string> result(words.we_wordv, words.we_wordv + words.we_wordc);
  ::wordfree(&words);
  return result;
}

// The command that such arguments lead to, which is not run; or what is wrong with them.
std::string commandOf(std::vector<std::string> words) {
  struct Understood {};
  const auto program = makeProgram();
  program->parse_complete_callback([] { throw Understood(); });  // comes before the commands' own
  words.erase(words.begin());
  try {
    parse(*program, std::move(words));
  } catch (const CLI::ParseError& error) {
    return error.what();
  } catch (const Understood&) {
  }
  const CLI::App* command = program.get();
  while (!command->get_subcommands().empty()) command = command->get_subcommands().front();
  return pathOf(*command);
}

bool isInstalled(const std::string& program) {
  return std::system(("command -v " + program + " >/dev/null 2>&1").c_str()) == 0;
}

// What bash offers behind these words, the last of which is being typed.
std::string offeredByBash(const std::string& script, const std::string& words) {
  const std::string asked = script + "COMP_WORDS=(" + words +
                            ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\ncompopt() { COMPREPLY+=(FILES); }\n_vesk\n"
                            "echo \"${COMPREPLY[*]}\"\n";
  return test::runProgram({"/bin/bash", "--norc"}, {.input = asked}).output;
}

}  // namespace

TEST(Help, ShowsForEveryCommandExamplesThatItTakes) {
  expectExamples(described());
  for (const auto& [command, lines] : examples())
    for (const std::string_view line : lines) {
      const auto words = wordsOf(line);
      ASSERT_FALSE(words.empty()) << line;
      EXPECT_EQ(words.front(), "vesk") << line;
      EXPECT_THAT(commandOf(words), testing::StartsWith(std::string(command))) << line;
    }
}

// An assistant must never read such words as an answer of the tool server.
TEST(Help, OfTheToolServerIsGivenOnlyToWhoeverAsks) {
  const auto toolServer = [](const char* argument) { return test::runProgram({VESK_BIN_DIR "/vesk-mcp", argument}); };
  EXPECT_EQ(toolServer("--version").output, "vesk-mcp 0.1.0\n");
  EXPECT_THAT(toolServer("--help").output, testing::HasSubstr("vesk connect"));
  const test::ProgramResult refused = toolServer("serve");
  EXPECT_EQ(refused.exitStatus, 2);
  EXPECT_EQ(refused.output, "");
  EXPECT_THAT(refused.errors, testing::StartsWith("vesk-mcp: "));
}

TEST(Completions, AreOfferedByBash) {
  const std::string script = completions::forBash(described());
  const struct {
    const char* words;
    const char* offered;
  } cases[] = {
      {"vesk proj", "projects\n"},
      {"vesk meeting sto", "stop\n"},
      {"vesk notes --un", "--unsorted\n"},
      {"vesk access level t", "trusted\n"},
      {"vesk tasks --status d", "doing done\n"},
      {"vesk diagram svg plan -o ''", "FILES\n"},
      {"vesk notes --folder ''", "\n"},  // which folders there are isn't known
  };
  for (const auto& [words, offered] : cases) EXPECT_EQ(offeredByBash(script, words), offered) << words;
}

TEST(Completions, AreOfferedByFish) {
  if (!isInstalled("fish")) GTEST_SKIP() << "fish is not installed.";
  const test::TemporaryFolder folder;
  const auto offered = [&](const std::string& words) {
    const std::string asked = completions::forFish(described()) + "complete -C '" + words + "'\n";
    return test::runProgram({"/usr/bin/fish", "--no-config"},
                            {.input = asked, .environment = {{"HOME", folder.path()}}});
  };
  const auto subcommands = offered("vesk meeting sto");
  EXPECT_EQ(subcommands.output, "stop\tEnd the transcript and save it as a note.\n") << subcommands.errors;
  EXPECT_EQ(offered("vesk access level t").output, "trusted\n");
}

TEST(Completions, AreUnderstoodByZsh) {
  if (!isInstalled("zsh")) GTEST_SKIP() << "zsh is not installed.";
  const auto result = test::runProgram({"/usr/bin/zsh", "-f", "-n"}, {.input = completions::forZsh(described())});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.errors, "");
}

TEST(Manual, IsUnderstoodByMan) {
  if (!isInstalled("groff")) GTEST_SKIP() << "groff is not installed.";
  for (const std::string& page : {manual::veskPage(described(), "2026-11-22"), manual::toolServerPage("2026-11-22")}) {
    const auto result = test::runProgram({"/usr/bin/groff", "-man", "-Tutf8", "-Kutf8", "-ww", "-z"}, {.input = page});
    EXPECT_EQ(result.errors, "") << page.substr(0, 20);
  }
}

}  // namespace vesk::app
