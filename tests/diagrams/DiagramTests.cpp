#include <cmath>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/diagrams/Diagram.h"

namespace vesk {
namespace {

using testing::StartsWith;

// A whole node, connection and drawing. Of members that follow and have the same key, the last holds.
constexpr std::string_view node = R"("id":"A","type":"text","x":1,"y":2,"width":3,"height":4,"text":"a","color":"1")";
constexpr std::string_view edge = R"("id":"e","fromNode":"A","toNode":"B","color":"1","label":"to","toEnd":"arrow")";
constexpr std::string_view stroke = R"("id":"s","points":[[1.3,3],[-2,0.5]],"color":"1","width":2.5)";

std::string fileOf(std::string_view list, std::string_view whole, std::string_view members = {}) {
  return fmt::format("{{\"{}\":[{{{}{}{}}}]}}", list, whole, members.empty() ? "" : ",", members);
}

// What a text is refused with; "" when it is read.
std::string refusalOf(std::string_view text) {
  try {
    Diagram::parse(text);
  } catch (const Error& error) {
    return error.what();
  }
  return {};
}

TEST(Diagram, KeepsWhatItDoesNotKnow) {
  const auto text = [](std::string_view numbers) {
    return fmt::format(
        R"({{"":1E400,"edges":[{{"fromNode":"B","id":"e","own":{{"x":[]}},"toEnd":"arrow","toNode":"A"}}],
      "nodes":[{{"big":12345678901234567890123,"id":"A","type":"link","url":"https://a.b",{}}}],
      "strokes":[{{"id":"s","pen":1e2,"points":[[1.3,-1000]],"width":2.5}}],"zoom":{{"a":-0,"b":1.10}}}})",
        numbers);
  };
  const std::string written = Diagram::parse(text(R"("y":-10.5,"width":1e2,"x":10.5,"height":-0.5)")).serialized();
  EXPECT_EQ(written, Json::parse(text(R"("height":-1,"width":100,"x":11,"y":-11)")).pretty() + "\n");
  EXPECT_EQ(Diagram::parse(written).serialized(), written);
}

TEST(Diagram, TakesWordsItDoesNotKnowForTheUsualOnes) {
  struct Case {
    std::string_view list;
    std::string_view whole;
    std::string_view read;  // in place of what a whole one has, or besides
    std::string_view written;
  };
  const Case cases[] = {
      {"nodes", node, R"("shape":"hexagon")", ""},
      {"nodes", node, R"("shape":5)", ""},
      {"nodes", node, R"("shape":"rectangle")", ""},
      {"nodes", node, R"("shape":"diamond","color":"red")", R"("shape":"diamond","color":"red")"},
      {"nodes", R"("id":"A","x":0,"y":0,"width":0,"height":0)", R"("text":null)", R"("type":"text")"},
      {"nodes", node, R"("x":-0.4,"y":0.5,"width":1e-400)", R"("x":0,"y":1,"width":0)"},
      {"nodes", node, R"("x":9223372036854774784,"y":-9223372036854775809)",
       R"("x":9223372036854774784,"y":-9223372036854775808)"},
      {"edges", R"("id":"e","fromNode":"A","toNode":"B")", "", R"("toEnd":"arrow")"},
      {"edges", edge, R"("fromEnd":"none","toEnd":"circle")", ""},
      {"edges", edge, R"("fromEnd":"arrow","toEnd":"none")", R"("fromEnd":"arrow","toEnd":"none")"},
      {"edges", edge, R"("line":"straight","fromSide":"middle","toSide":7)", ""},
      {"edges", edge, R"("line":"curved","fromSide":"top")", R"("fromSide":"top")"},
      {"edges", edge, R"("line":"elbow","label":"")", R"("line":"elbow","label":"")"},
      {"strokes", stroke, R"("points":[])", R"("points":[])"},
  };
  for (const Case& c : cases) {
    const std::string text = fileOf(c.list, c.whole, c.read);
    const Json written = Json::parse(Diagram::parse(text).serialized());
    EXPECT_EQ(*written.find(c.list), *Json::parse(fileOf(c.list, c.whole, c.written)).find(c.list)) << text;
  }
}

TEST(Diagram, IsRefusedWithAKeyOfAnotherKind) {
  struct Case {
    std::string_view list;
    std::string_view whole;
    std::string_view what;
    std::vector<std::string_view> required;
    std::vector<std::string_view> optional;
  };
  const Case cases[] = {
      {"nodes", node, "Node", {"id", "x", "y", "width", "height"}, {"type", "text", "color"}},
      {"edges", edge, "Connection", {"id", "fromNode", "toNode"}, {"color", "label"}},
      {"strokes", stroke, "Drawing", {"id", "points", "width"}, {"color"}},
  };
  for (const Case& c : cases) {
    const auto refusal = [&](std::string_view key, std::string_view value) {
      return refusalOf(fileOf(c.list, c.whole, fmt::format("\"{}\":{}", key, value)));
    };
    for (const auto& keys : {c.required, c.optional})
      for (const std::string_view key : keys)
        EXPECT_THAT(refusal(key, "true"), StartsWith(fmt::format("{} 1: \"{}\" isn't a ", c.what, key)));
    for (const auto key : c.required) EXPECT_EQ(refusal(key, "null"), fmt::format("{} 1 has no \"{}\".", c.what, key));
    for (const auto key : c.optional) EXPECT_EQ(refusal(key, "null"), "");
    EXPECT_EQ(refusalOf(fmt::format(R"({{"{}":[{{{}}},[]]}})", c.list, c.whole)),
              fmt::format("{} 2 isn't an object.", c.what));
    EXPECT_EQ(refusalOf(fmt::format(R"({{"{}":{{}}}})", c.list)), fmt::format("\"{}\" isn't a list.", c.list));
  }
  for (const char* number : {"1e400", "9223372036854775808", "-9223372036854777856", "1e308"})
    EXPECT_EQ(refusalOf(fileOf("nodes", node, fmt::format("\"width\":{}", number))),
              "Node 1: \"width\" is too large a number.");
}

TEST(Diagram, IsRefusedWhenTheTextIsNone) {
  const auto nested = [](std::size_t levels) { return "{\"a\":" + std::string(levels - 1, '['); };
  const std::pair<std::string, std::string> cases[] = {
      {"[]", "There is no object in it."},
      {R"({"nodes":[{"id":"A","x":NaN}]})", "This isn't valid JSON: line 1, column 25."},
      {fileOf("nodes", node).substr(0, 40), "This isn't valid JSON: line 1, column 41."},
      {"{\"a\":\"\xFF\"}", "This isn't valid JSON: line 1, column 7."},
      {nested(513), "This JSON is nested more than 512 levels deep."},
      {nested(512) + std::string(511, ']') + "}", ""},
      {fileOf("strokes", stroke, R"("points":[[1,2],[1,2,3]])"),
       R"(Drawing 1: "points" isn't a list of points, each [x, y].)"},
      {fileOf("strokes", stroke, R"("points":[[1,"2"]])"), R"(Drawing 1: "points" isn't a number.)"},
  };
  for (const auto& [text, sentence] : cases) EXPECT_EQ(refusalOf(text), sentence) << text;
  for (const std::string_view blank : {"", " \n", "\t\r\n\u00A0"}) EXPECT_EQ(Diagram::parse(blank), Diagram());
}

TEST(Diagram, IsNotWrittenWithNumbersNoFileHolds) {
  for (const double value : {std::nan(""), HUGE_VAL, 0x1p63, -0x1.0000000000001p63}) {
    Diagram diagram;
    diagram.nodes.push_back({.id = "A", .y = value});
    EXPECT_THROW(diagram.serialized(), DiagramError) << value;
  }
}

TEST(Diagram, HoldsWhatAFileSaysTwice) {
  const std::string one = R"({"id":"A","x":0,"y":0,"width":10,"height":10,"text":"one"})";
  const std::string two = R"({"id":"A","x":5,"y":5,"width":-10,"height":10,"type":"file","file":"a.md","url":"u"})";
  const Diagram twins = Diagram::parse(fmt::format(R"({{"nodes":[{},{}]}})", one, two));
  EXPECT_EQ(twins.node("A"), &twins.nodes.at(0));
  EXPECT_EQ(twins.node(Point{1, 6}), &twins.nodes.at(1)) << "the topmost";
  EXPECT_EQ(twins.node(Point{11, 0}), nullptr);
  EXPECT_EQ(twins.bounds(), (Rect{-5, 0, 15, 15}));
  EXPECT_EQ(twins.nodes[1].label(), "a.md");

  EXPECT_EQ(Diagram::parse(fmt::format(R"({{"nodes":[{0},{0}],"nodes":[{1}]}})", one, two)).nodes,
            std::vector(1, twins.nodes[1]));
  EXPECT_TRUE(Diagram::parse(fmt::format(R"({{"nodes":[{}],"nodes":null}})", one)).nodes.empty());
}

}  // namespace
}  // namespace vesk
