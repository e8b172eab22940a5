#include "core/base/Json.h"
#include "core/toolserver/AIActionLog.h"
#include "core/toolserver/Proposal.h"
#include "tests/app/VeskProgram.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk::test {

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class DiagramCommands : public testing::Test {
 protected:
  DiagramCommands() {
    vault.write("Work/Launch.canvas", R"({"nodes": [
      {"id": "n1", "text": "Print it?\nor not", "x": 300.4, "y": -0.4, "width": 224, "height": 112, "shape": "diamond"},
      {"id": "g1", "type": "group", "label": "Before", "x": -40, "y": -40, "width": 250, "height": 400, "color": "6"},
      {"id": "g2", "type": "group", "x": -20, "y": -20, "width": 200, "height": 120},
      {"id": "a", "text": "Draft", "x": 0, "y": 0, "width": 160, "height": 80},
      {"id": "b", "text": "Draft", "x": 0, "y": 200, "width": 160, "height": 80, "color": "#aa00ff"}],
      "edges": [
      {"id": "1", "fromNode": "a", "toNode": "n1", "label": "when\nsigned", "fromSide": "right", "line": "elbow"},
      {"id": "2", "fromNode": "n1", "toNode": "b", "fromSide": "top", "toEnd": "none", "color": "1"},
      {"id": "3", "fromNode": "a", "toNode": "gone", "fromEnd": "arrow", "toEnd": "none"},
      {"id": "4", "fromNode": "gone", "toNode": "n1", "fromEnd": "arrow"}],
      "strokes": [{"id": "s", "points": [[10, 20], [310, 60.4]], "width": 4}]})");
    vault.setModified("Work/Launch.canvas", 1'700'000'000);
    vesk({"open", vault.path()});
  }

  std::string errorOf(const std::string& name) { return vesk({"diagram", "show", name}).errors; }

  TemporaryFolder vault;
};

TEST_F(DiagramCommands, ListTheNewestFirst) {
  vault.write("Empty.canvas", "");
  vault.setModified("Empty.canvas", 1'700'086'400);
  EXPECT_EQ(vesk({"diagrams"}, {.environment = {{"TZ", "UTC"}}}).output,
            "2023-11-15 22:13  Empty   Empty.canvas\n"
            "2023-11-14 22:13  Launch  Work/Launch.canvas\n");
  const Json json = Json::parse(vesk({"diagrams", "--json", "--limit", "1"}).output);
  EXPECT_EQ(*json.find("total"), Json(2));
  EXPECT_THAT(*json.find("diagrams")->array(),
              ElementsAre(Json(
                  Json::Object{{"path", "Empty.canvas"}, {"title", "Empty"}, {"modified", "2023-11-15T22:13:20Z"}})));
  EXPECT_EQ(vesk({"diagram", "show", "Empty"}).output, "Nothing is in this diagram.\n");
}

TEST_F(DiagramCommands, ShowWhatLiesWhereAndLeadsWhere) {
  EXPECT_EQ(vesk({"diagram", "show", "Launch"}).output,
            "Print it?  [diamond, at 300, 0 · 224 × 112]\n"
            "  │ or not\n"
            "  — Draft  [id b, red, from top]\n"
            "Before  [group, purple, at -40, -40 · 250 × 400]\n"
            "  (unnamed)  [group, id g2, at -20, -20 · 200 × 120]\n"
            "    Draft  [id a, at 0, 0 · 160 × 80]\n"
            "      → Print it? (when signed)  [elbow]\n"
            "      ← (missing)  [id gone]\n"
            "  Draft  [#aa00ff, id b, at 0, 200 · 160 × 80]\n"
            "(missing)  [id gone]\n"
            "  ↔ Print it?\n"
            "Drawing of 2 points  [pen 4, at 10, 20 · 300 × 40]\n"
            "3 nodes, 2 groups, 4 connections, 1 drawing\n");

  vault.write("Foreign.canvas", R"({"nodes": [{"id": "n\n→ x", "text": "\u001b[2J\u202E", "type": "a\nb",
      "x": 0, "y": 0, "width": 1, "height": 1}]})");
  EXPECT_EQ(vesk({"diagram", "show", "Foreign"}).output, "\uFFFD[2J\uFFFD  [a b, at 0, 0 · 1 × 1]\n1 node\n");
}

TEST_F(DiagramCommands, TakeAPathOrATitle) {
  for (const char* name : {"Work/Launch.canvas", "Launch.canvas", "lAUNCH"}) EXPECT_EQ(errorOf(name), "") << name;
  vault.write("launch.canvas", "");
  EXPECT_EQ(errorOf("Launch"), "");  // the one of exactly that title
  EXPECT_EQ(errorOf("LAUNCH"),
            "vesk: Several diagrams are named LAUNCH. Write the path of one: launch.canvas, Work/Launch.canvas.\n");
  EXPECT_EQ(errorOf("Work/Other.canvas"),
            "vesk: There is no diagram Work/Other.canvas in the vault. List them with vesk diagrams.\n");
  vault.write("Broken.canvas", R"({"nodes": [{}]})");
  EXPECT_THAT(errorOf("Broken"), StartsWith("vesk: This file isn't a diagram Vesk can read, so it was left as it is."));
}

TEST_F(DiagramCommands, DrawToTheOutputOrAFile) {
  const std::string picture = vesk({"diagram", "svg", "Launch", "--theme", "dark"}).output;
  EXPECT_THAT(picture, AllOf(StartsWith("<"), HasSubstr("<svg"), HasSubstr("Print it?")));
  EXPECT_NE(picture, vesk({"diagram", "svg", "Launch"}).output);
  vault.write("old.svg", "old");
  EXPECT_EQ(vesk({"diagram", "svg", "Launch", "--theme", "dark", "-o", vault.at("old.svg")}).exitStatus, 0);
  EXPECT_EQ(vault.read("old.svg"), picture);
  EXPECT_EQ(vesk({"diagram", "svg", "Launch", "-o", vault.path()}).exitStatus, 1);
}

// What an assistant changes is shown as lines of the outline, as long as these tell it.
TEST_F(DiagramCommands, AreReviewedAndUndoneByTheirOutlines) {
  const std::string node = R"({"id": "n", "text": "Old", "x": 0, "y": 0, "width": 160, "height": 80})";
  const std::string before = R"({"nodes": [)" + node + "]}";
  const auto changed = [&](std::string_view word, const char* other) {
    return std::string(before).replace(before.find(word), word.size(), other);
  };
  const auto reviewed = [&](const Proposal& proposal) {
    ProposalStore(vault.supportDirectory()).add(proposal);
    return runProgram({"/usr/bin/script", "-qec", VESK_BIN_DIR "/vesk review", "/dev/null"}, {.input = "d\n"}).output;
  };
  const Proposal created{.id = "1", .tool = "create_diagram", .arguments = "{}", .destination = "Work"};
  Proposal proposal = created;
  proposal.after = before;
  EXPECT_THAT(reviewed(proposal), AllOf(HasSubstr("+ Old  [at 0, 0"), HasSubstr("+ 1 node"), Not(HasSubstr("{"))));
  proposal = {.id = "2", .tool = "update_diagram", .arguments = "{}", .notePath = "A.canvas", .before = before};
  proposal.after = changed("Old", "New");
  EXPECT_THAT(reviewed(proposal), AllOf(HasSubstr("- Old  [at 0, 0"), HasSubstr("+ New  [at 0, 0")));
  proposal.after = changed("\"n\"", "\"m\"");  // looks the same
  EXPECT_THAT(reviewed(proposal), HasSubstr("+ Old  [at 0, 0 · 160 × 80, otherwise changed]"));
  proposal.after = changed("160", "null");  // is no diagram
  EXPECT_THAT(reviewed(proposal), HasSubstr("+ " + *proposal.after));

  vault.write("A.canvas", changed("Old", "New"));
  AIActionLog(vault.supportDirectory())
      .append({.id = "3",
               .kind = AIAction::Kind::edit,
               .title = "A",
               .noteID = "A.canvas",
               .before = before,
               .after = vault.read("A.canvas")});
  EXPECT_THAT(vesk({"undo", "--last"}).output, HasSubstr("- New  [at 0, 0 · 160 × 80]\n+ Old  [at 0, 0"));
  EXPECT_EQ(vault.read("A.canvas"), before);
}

}  // namespace

}  // namespace vesk::test
