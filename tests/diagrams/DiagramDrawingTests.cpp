#include <algorithm>
#include <cmath>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "core/diagrams/DiagramDrawing.h"

namespace vesk {
namespace {

using namespace std::string_literals;

DiagramNode box(std::string id, const Rect& frame, std::string text = "") {
  return {.id = std::move(id), .x = frame.x, .y = frame.y, .width = frame.width, .height = frame.height, .text = text};
}

std::size_t count(std::string_view text, std::string_view part) {
  std::size_t found = 0;
  for (std::size_t at = text.find(part); at != std::string_view::npos; at = text.find(part, at + 1)) ++found;
  return found;
}

std::string between(std::string_view text, std::string_view before, std::string_view after) {
  const std::size_t begin = text.find(before);
  if (begin == std::string_view::npos) return "";
  const std::size_t end = text.find(after, begin + before.size());
  return std::string(text.substr(begin + before.size(), end - begin - before.size()));
}

// As much of XML as a drawing uses: tags that close each other, references, and the characters there may be.
void expectXML(std::string_view xml) {
  std::vector<std::string> open;
  for (std::size_t i = 0; i < xml.size(); ++i) {
    ASSERT_TRUE(static_cast<unsigned char>(xml[i]) >= ' ' || xml[i] == '\n') << i;
    ASSERT_NE(xml.substr(i, 3), "\xEF\xBF\xBF") << i;
    if (xml[i] == '&') {
      const std::string name(xml.substr(i + 1, xml.find(';', i) - i - 1));
      ASSERT_TRUE(name == "amp" || name == "lt" || name == "gt" || name == "quot") << name;
    }
    if (xml[i] != '<') continue;
    const std::string tag(xml.substr(i + 1, xml.find('>', i) - i - 1));
    ASSERT_EQ(tag.find('<'), std::string::npos) << tag;
    ASSERT_EQ(count(tag, "\"") % 2, 0u) << tag;
    if (tag[0] == '/') {
      ASSERT_FALSE(open.empty());
      ASSERT_EQ(tag.substr(1), open.back());
      open.pop_back();
    } else if (tag.back() != '/') {
      open.push_back(tag.substr(0, tag.find(' ')));
    }
  }
  EXPECT_TRUE(open.empty());
  EXPECT_EQ(xml.find("nan"), std::string_view::npos);
  EXPECT_EQ(xml.find("inf"), std::string_view::npos);
}

TEST(DiagramDrawing, IsXMLWhateverADiagramHolds) {
  const std::string hostile =
      "<script>&amp;\"'>]]>\0\x01\x1b\xFF\uFFFF **<b>** `&` [<a>](\"x\") [[<|>]]\n- [x] <\n# &\n> <"s;
  Diagram diagram;
  diagram.extras["title"] = hostile;
  for (const double size : {-1e9, 0.0, 1.0, 90.0, 0x1p62, std::nan("")}) {
    for (const DiagramShape shape : {DiagramShape::rectangle, DiagramShape::ellipse, DiagramShape::diamond,
                                     DiagramShape::sticky, DiagramShape::text}) {
      diagram.nodes.push_back(box("n", {-0x1p63, size, 2 * size, size}, hostile));
      diagram.nodes.back().shape = shape;
      diagram.nodes.back().color = "\"/><x>";
    }
    for (const char* type : {"group", "file", "link", hostile.c_str()}) {
      diagram.nodes.push_back(box(type, {0x1p62, size, size, 60}, hostile));
      diagram.nodes.back().type = type;
      for (const DiagramLine line : {DiagramLine::curved, DiagramLine::elbow})
        diagram.edges.push_back({.from = "n", .to = type, .hasStartArrow = true, .label = hostile, .line = line});
    }
  }
  diagram.edges.push_back({.from = "n", .to = "n", .label = hostile});
  diagram.strokes = {
      {.points = {}}, {.points = {{1, 1}}, .width = -1}, {.points = {{0, 0}, {0x1p62, 1}}, .width = 1e18}};
  for (const DiagramTheme theme : {DiagramTheme::automatic, DiagramTheme::light, DiagramTheme::dark}) {
    expectXML(drawnAsSVG(diagram, theme));
    expectXML(drawnAsSVG({}, theme));
  }
}

TEST(DiagramDrawing, LinesLeaveAndMeetTheMiddleOfTheirSides) {
  struct Case {
    Rect to;  // the other node is 100 wide and 50 high, at the corner
    std::optional<DiagramSide> fromSide;
    std::optional<DiagramSide> toSide;
    const char* start;
    const char* tip;
  };
  const Case cases[] = {
      {{300, 10, 100, 50}, {}, {}, "100 25", "300 35"},
      {{0, 300, 100, 50}, {}, {}, "50 50", "50 300"},
      {{400, 350, -100, -50}, {}, {}, "100 25", "300 325"},  // as far down as to the right, and of negative size
      {{300, 10, 100, 50}, DiagramSide::top, DiagramSide::bottom, "50 0", "350 60"},
      {{300, 10, 100, 50}, DiagramSide::left, {}, "0 25", "300 35"},
  };
  for (const Case& c : cases) {
    for (const DiagramLine line : {DiagramLine::curved, DiagramLine::elbow}) {
      SCOPED_TRACE(fmt::format("{} to {}, {}", c.start, c.tip, name(line)));
      const DiagramEdge edge{.from = "a", .to = "b", .fromSide = c.fromSide, .toSide = c.toSide, .line = line};
      const DiagramEdge missing{.from = "a", .to = "c"};
      const std::string svg =
          drawnAsSVG({.nodes = {box("a", {0, 0, 100, 50}), box("b", c.to)}, .edges = {missing, edge}});
      EXPECT_EQ(count(svg, "class=\"l0\""), 1u);
      EXPECT_EQ(between(svg, "class=\"l0\" stroke-width=\"1.8\" d=\"M", line == DiagramLine::curved ? "C" : "L"),
                c.start);
      EXPECT_EQ(between(svg, "class=\"s0\" d=\"M", "L"), c.tip);
    }
  }
}

double luminance(const std::string& hex) {
  const auto linear = [&](std::size_t at) {
    const double value = std::stoi(hex.substr(at, 2), nullptr, 16) / 255.0;
    return value <= 0.04 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * linear(0) + 0.7152 * linear(2) + 0.0722 * linear(4);
}

TEST(DiagramDrawing, WordsCanBeReadOnEveryColor) {
  for (const DiagramTheme theme : {DiagramTheme::light, DiagramTheme::dark}) {
    for (const char* color :
         {"1", "2", "3", "4", "5", "6", "#000000", "#FFFFFF", "#ffff00", "#0000ff", "#777777", "7"}) {
      Diagram diagram{.nodes = {box("a", {0, 0, 90, 90}, "a")}};
      diagram.nodes[0].color = color;
      const std::string svg = drawnAsSVG(diagram, theme);
      const double ink = luminance(between(svg, ".ink{fill:#", "}"));
      for (const std::string& fill : {between(svg, ".f0{fill:#", ";"), between(svg, ".p0{fill:#", "}")}) {
        const auto [low, high] = std::minmax({ink, luminance(fill)});
        EXPECT_GE((high + 0.05) / (low + 0.05), 6.5) << color << " " << fill;
      }
    }
  }
}

TEST(DiagramDrawing, TakesManyNodes) {
  Diagram diagram;
  for (int i = 0; i < 20'000; ++i) {
    diagram.nodes.push_back(box(std::to_string(i), {i * 200.0, i % 100 * 100.0, 160, 60}, "A **node**"));
    diagram.nodes.back().color = fmt::format("#{:06x}", i * 800);
    diagram.edges.push_back({.from = std::to_string(i), .to = std::to_string(i * 7 % 20'000)});
  }
  EXPECT_LT(drawnAsSVG(diagram).size(), 20'000u * 800);
}

}  // namespace
}  // namespace vesk
