#include "core/insights/ProjectContext.h"
#include "tests/insights/InsightsTesting.h"

namespace vesk {
namespace {

using ProjectContextNote = test::VaultTest;

TEST_F(ProjectContextNote, IsWrittenInPlaceOfTheOneBefore) {
  folder.write("Projects/Garden/a.md", "");
  for (const char* text : {"## Goal\r\nLemons", "---\nown: 1\n---\n", ""}) {
    ProjectContext::writeContext(vault, text, "Projects/Garden");
    EXPECT_EQ(folder.read("Projects/Garden/Context.md"), std::string("---\nvesk: true\n---\n") + text);
    const VaultSnapshot snapshot = vault.scanOnce();
    const NoteRef context = ProjectContext::note(*ProjectContext::findProject(snapshot, "garden"));
    ASSERT_TRUE(context && ProjectContext::isProjectContext(*context));
    EXPECT_EQ(context->body, text);
  }
  EXPECT_EQ(test::refusal([&] { ProjectContext::writeContext(vault, "x", "../out"); }), VaultError::Kind::outsideVault);
}

TEST(ProjectContext, IsSummedUpByItsFirstLine) {
  using Summary = std::optional<std::string>;
  const std::pair<const char*, Summary> cases[] = {
      {"# Goal\n\n  Lemons \nmore", "Lemons"},
      {"e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301", "e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301"},
      {"## Goal\r\n\r\n#x", std::nullopt},
      {"", std::nullopt}};
  for (const auto& [text, summary] : cases) EXPECT_EQ(ProjectContext::summary(text, 6), summary) << text;
  for (const Language language : {Language::english, Language::portuguese, Language::spanish})
    EXPECT_EQ(ProjectContext::summary(ProjectContext::startingText(language), 100), std::nullopt);
}

TEST(ProjectContext, IsFoundByItsProjectsPathOrName) {
  const test::MadeVault vault = {
      {"Projects/Garden/a.md", ""}, {"01 projects/GARDEN/a.md", ""},  {"Projects/Garden/Deep/a.md", ""},
      {"Projects/Café/a.md", ""},   {"01 projects/garden2/a.md", ""}, {"02 Projects/garden2/a.md", ""},
      {"Areas/Home/a.md", ""}};
  const auto find = [&](std::string_view wanted) -> std::string {
    try {
      const FolderNode* project = ProjectContext::findProject(vault.snapshot, wanted);
      return project ? project->id : "none";
    } catch (const Error& error) {
      return error.what();
    }
  };
  const std::string several = "Several projects match. Use one of these paths: ";
  const std::pair<const char*, std::string> cases[] = {
      {"Garden", "Projects/Garden"},
      {"GARDEN", "01 projects/GARDEN"},
      {" projects/garden/ ", "Projects/Garden"},
      {"CAFE\u0301", "Projects/Café"},
      {"garden", several + "Projects/Garden, 01 projects/GARDEN"},
      {"garden2", several + "01 projects/garden2, 02 Projects/garden2"},
      {"Deep", "none"},
      {"Projects", "none"},
      {"Home", "none"},
      {"", "none"}};
  for (const auto& [wanted, answer] : cases) EXPECT_EQ(find(wanted), answer) << wanted;
}

}  // namespace
}  // namespace vesk
