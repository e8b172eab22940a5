#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/base/Text.h"
#include "core/library/Library.h"
#include "core/toolserver/AIActionLog.h"
#include "core/toolserver/Proposal.h"
#include "core/toolserver/ToolCatalog.h"
#include "core/toolserver/ToolResult.h"
#include "core/vault/Vault.h"
#include "tests/app/VeskProgram.h"
#include "tests/toolserver/ServedVault.h"

namespace vesk {
namespace {

using test::ServedVault;
using testing::AllOf;
using testing::Ge;
using testing::HasSubstr;
using testing::Le;

constexpr Language languages[] = {Language::english, Language::portuguese, Language::spanish};

long wordsIn(std::string_view text) {
  std::istringstream words{std::string(text)};
  return std::distance(std::istream_iterator<std::string>(words), {});
}

// What stands between backquotes.
std::set<std::string> codeIn(std::string_view text) {
  std::set<std::string> code;
  const auto pieces = text::split(text, '`');
  for (std::size_t i = 1; i < pieces.size(); i += 2) code.emplace(pieces[i]);
  return code;
}

TEST(Library, IsWholeInEveryLanguage) {
  for (const Language language : languages) {
    for (const Guide& guide : guides(language)) {
      SCOPED_TRACE(guide.title);
      EXPECT_TRUE(guide.text.starts_with(fmt::format("# {}\n\n", guide.title)));
      EXPECT_THAT(wordsIn(guide.text), AllOf(Ge(400), Le(800)));
    }
    for (const Skill& skill : builtInSkills(language)) {
      SCOPED_TRACE(skill.title);
      EXPECT_TRUE(skill.text.starts_with(fmt::format("# {}\n\n{}\n\n", skill.title, skill.description)));
      EXPECT_TRUE(skill.description.ends_with('.'));
      EXPECT_THAT(wordsIn(skill.text), AllOf(Ge(150), Le(350)));
    }
  }
}

// A tool or a command that was renamed makes these texts wrong.
TEST(Library, NamesOnlyWhatExists) {
  std::set<std::string_view> names;
  for (const Tool& tool : toolCatalog::tools()) {
    names.insert(tool.name);
    for (const Parameter& parameter : tool.parameters) names.insert(parameter.name);
  }
  std::set<std::string> commands;
  for (const Language language : languages) {
    for (const Skill& skill : builtInSkills(language))
      for (const std::string& code : codeIn(skill.text))
        EXPECT_TRUE(code.starts_with("[[") || names.contains(code) || code == "next_offset")
            << skill.id << ": " << code;
    for (const Guide& guide : guides(language))
      for (const std::string& code : codeIn(guide.text))
        if (code.starts_with("vesk ")) commands.emplace(text::split(code, ' ')[1]);
  }
  EXPECT_GT(commands.size(), 5U);
  for (const std::string& command : commands)
    EXPECT_THAT(test::vesk({command, "--help"}).output, HasSubstr("Usage: vesk " + command)) << command;
}

class LibraryTools : public testing::Test {
 protected:
  std::string listed(std::string_view key, std::string_view member, std::string_view tool,
                     std::string_view arguments = "{}") const {
    std::vector<std::string> found;
    const Json page = vault.json(tool, arguments);
    for (const Json& entry : *page.find(key)->array()) found.push_back(*entry.find(member)->string());
    return text::join(found, ", ");
  }

  std::string skill(std::string_view name) const {
    return *vault.json("read_skill", fmt::format(R"({{"skill":"{}"}})", name)).find("id")->string();
  }

  std::string support() const { return vault.folder.supportDirectory(); }

  ServedVault vault;
};

TEST_F(LibraryTools, TellTheMethodWhateverIsSwitchedOff) {
  AIAccess{.canRead = false, .canSearch = false}.save(support());  // and no vault is open
  EXPECT_EQ(listed("guides", "id", "list_guides"), "para, capture, weekly-review, layered-summaries");
  EXPECT_THAT(listed("guides", "title", "list_guides", R"({"language":"es"})"), HasSubstr("Las carpetas PARA"));
  EXPECT_THAT(vault.text("read_guide", R"({"guide":"capture","language":"en"})"), HasSubstr("# Capture\\n"));
  vault.server = MCPServer(support(), {.language = [] { return Language::portuguese; }});
  EXPECT_THAT(vault.text("read_guide", R"({"guide":"weekly-review"})"), HasSubstr("A revisão semanal"));
  for (const char* arguments : {"{}", R"({"guide":"Capture"})", R"({"guide":7})", R"({"guide":"../skills/en/x"})"})
    EXPECT_EQ(vault.failure("read_guide", arguments), "That guide doesn't exist. Use list_guides to see the options.");
  for (const char* arguments : {R"({"language":"fr"})", R"({"language":["en"]})"})
    EXPECT_EQ(vault.failure("list_guides", arguments), "The language must be en, pt or es.");
}

TEST_F(LibraryTools, GiveTheUsersSkillsFirst) {
  vault.folder.write("Resources/habilidades/Bread/Starter.md", "# Feed the starter\n\nEvery *morning*.\n\n1. Weigh\n");
  vault.folder.write("SKILLS/Weekly review.md", "---\ntitle: Weekly review\n---\nMine.\n");
  vault.folder.write("SKILLS/Long.md", test::repeated("A long line of a skill.\n", 5000));
  for (const char* none : {"Skills.md", "Projects/Skills/A.md", "Resources/Bread/Skills/B.md", "Areas/Skills/C.md"})
    vault.folder.write(none, "No skill\n");
  EXPECT_EQ(listed("skills", "id", "list_skills"),
            "Resources/habilidades/Bread/Starter.md, SKILLS/Long.md, SKILLS/Weekly review.md, vesk/weekly-review, "
            "vesk/process-source, vesk/prepare-meeting, vesk/tidy-inbox, vesk/project-summary");
  EXPECT_EQ(listed("skills", "description", "list_skills", R"({"limit":1})"), "Every *morning*.");
  EXPECT_EQ(vault.json("list_skills", R"({"limit":2,"offset":1})").find("next_offset")->compact(), "3");

  EXPECT_EQ(skill("feed the STARTER"), "Resources/habilidades/Bread/Starter.md");
  EXPECT_EQ(skill("SKILLS/Weekly review.md"), "SKILLS/Weekly review.md");
  EXPECT_EQ(skill(" vesk/weekly-review "), "vesk/weekly-review");
  EXPECT_EQ(AIActionLog(support()).recent(9).size(), 2U);  // what is the user's was read twice
  EXPECT_EQ(vault.failure("read_skill", R"({"skill":"Weekly review"})"),
            "Several skills match. Use one of these ids: SKILLS/Weekly review.md, vesk/weekly-review");
  for (const char* name : {"Projects/Skills/A.md", "SKILLS/../Skills.md", "para", "vesk/"})
    EXPECT_EQ(vault.failure("read_skill", fmt::format(R"({{"skill":"{}"}})", name)),
              "No skill has that name. Use list_skills to see the options.");
  for (const char* arguments : {"{}", R"({"skill":" "})", R"({"skill":7})"})
    EXPECT_EQ(vault.failure("read_skill", arguments), "A skill id or title is required.");

  const std::string part = vault.text("read_skill", R"({"skill":"Long","part":2})");
  EXPECT_THAT(part, HasSubstr("Call read_skill with part 3 to read on."));
  EXPECT_LE(text::unitCount(part), toolResult::maximumUnits);
  EXPECT_EQ(vault.failure("read_skill", R"({"skill":"Long","part":9})"), "This skill has only 5 parts.");
}

TEST_F(LibraryTools, SaveASourceAsItIs) {
  vault.allowAll(ApprovalLevel::trusted);
  const auto source = [](std::string_view title, std::string_view text) {
    return fmt::format(R"({{"title":{},"text":{}}})", Json(title).compact(), Json(text).compact());
  };
  EXPECT_EQ(vault.failure("add_source", source("A", "B")),
            "This vault has no folder for sources. Use get_organization to see its folders.");
  Vault(vault.folder.path()).save(Organization::starting(Organization::Method::ideas, Language::spanish));
  for (const char* arguments : {R"({"text":"B"})", R"({"title":" ","text":"B"})"})
    EXPECT_EQ(vault.failure("add_source", arguments), "A title is required.");
  for (const char* arguments : {R"({"title":"A"})", R"({"title":"A","text":"\n "})"})
    EXPECT_EQ(vault.failure("add_source", arguments), "The source text is required.");

  const char* const texts[] = {"No title\r\nand no line break", "---\r\ntags: [b,  a]\r\n---\r\n\r\n# Talk \n",
                               "\xEF\xBB\xBF---\nno: end\n\n\n"};
  const char* const paths[] = {"Fuentes/Talk.md", "Fuentes/Talk 2.md", "Fuentes/Talk 3.md"};
  for (std::size_t i = 0; i < std::size(texts); ++i) {
    EXPECT_EQ(*vault.json("add_source", source(" Talk", texts[i])).find("path")->string(), paths[i]);
    EXPECT_EQ(vault.folder.read(paths[i]), texts[i]);
  }
  EXPECT_EQ(AIActionLog(support()).recent(1).at(0).kind, AIAction::Kind::createNote);
  EXPECT_EQ(listed("sources", "path", "list_unprocessed_sources").find("Fuentes/Talk"), 0U);

  vault.allowAll(ApprovalLevel::always);
  vault.text("add_source", source("Later", texts[0]));
  const Proposal proposal = ProposalStore(support()).all().at(0);
  EXPECT_EQ(proposal.title, "Save the source \"Later\" in Fuentes");
  EXPECT_EQ(proposal.after, texts[0]);
}

}  // namespace
}  // namespace vesk
