#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "core/toolserver/ToolCatalog.h"
#include "tests/toolserver/ServedVault.h"

namespace vesk {
namespace {

using namespace std::string_view_literals;
using test::repeated;
using test::ServedVault;

std::string failure(int code, std::string_view message, std::string_view id) {
  return fmt::format(R"({{"error":{{"code":{},"message":"{}"}},"id":{},"jsonrpc":"2.0"}})", code, message, id);
}

TEST(MCPServer, KeepsEveryID) {
  const ServedVault vault;
  for (const char* id : {"-1", "1.10", "9223372036854775808", "1E400", "null", R"("")", R"("a/b\n😀")", "[1]"}) {
    EXPECT_EQ(vault.handle(fmt::format(R"({{"jsonrpc":"2.0","id":{},"method":"ping"}})", id)),
              fmt::format(R"({{"id":{},"jsonrpc":"2.0","result":{{}}}})", id));
    EXPECT_EQ(vault.handle(fmt::format(R"({{"jsonrpc":"2.0","id":{},"method":"Ping"}})", id)),
              failure(-32601, "Method not found", id));
  }
}

TEST(MCPServer, TakesMessagesAsTheyCome) {
  const ServedVault vault;
  const auto check = [&](std::optional<std::string> answer, std::initializer_list<std::string_view> lines) {
    for (const std::string_view line : lines) EXPECT_EQ(vault.handle(line), answer) << line.substr(0, 60);
  };
  check(R"({"id":1,"jsonrpc":"2.0","result":{}})",
        {"\xEF\xBB\xBF{\"id\":1,\"method\":\"ping\"}\t\r", R"({"id":2,"id":1,"method":"x","method":"ping"})",
         R"({"id":1,"method":"ping","params":[1]})", R"({"id":1,"method":"ping","params":"x","more":{"deep":[[]]}})"});
  check(R"({"id":1,"jsonrpc":"2.0","result":{"content":[{"text":"Unknown tool ","type":"text"}],"isError":true}})",
        {R"({"id":1,"method":"tools/call"})", R"({"id":1,"method":"tools/call","params":["read_note"]})",
         R"({"id":1,"method":"tools/call","params":{"name":7,"arguments":[]}})"});
  check(failure(-32601, "Method not found", "1"), {R"({"id":1,"method":"notifications/initialized"})"});
  check(std::nullopt, {R"({"method":"ping"})", R"({"method":"tools/call","params":{"name":"list_notes"}})"});
  check(failure(-32700, "Parse error", "null"),
        {"", " ", "\r", "\0"sv, "{", "null", R"("ping")", R"([{"id":1,"method":"ping"}])", R"({"id":1})",
         R"({"id":1,"method":5})", R"({"method":["ping"]})", R"({"id":1,"method":"ping"}{"id":2})",
         "{\"id\":1,\"method\":\"p\xFFng\"}", R"({"id":1,"method":"ping","params":)" + std::string(1'000'000, '[')});
}

TEST(MCPServer, AgreesOnTheProtocol) {
  const ServedVault vault;
  const std::pair<const char*, const char*> cases[] = {
      {R"("2025-11-25")", "2025-11-25"}, {R"("2025-06-18")", "2025-06-18"}, {R"("2025-03-26")", "2025-03-26"},
      {R"("2024-11-05")", "2024-11-05"}, {R"("2026-01-01")", "2025-11-25"}, {"null", "2025-11-25"}};
  for (const auto& [wanted, version] : cases) {
    const auto answer =
        vault.handle(fmt::format(R"({{"id":1,"method":"initialize","params":{{"protocolVersion":{}}}}})", wanted));
    EXPECT_EQ(*Json::parse(*answer).find("result")->find("protocolVersion")->string(), version) << wanted;
  }
}

TEST(MCPServer, InstructsTheAssistantOnThisVault) {
  const ServedVault vault;
  const std::string usual = vault.server.instructions();
  const auto naming = [&](std::string_view places) {
    constexpr std::string_view usually = "Inbox, Projects, Areas, Resources, Archive";
    return std::string(usual).replace(usual.find(usually), usually.size(), places);
  };
  const auto organizedBy = [&](std::string_view json) {
    vault.folder.write(".vesk/organization.json", json);
    return vault.server.instructions();
  };
  EXPECT_EQ(organizedBy(R"({"method":"custom","places":[{"folder":"Zettel & Co","role":"Resources"},)"
                        R"({"folder":"Entrée","role":"Inbox"}]})"),
            naming("Zettel & Co, Entrée"));
  EXPECT_EQ(organizedBy(R"({"method":"custom","places":[]})"), naming(""));
  for (const char* broken : {"", "{", R"({"method":"none","places":[]})", R"({"method":"para"})"})
    EXPECT_EQ(organizedBy(broken), usual) << broken;

  // The first 8,000 of the rules' characters: of what a reader takes for one, of however many code points and bytes.
  const auto ruledBy = [&](std::string_view rules) {
    vault.folder.write("AGENTS.md", rules);
    return vault.server.instructions();
  };
  const std::string heading = usual + "\n\nThe user's rules for working in this vault:\n";
  EXPECT_EQ(ruledBy(""), heading);
  for (const char* character : {"a", "e\u0301", "👨‍👩‍👧", "\r\n"}) {
    EXPECT_EQ(ruledBy(repeated(character, 8'000)), heading + repeated(character, 8'000));
    EXPECT_EQ(ruledBy(repeated(character, 10'000)), heading + repeated(character, 8'000));
  }
  EXPECT_EQ(ruledBy("Caf\xE9"), usual);

  std::filesystem::remove_all(vault.folder.path());
  EXPECT_EQ(vault.server.instructions(), usual);
  AIAccess().save(vault.folder.supportDirectory());  // no vault at all
  EXPECT_EQ(vault.server.instructions(), usual);
}

TEST(ToolCatalog, IsInOrder) {
  std::set<std::string_view> names;
  for (const Tool& tool : toolCatalog::tools()) {
    SCOPED_TRACE(tool.name);
    EXPECT_TRUE(names.insert(tool.name).second);
    EXPECT_EQ(toolCatalog::find(tool.name), &tool);
    EXPECT_TRUE(tool.description.ends_with('.'));
    const Json entry = tool.json();
    const Json& schema = *entry.find("inputSchema");
    EXPECT_EQ(schema.find("properties")->object()->size(), tool.parameters.size());  // none twice
    for (const Json& required : *schema.find("required")->array())
      EXPECT_TRUE(schema.find("properties")->find(*required.string())) << *required.string();
    for (const Parameter& parameter : tool.parameters)
      EXPECT_TRUE(parameter.description.empty() || parameter.description.ends_with('.')) << parameter.name;
    EXPECT_EQ(entry.find("annotations")->compact(),
              fmt::format(R"({{"destructiveHint":{},"readOnlyHint":{}}})", tool.effect == Effect::destroys,
                          tool.effect == Effect::reads));
  }
}

TEST(MCPServer, RefusesWhatIsSwitchedOff) {
  const ServedVault vault;
  vault.folder.write("Inbox/Ana.md", "Ana\n");
  for (const Tool& tool : toolCatalog::tools()) {
    SCOPED_TRACE(tool.name);
    if (!tool.needs) continue;
    AIAccess access;
    for (const AccessSwitch& each : accessSwitches()) access.*each.value = each.value != tool.needs;
    vault.allow(access);
    const std::string refusal = vault.failure(tool.name);
    EXPECT_TRUE(refusal.ends_with(" turned off in Vesk.")) << refusal;
    access.*tool.needs = true;
    vault.allow(access);  // at once, with no restart
    EXPECT_EQ(vault.handle(fmt::format(R"({{"id":1,"method":"tools/call","params":{{"name":"{}"}}}})", tool.name))
                  ->find(refusal),
              std::string::npos);
  }
}

TEST(MCPServer, RefusesInOneSentence) {
  const ServedVault vault;
  const auto failures = [&] {
    std::set<std::string> sentences;
    for (const Tool& tool : toolCatalog::tools())
      if (tool.needs) sentences.insert(vault.failure(tool.name));
    return sentences;
  };
  EXPECT_EQ(vault.failure("rm -rf"), "Unknown tool rm -rf");
  vault.allowAll(ApprovalLevel::trusted);

  std::filesystem::remove_all(vault.folder.path());
  EXPECT_EQ(failures(), std::set{fmt::format("Can't open {}: No such file or directory.", vault.folder.path())});
  std::ofstream(vault.folder.path()) << "a file now";
  EXPECT_EQ(failures(), std::set{fmt::format("Can't open {}: Not a directory.", vault.folder.path())});

  AIAccess access = AIAccess::load(vault.folder.supportDirectory());
  access.vaultPath.reset();
  access.save(vault.folder.supportDirectory());
  EXPECT_EQ(failures(), std::set<std::string>{"No vault is open in Vesk."});
}

}  // namespace
}  // namespace vesk
