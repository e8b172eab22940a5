#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/base/Text.h"
#include "core/toolserver/AIActionLog.h"
#include "core/toolserver/Proposal.h"
#include "core/toolserver/ToolResult.h"
#include "core/toolserver/Undo.h"
#include "tests/toolserver/ServedVault.h"

namespace vesk {
namespace {

using test::repeated;
using test::ServedVault;

class DiagramTools : public testing::Test {
 protected:
  DiagramTools() {
    vault.allowAll(ApprovalLevel::trusted);
    vault.folder.write("Resources/Diagramas/Map.canvas", "");
    vault.folder.write("Projects/Map.canvas",
                       R"({"nodes":[{"id":"a","x":0,"y":0,"width":9,"height":9,"file":"a.png"}]})");
    vault.folder.write("Projects/Broken.canvas", R"({"nodes":[{"id":"a"}]})");
    vault.folder.write("Inbox/Shows.md", "![[Launch.canvas]]\n");
  }

  Json call(std::string_view tool, std::string_view arguments) const { return vault.json(tool, arguments); }
  std::string text(const Json& json, std::string_view key) const { return *json.find(key)->string(); }
  Diagram diagramAt(std::string_view path) const { return Diagram::parse(vault.folder.read(path)); }

  const ServedVault vault;
  const ProposalStore store{vault.folder.supportDirectory()};
};

constexpr std::string_view launch = R"({"title":"Launch","add_nodes":[{"id":"a","text":"Draft"},{"text":"Publish"}],
    "add_edges":[],"add_strokes":[{"points":[[0,0],[5,5]]}]})";

// What an assistant is told is what stands in the file, and is enough to go on.
TEST_F(DiagramTools, SayWhatTheyMade) {
  const Json made = call("create_diagram", launch);
  EXPECT_EQ(text(made, "path"), "Resources/Diagramas/Launch.canvas");
  EXPECT_EQ(text(made, "embed"), "![[Launch.canvas]]");
  const std::string second = text(made.find("added_nodes")->array()->at(1), "id");
  const Json changed =
      call("update_diagram", fmt::format(R"({{"diagram":"Launch","update_nodes":{{}},
      "add_edges":[{{"from":"a","to":"{}","label":"then"}}],"remove_strokes":["{}"]}})",
                                         second, text(made.find("added_strokes")->array()->at(0), "id")));
  const Json& edge = changed.find("added_edges")->array()->at(0);
  EXPECT_EQ(text(edge, "from_side") + text(edge, "to_side"),
            "bottomtop");  // two nodes of one level lie one below the other
  EXPECT_EQ(changed.find("removed_strokes")->integer(), 1);

  const Diagram diagram = diagramAt("Resources/Diagramas/Launch.canvas");
  ASSERT_EQ(diagram.edges.size(), 1U);
  EXPECT_EQ(diagram.edges[0].id, text(edge, "id"));
  EXPECT_EQ(diagram.edges[0].to, second);
  EXPECT_TRUE(diagram.strokes.empty());
  const Json read = call("read_diagram", R"({"diagram":"Launch"})");
  EXPECT_EQ(*read.find("nodes"), *diagram.summary().find("nodes"));
  EXPECT_EQ(*read.find("edges"), *diagram.summary().find("edges"));

  const Json strange = call("update_diagram", R"({"diagram":"Launch","update_nodes":[{"id":"a","width":"9"}],
      "add_nodes":{},"remove_nodes":[7],"remove_edges":[]})");
  EXPECT_EQ(strange.find("ignored")->compact(), R"(["remove_nodes","add_nodes","update_nodes[0].width"])");
  EXPECT_EQ(text(strange, "message"), "Nothing in it changed.");

  const Json renamed = call("rename_diagram", R"({"diagram":"Launch","title":"Start"})");
  EXPECT_EQ(text(renamed, "path"), "Resources/Diagramas/Start.canvas");
  EXPECT_EQ(renamed.find("still_in_notes")->compact(), R"(["Inbox/Shows.md"])");
  EXPECT_EQ(text(call("create_diagram", R"({"title":"Start","folder":"Projects"})"), "path"), "Projects/Start.canvas");
  EXPECT_EQ(text(call("trash_diagram", R"({"diagram":"Projects/Start.canvas"})"), "trashed"), "Projects/Start.canvas");
}

TEST_F(DiagramTools, RefuseAndLeaveEverything) {
  struct Case {
    const char* tool;
    const char* arguments;
    const char* sentence;
  };
  const auto before = test::contentsOf(vault.folder.path());
  for (const auto& [tool, arguments, sentence] : {
           Case{"read_diagram", "{}", "A diagram path or title is required."},
           {"read_diagram", R"({"diagram":7})", "A diagram path or title is required."},
           {"read_diagram", R"({"diagram":"map"})", "No diagram matches \"map\""},
           {"read_diagram", R"({"diagram":"../vault/Projects/Map.canvas"})",
            "No diagram matches \"../vault/Projects/Map.canvas\""},
           {"read_diagram", R"({"diagram":"Projects/Map.canvas","part":2})", "This diagram has only 1 part."},
           {"read_diagram", R"({"diagram":"Broken"})",
            "This file isn't a diagram Vesk can read, so it was left as it is. Node 1 has no \"x\"."},
           {"update_diagram", R"({"diagram":"Broken","add_nodes":[{}]})",
            "This file isn't a diagram Vesk can read, so it was left as it is. Node 1 has no \"x\"."},
           {"update_diagram", R"({"diagram":"Projects/Map.canvas","add_nodes":[{}],"direction":"left"})",
            "Direction must be right or down."},
           {"create_diagram", R"({"title":" "})", "A title is required."},
           {"create_diagram", R"({"title":"../.."})", "That name can't be used for a file."},
           {"create_diagram", R"({"title":"New","folder":"Nowhere"})",
            "That folder doesn't exist. Use list_folders to see the options."},
           {"create_diagram", R"({"title":"New","add_nodes":[{"x":1e300,"y":0}]})", "x is too large a number."},
           {"rename_diagram", R"({"diagram":"Broken"})", "A new title is required."},
       }) {
    SCOPED_TRACE(fmt::format("{} {}", tool, arguments));
    EXPECT_EQ(vault.failure(tool, arguments), sentence);
  }
  EXPECT_THAT(vault.failure("trash_diagram", R"({"diagram":"Map"})"),
              testing::AllOf(testing::StartsWith("Several diagrams match. Use one of these paths: "),
                             testing::HasSubstr("Projects/Map.canvas")));
  // What changes nothing leaves even the layout of the file.
  call("update_diagram", R"({"diagram":"Projects/Map.canvas","update_nodes":[{"id":"a","x":0}]})");
  EXPECT_EQ(test::contentsOf(vault.folder.path()), before);
}

// Ids are random, and yet what is approved is what was shown.
TEST_F(DiagramTools, ApprovedAsShownAndUndone) {
  vault.allowAll(ApprovalLevel::always);
  call("create_diagram", launch);
  const Proposal creation = store.all().at(0);
  EXPECT_EQ(creation.title, "Create the diagram \"Launch\" in Resources/Diagramas: 2 nodes, 1 drawing");
  vault.server.apply(creation);
  EXPECT_EQ(vault.folder.read("Resources/Diagramas/Launch.canvas"), creation.after);

  // Changes proposed for the same text: approving one does not stand in the way of the others, and makes room.
  const std::string before = vault.folder.read("Projects/Map.canvas");
  for (const char* id : {"b", "c"})
    call("update_diagram", fmt::format(R"({{"diagram":"Projects/Map.canvas","add_nodes":[{{"id":"{}"}}],
        "add_edges":[{{"from":"a","to":"{}"}}]}})",
                                       id, id));
  call("update_diagram", R"({"diagram":"Projects/Map.canvas","update_nodes":[{"id":"a","color":"4"}]})");
  for (const Proposal& proposal : store.all()) vault.server.apply(*store.find(proposal.id));
  EXPECT_TRUE(store.all().empty());
  EXPECT_EQ(diagramAt("Projects/Map.canvas").nodes.at(0).color, "4");
  EXPECT_EQ(diagramAt("Projects/Map.canvas").edges.size(), 2U);
  EXPECT_GT(diagramAt("Projects/Map.canvas").nodes.at(2).y, diagramAt("Projects/Map.canvas").nodes.at(1).y);

  const AIActionLog log(vault.folder.supportDirectory());
  const Vault files(vault.folder.path());
  for (const AIAction& action : log.recent(10))
    if (action.canUndo()) undo::run(action, files, log.directory());
  EXPECT_EQ(vault.folder.read("Projects/Map.canvas"), before);
  EXPECT_FALSE(vault.folder.has("Resources/Diagramas/Launch.canvas"));
}

// However large a diagram and what is in it: every entry is read once, and no result is too long.
TEST_F(DiagramTools, ReadInParts) {
  Diagram large;
  for (int i = 0; i < 600; ++i) {
    DiagramNode node{.id = fmt::format("n{}", i), .width = 1, .height = 1};
    node.text = i == 300 ? repeated("\\\"", 50'000) : "Text";
    large.nodes.push_back(std::move(node));
    large.edges.push_back({.id = fmt::format("e{}", i), .from = repeated("x", i == 9 ? 90'000 : 1), .to = "n1"});
  }
  large.strokes.push_back({.id = "s", .points = std::vector<Point>(20'000, Point{-0x1p62, 0.1}), .width = 1});
  vault.folder.write("Projects/Large.canvas", large.serialized());
  std::vector<std::string> ids;
  for (std::size_t part = 1, parts = 1; part <= parts; ++part) {
    const std::string page = vault.text("read_diagram", fmt::format(R"({{"diagram":"Large","part":{}}})", part));
    EXPECT_LE(text::unitCount(page), toolResult::maximumUnits);
    const Json json = Json::parse(page);
    parts = static_cast<std::size_t>(json.find("parts")->integer().value());
    for (const char* list : {"nodes", "edges", "strokes"})
      for (const Json& entry : *json.find(list)->array()) ids.push_back(text(entry, "id"));
  }
  ASSERT_EQ(ids.size(), 1201U);
  EXPECT_EQ(ids[300], "n300");
  EXPECT_EQ(ids[609], "e9");
  EXPECT_EQ(ids.back(), "s");

  const std::string endless = repeated("z", 60'000);
  EXPECT_LE(text::unitCount(
                vault.text("create_diagram", fmt::format(R"({{"title":"A","add_nodes":[{{"id":"{}"}}]}})", endless))),
            toolResult::maximumUnits);
  EXPECT_LE(text::unitCount(vault.failure("update_diagram",
                                          fmt::format(R"({{"diagram":"A","add_nodes":[{{"id":"{}"}}]}})", endless))),
            toolResult::maximumUnits);
}

}  // namespace
}  // namespace vesk
