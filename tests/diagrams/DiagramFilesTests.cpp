#include <cerrno>
#include <filesystem>

#include "core/diagrams/DiagramFiles.h"
#include "tests/vault/VaultTesting.h"

namespace fs = std::filesystem;

namespace vesk {
namespace {

using enum VaultError::Kind;
using DiagramFiles = test::VaultTest;
using test::failure;
using test::refusal;
using testing::ThrowsMessage;

constexpr std::string_view emptyFile = "{\n  \"edges\" : [],\n  \"nodes\" : []\n}\n";

TEST_F(DiagramFiles, AreListedTheNewestFirst) {
  const test::TemporaryFolder outside;
  outside.write("Foreign.canvas", "{}");
  for (const char* path : {"Old.canvas", "B/Plan.v2.canvas", "A/Plan.canvas", "Shelf.canvas/Inner.canvas", "New.canvas",
                           "Upper.CANVAS", "Note.md", ".hidden.canvas", ".hidden/In.canvas", "Canvas", "Mycanvas"})
    folder.write(path, "not even JSON");
  fs::create_symlink(outside.at("Foreign.canvas"), folder.at("Foreign.canvas"));
  fs::create_symlink(outside.path(), folder.at("Elsewhere"));
  fs::create_symlink("Gone.canvas", folder.at("Nowhere.canvas"));
  fs::create_symlink("A/Plan.canvas", folder.at("Link.canvas"));
  for (const char* path : {"B/Plan.v2.canvas", "A/Plan.canvas", "Shelf.canvas/Inner.canvas"})
    folder.setModified(path, 1'000'000'000);
  folder.setModified("Old.canvas", 999'999'999);
  folder.setModified("New.canvas", 1'000'000'001);
  std::vector<std::string> paths;
  for (const DiagramFile& file : diagrams(vault)) {
    paths.push_back(file.path);
    EXPECT_EQ(file.path, joinPath(parentPath(file.path), file.title + ".canvas"));
  }
  EXPECT_THAT(paths, testing::ElementsAre("New.canvas", "A/Plan.canvas", "B/Plan.v2.canvas", "Link.canvas",
                                          "Shelf.canvas/Inner.canvas", "Old.canvas"));
  EXPECT_EQ(diagrams(vault)[0].modified, Timestamp(std::chrono::seconds(1'000'000'001)));
  EXPECT_EQ(diagramEmbed("B/Plan.v2.canvas"), "![[Plan.v2.canvas]]");
}

TEST_F(DiagramFiles, TakeTheFirstFreeName) {
  EXPECT_EQ(createDiagram(vault, "Plan", "New/Folder"), "New/Folder/Plan.canvas");
  EXPECT_EQ(nextDiagramPath(vault, "Plan", "New/Folder"), "New/Folder/Plan 2.canvas");
  EXPECT_EQ(createDiagram(vault, " Plan/ ", "New/Folder"), "New/Folder/Plan 2.canvas");
  EXPECT_EQ(folder.read("New/Folder/Plan 2.canvas"), emptyFile);
  EXPECT_EQ(readDiagram(vault, "New/Folder/Plan.canvas").diagram, Diagram());
  EXPECT_EQ(saveDiagramCopy(vault, "New/Folder/Plan.canvas", "mine", "Plan"), "New/Folder/Plan 3.canvas");
  EXPECT_EQ(folder.read("New/Folder/Plan 3.canvas"), "mine");

  EXPECT_EQ(renameDiagram(vault, "New/Folder/Plan 3.canvas", "Plan 3"), "New/Folder/Plan 3 2.canvas") << "its own";
  EXPECT_EQ(renameDiagram(vault, "New/Folder/Plan 3 2.canvas", "Plan"), "New/Folder/Plan 3.canvas");
  EXPECT_EQ(folder.read("New/Folder/Plan 3.canvas"), "mine");
  fs::create_symlink("nowhere", folder.at("Link.canvas"));
  EXPECT_EQ(createDiagram(vault, "Link", ""), "Link 2.canvas") << "a dangling link has that name";
  EXPECT_EQ(renameDiagram(vault, "Link 2.canvas", "plan: B"), "plan B.canvas");

  const auto before = folder.contents();
  EXPECT_EQ(failure([&] { renameDiagram(vault, "Gone.canvas", "New"); }), ENOENT);
  EXPECT_EQ(refusal([&] { renameDiagram(vault, "plan B.canvas", "///"); }), invalidName);
  EXPECT_EQ(refusal([&] { createDiagram(vault, ".x", "Unmade"); }), invalidName);
  EXPECT_EQ(failure([&] { readDiagram(vault, "Gone.canvas"); }), ENOENT);
  EXPECT_EQ(failure([&] { saveDiagram(vault, {}, "Gone.canvas", ""); }), ENOENT);
  EXPECT_EQ(folder.contents(), before);
}

TEST_F(DiagramFiles, AreSavedOverWhatTheWriterHasSeen) {
  const std::string text = R"({"nodes":[{"id":"A","x":0.5,"y":0,"width":1,"height":1,"text":"a"}],"own":1.10})";
  folder.write("Plan.canvas", text);
  const ReadDiagram read = readDiagram(vault, "Plan.canvas");
  EXPECT_EQ(read.text, text);
  for (const std::string& other : {text + "\n", std::string(), read.diagram.serialized()})
    EXPECT_EQ(refusal([&] { saveDiagram(vault, read.diagram, "Plan.canvas", other); }), conflict);
  EXPECT_EQ(folder.read("Plan.canvas"), text);
  EXPECT_EQ(folder.everything().size(), 1u);

  EXPECT_EQ(saveDiagram(vault, read.diagram, "Plan.canvas", text), read.diagram.serialized());
  EXPECT_EQ(folder.read("Plan.canvas"), read.diagram.serialized());
}

TEST_F(DiagramFiles, AreLeftAsTheyAreWhenTheyCannotBeRead) {
  const std::pair<std::string, std::string> cases[] = {
      {"{\"a\":\"\xC3\"}", "This isn't valid JSON: line 1, column 8."},
      {R"({"nodes":[{"id":5}]})", R"(Node 1: "id" isn't a text.)"},
  };
  for (const auto& [text, why] : cases) {
    folder.write("Plan.canvas", text);
    const std::string sentence = "This file isn't a diagram Vesk can read, so it was left as it is. " + why;
    EXPECT_THAT([&] { readDiagram(vault, "Plan.canvas"); }, ThrowsMessage<DiagramError>(sentence));
    EXPECT_EQ(folder.read("Plan.canvas"), text);
  }
}

TEST_F(DiagramFiles, GoToTheFolderOfDiagrams) {
  EXPECT_EQ(diagramFolder(vault, {}), "Resources/Diagrams");
  EXPECT_EQ(diagramFolder(vault, "Recursos"), "Recursos/Diagrams");
  for (const char* path : {"Recursos/diagrams/a.md", "Recursos/Deep/Diagrams/a.md", "Recursos/Diagramas"})
    folder.write(path, "");
  EXPECT_EQ(diagramFolder(vault, "Recursos"), "Recursos/Diagrams") << "Diagramas is a file";
  folder.write("Other/Diagramas/a.md", "");
  EXPECT_EQ(diagramFolder(vault, "Other"), "Other/Diagramas");
  folder.write("Other/Diagrams/a.md", "");
  EXPECT_EQ(diagramFolder(vault, "Other"), "Other/Diagrams");
}

TEST_F(DiagramFiles, StayInTheVault) {
  const test::TemporaryFolder outside;
  outside.write("Foreign.canvas", "{}");
  folder.write("In.canvas", "{}");
  fs::create_symlink(outside.path(), folder.at("Out"));
  fs::create_symlink(outside.at("Foreign.canvas"), folder.at("Link.canvas"));
  const auto before = outside.contents();
  const auto inside = folder.everything();
  for (const char* path : {"../Foreign.canvas", "Out/Foreign.canvas", "Link.canvas", "/etc/x.canvas"}) {
    SCOPED_TRACE(path);
    EXPECT_EQ(refusal([&] { readDiagram(vault, path); }), outsideVault);
    EXPECT_EQ(refusal([&] { saveDiagram(vault, {}, path, "{}"); }), outsideVault);
  }
  for (const char* path : {"..", "Out", "In/../.."}) {
    SCOPED_TRACE(path);
    EXPECT_EQ(refusal([&] { createDiagram(vault, "New", path); }), outsideVault);
    EXPECT_EQ(refusal([&] { saveDiagramCopy(vault, joinPath(path, "x.canvas"), "{}", "New"); }), outsideVault);
    EXPECT_EQ(refusal([&] { renameDiagram(vault, joinPath(path, "Foreign.canvas"), "New"); }), outsideVault);
  }
  EXPECT_EQ(outside.contents(), before);
  EXPECT_EQ(folder.everything(), inside);
}

}  // namespace
}  // namespace vesk
