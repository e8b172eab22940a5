#include <fstream>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "core/base/Text.h"
#include "tests/support/RunProgram.h"
#include "tests/toolserver/ServedVault.h"

namespace vesk {
namespace {

using test::ServedVault;

test::ProgramResult runServer(std::string input, std::map<std::string, std::string> environment = {}) {
  return test::runProgram({VESK_BIN_DIR "/vesk-mcp"},
                          {.input = std::move(input), .environment = std::move(environment)});
}

// Written out for reading: a result's text as the JSON that it holds, and no times that differ between runs.
std::string readable(std::string_view answer) {
  Json json = Json::parse(answer);
  if (const Json* result = json.find("result"); result && result->find("content")) {
    Json& text = json["result"]["content"].array()->at(0)["text"];
    if (text.string()->starts_with('{')) text = Json::parse(*text.string());
  }
  return json.pretty();
}

// A recorded session holds a JSON object a line, {"send": …} for what the client sends (a string is sent as it stands)
// and {"expect": …} for an answer.
TEST(VeskMCP, PlaysTheFirstTools) {
  const ServedVault vault;
  vault.folder.write("AGENTS.md", "Answer in Portuguese.\n");
  vault.note(
      "Projects/Quinta/Plan.md",
      "---\ntitle: Plano da quinta\ntags: [quinta]\n---\nPlant the camellias first.\n\nSee [[Camellia]]. #spring\n",
      1'700'000'300);
  vault.note("Resources/Camellia.md", "# Camellia\nLikes shade. #plants\n", 1'700'000'200);
  vault.note("Inbox/Ideia.md", "Ask Ana about the 🌳 \"old\" oak.\n", 1'700'000'100);

  std::string input;
  std::vector<std::string> expected;
  std::ifstream session(VESK_SOURCE_DIR "/tests/toolserver/sessions/first-tools.jsonl");
  for (std::string line; std::getline(session, line);) {
    const Json step = Json::parse(line);
    if (const Json* sent = step.find("send")) input += (sent->string() ? *sent->string() : sent->compact()) + "\n";
    if (const Json* answer = step.find("expect")) expected.push_back(answer->pretty());
  }
  ASSERT_FALSE(expected.empty());
  const auto run = runServer(input);
  EXPECT_EQ(run.exitStatus, 0);
  EXPECT_EQ(run.errors, "");
  auto lines = text::split(run.output, '\n');
  EXPECT_EQ(lines.back(), "");
  lines.pop_back();
  ASSERT_EQ(lines.size(), expected.size());
  for (std::size_t i = 0; i < lines.size(); ++i) EXPECT_EQ(readable(lines[i]), expected[i]);
}

TEST(VeskMCP, FindsTheSupportDirectoryItself) {
  const test::TemporaryFolder folder;
  const std::string input = R"({"id":1,"method":"tools/call","params":{"name":"list_tags"}})";
  folder.write("A.md", "#found\n");
  AIAccess{.vaultPath = folder.path()}.save(folder.at("../data/Vesk"));
  EXPECT_NE(runServer(input).output.find("No vault is open"), std::string::npos);
  EXPECT_NE(runServer(input, {{"VESK_SUPPORT_DIR", ""}}).output.find("found"), std::string::npos);
}

}  // namespace
}  // namespace vesk
