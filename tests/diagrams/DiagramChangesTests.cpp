#include <array>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "core/diagrams/Diagram.h"
#include "core/diagrams/DiagramLayout.h"

namespace vesk {
namespace {

constexpr std::string_view file = R"({
  "nodes":[{"id":"A","x":0,"y":0,"width":160,"height":80,"text":"a","color":"3"},
           {"id":"B","x":300,"y":0,"width":160,"height":80,"text":"b"},
           {"id":"F","x":0,"y":300,"width":100,"height":50,"type":"file","file":"a.md"}],
  "edges":[{"id":"e","fromNode":"A","toNode":"B","label":"to","fromSide":"top"},
           {"id":"f","fromNode":"F","toNode":"A"},{"id":"f","fromNode":"F","toNode":"Gone"}],
  "strokes":[{"id":"s","points":[[0,0],[10,400]],"width":2.5}]})";

// The file with a change set applied; new ids are "n1", "n2" and so on.
Diagram changed(std::string_view changes) {
  Diagram diagram = Diagram::parse(file);
  diagram.apply(Json::parse(changes), [made = 0]() mutable { return fmt::format("n{}", ++made); });
  return diagram;
}

// What a change set is refused with; "" when it isn't. Refused, it changes nothing.
std::string refusalOf(std::string_view changes, std::string_view before = file) {
  Diagram diagram = Diagram::parse(before);
  const Diagram copy = diagram;
  try {
    diagram.apply(Json::parse(changes));
  } catch (const DiagramChangeError& error) {
    EXPECT_EQ(diagram, copy) << changes;
    return error.what();
  }
  return {};
}

TEST(DiagramChanges, AreMadeInTheirOrderOrNotAtAll) {
  // Every step with something wrong in it: the first of those that are left is the one that tells.
  std::vector<std::array<std::string, 3>> steps = {
      {"remove_edges", R"(["e","g"])", "No connection has the id g."},
      {"remove_strokes", R"(["t"])", "No drawing has the id t."},
      {"remove_nodes", R"(["A","D","C"])", "No node has the id D."},
      {"update_nodes", R"([{"id":"A","x":9},{"id":"C"}])", "No node has the id C."},
      {"update_edges", R"([{"id":"e","line":"straight"}])", "Line must be curved or elbow."},
      {"add_nodes", R"([{"id":"C"},{"id":"A"}])", "There's already a node with the id A."},
      {"add_edges", R"([{"from":"A"}])", "A connection needs a from and a to that are nodes in this diagram."},
      {"add_strokes", R"([{"points":[[1,1],[2],[3,3,3],["4",4],5]}])", "A drawing needs at least two [x, y] points."},
      {"direction", R"("left")", "Direction must be right or down."},
  };
  for (; !steps.empty(); steps.erase(steps.begin())) {
    std::string changes;
    for (const auto& [key, value, sentence] : steps) changes += fmt::format(R"("{}":{},)", key, value);
    EXPECT_EQ(refusalOf("{" + changes + R"("other":0})"), steps.front()[2]);
  }

  // Each step builds on those before: B goes with its connection, comes back, and is connected again.
  EXPECT_EQ(changed(R"({"direction":"down",
      "add_strokes":[{"points":[[1.26,3.04],[-0.25,2],7,[1]],"color":"","width":"9"}],
      "add_edges":[{"id":"mine","from":"A","to":"B","to_side":"bottom","start_arrow":true},{"from":"B","to":"A"}],
      "add_nodes":[{"id":"B","x":7},{"text":"new","shape":"diamond","x":1,"y":2,"color":"#aBc123","width":9}],
      "update_edges":[{"id":"f","from_side":"left","label":"","end_arrow":false,"line":"elbow","color":"6"}],
      "update_nodes":[{"id":"A","text":"of more than its size","color":"","shape":"sticky","height":-5,"width":"12"},
                      {"id":"F","x":0.5}],
      "remove_nodes":["B"],"remove_strokes":["s","s"]})"),
            Diagram::parse(R"({
      "nodes":[{"id":"A","x":0,"y":0,"width":160,"height":-5,"text":"of more than its size","shape":"sticky"},
               {"id":"F","x":0.5,"y":300,"width":100,"height":50,"type":"file","file":"a.md"},
               {"id":"B","x":260,"y":-5,"width":160,"height":80,"text":""},
               {"id":"n1","x":1,"y":2,"width":9,"height":112,"text":"new","shape":"diamond","color":"#aBc123"}],
      "edges":[{"id":"f","fromNode":"F","toNode":"A","fromSide":"left","toEnd":"none","line":"elbow","color":"6"},
               {"id":"f","fromNode":"F","toNode":"Gone"},
               {"id":"n2","fromNode":"A","toNode":"B","fromSide":"right","toSide":"bottom","fromEnd":"arrow"},
               {"id":"n3","fromNode":"B","toNode":"A","fromSide":"left","toSide":"right"}],
      "strokes":[{"id":"n4","points":[[1.3,3],[-0.3,2]],"width":2.5}]})"));
}

TEST(DiagramChanges, AreRefusedWithASentence) {
  const std::string color = "Color must be a preset from 1 to 6, or #RRGGBB.";
  const std::string shape = "Shape must be one of: rectangle, ellipse, diamond, sticky, text.";
  const std::string side = "A side must be top, right, bottom or left.";
  const std::string ends = "A connection needs a from and a to that are nodes in this diagram.";
  const std::pair<std::string_view, std::string> cases[] = {
      {R"({"update_nodes":[{"x":1}]})", "No node has the id ."},
      {R"({"update_nodes":[{"id":"F","text":""}]})", "Only text nodes can be edited."},
      {R"({"update_nodes":[{"id":"A","color":"7"}]})", color},
      {R"({"update_nodes":[{"id":"A","color":"#12345G"}]})", color},
      {R"({"update_edges":[{"id":"e","to_side":"Top"}]})", side},
      {R"({"update_edges":[{"id":"e","color":"red"}]})", color},
      {R"({"add_nodes":[{"id":""}]})", "There's already a node with the id ."},
      {R"({"add_nodes":[{"shape":"hexagon"}]})", shape},
      {R"({"add_nodes":[{"color":"#1234567"}]})", color},
      {R"({"add_nodes":[{"y":1e19}]})", "y is too large a number."},
      {R"({"add_edges":[{"from":"A","to":"Gone"}]})", ends},
      {R"({"add_edges":[{"from":"A","to":3}]})", ends},
      {R"({"add_edges":[{"from":"A","to":"A"}]})", "A node can't connect to itself."},
      {R"({"add_edges":[{"from":"A","to":"B","to_side":"no"}]})", "Those two nodes are already connected."},
      {R"({"add_edges":[{"from":"B","to":"A"},{"from":"B","to":"A"}]})", "Those two nodes are already connected."},
      {R"({"add_edges":[{"from":"B","to":"A","from_side":""}]})", side},
      {R"({"add_strokes":[{}]})", "A drawing needs at least two [x, y] points."},
      {R"({"add_strokes":[{"points":[[1,1],[2,1e400]]}]})", "A point is too large a number."},
  };
  for (const auto& [changes, sentence] : cases) EXPECT_EQ(refusalOf(changes), sentence) << changes;
  EXPECT_EQ(refusalOf(R"({"add_nodes":[{}]})", R"({"nodes":[{"id":"A","x":0,"y":9e18,"width":1,"height":9e18}]})"),
            "There's no room left beside what is in this diagram. Give the new nodes x and y.");
}

TEST(DiagramChanges, PassOverWhatIsOfAnotherKind) {
  for (const char* changes :
       {"[]", R"({"direction":null,"add_nodes":[{"id":"C"},5],"add_edges":{},"add_strokes":[[]]})",
        R"({"remove_nodes":["A",1],"remove_edges":"e","remove_strokes":[null]})",
        R"({"update_nodes":[{"id":"A","x":"1","y":null,"width":[],"height":{},"color":1,"shape":2,"text":3}]})",
        R"({"update_edges":[{"id":"e","label":1,"line":2,"color":3,"from_side":4,"end_arrow":"false","to":"F"}]})"})
    EXPECT_EQ(changed(changes), Diagram::parse(file)) << changes;
  EXPECT_EQ(ignoredKeys(Json::parse(R"({"add_nodes":[{},5],"add_edges":[],"update_nodes":null,"update_edges":{},
      "remove_nodes":["A"],"remove_strokes":"s","add_strokes":[{"points":[],"width":null},{"id":"s","width":"1"}]})")),
            (std::vector<std::string>{"remove_strokes", "add_nodes", "add_strokes[1].id", "add_strokes[1].width",
                                      "update_edges"}));
}

TEST(DiagramChanges, GiveNewNodesRoomForTheirText) {
  std::string families;
  for (int i = 0; i < 33; ++i) families += "👨‍👩‍👧";
  const std::tuple<std::string, const char*, double, double> cases[] = {
      {"", "rectangle", 160, 80},
      {"", "diamond", 224, 112},
      {std::string(20, 'x'), "ellipse", 210, 80},
      {families, "sticky", 320, 80},
      {std::string(100, 'x'), "text", 320, 92},  // 33.9 characters a row, not 33
      {std::string(102, 'x'), "diamond", 320 * 1.4, 112 * 1.4},
      {"\n\n\n", "rectangle", 160, 112},
      {"a\n" + std::string(16, 'x') + "\n", "rectangle", 176, 92},
  };
  for (const auto& [text, shape, width, height] : cases) {
    Json changes;
    changes["add_nodes"] = Json::Array{Json::Object{{"text", text}, {"shape", shape}}};
    Diagram diagram;
    diagram.apply(changes);
    EXPECT_EQ(diagram.nodes[0].frame(), (Rect{0, 0, width, height})) << text;
    EXPECT_EQ(diagram.nodes[0].id.size(), 16u);
    EXPECT_EQ(diagram.nodes[0].id.find_first_not_of("0123456789abcdef"), std::string::npos);
  }
}

// Change sets put together from what is right and what is wrong.
TEST(DiagramChanges, LeaveNothingBehindWhenTheyFail) {
  const std::pair<std::string_view, std::vector<std::string_view>> pools[] = {
      {"remove_edges", {R"("e")", R"("f")", R"("no")"}},
      {"remove_nodes", {R"("A")", R"("C")", R"("F")", R"("no")"}},
      {"update_nodes", {R"({"id":"A","text":"x"})", R"({"id":"C","color":"4"})", R"({"id":"F","text":"x"})"}},
      {"update_edges", {R"({"id":"e","label":"x"})", R"({"id":"f","color":""})", R"({"id":"e","line":"x"})"}},
      {"add_nodes", {R"({"id":"A"})", R"({"id":"C","text":"c"})", "{}", R"({"x":1,"y":2})", R"({"shape":"x"})"}},
      {"add_edges", {R"({"from":"A","to":"C"})", R"({"from":"C","to":"A"})", R"({"from":"B","to":"F"})"}},
      {"add_strokes", {R"({"points":[[1,2],[3,4]]})", R"({"points":[[1,2]]})"}}};
  std::mt19937 random(20261214);
  const auto any = [&](const std::vector<std::string_view>& pool) { return pool[random() % pool.size()]; };
  int failed = 0;
  Diagram diagram;
  for (int i = 0; i < 5000; ++i) {
    if (i % 50 == 0) diagram = Diagram::parse(file);
    std::string changes;
    for (const auto& [key, pool] : pools)
      if (random() % 4 == 0) changes += fmt::format(R"("{}":[{},{}],)", key, any(pool), any(pool));
    const Diagram before = diagram;
    try {
      diagram.apply(Json::parse("{" + changes + R"("direction":"down"})"));
      ASSERT_EQ(Diagram::parse(diagram.serialized()).edges, diagram.edges) << changes;
    } catch (const DiagramChangeError&) {
      ++failed;
      ASSERT_EQ(diagram, before) << changes;
    }
  }
  EXPECT_GT(failed, 500);
  EXPECT_LT(failed, 4500);
}

}  // namespace
}  // namespace vesk
