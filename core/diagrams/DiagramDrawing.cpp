#include "core/diagrams/DiagramDrawing.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "core/base/Text.h"
#include "core/base/Unicode.h"
#include "core/diagrams/DiagramRoute.h"
#include "core/diagrams/DiagramText.h"

namespace vesk {
namespace {

using diagramRoute::Route;
using diagramText::Block;
using diagramText::Line;
using diagramText::Run;
using diagramText::Words;

constexpr double margin = 32;         // around everything
constexpr double largestSide = 8192;  // of the picture, in pixels; what is larger is shown smaller
constexpr double smallSize = 12;      // of the letters of labels and hints

constexpr std::string_view fixedRules =
    "text{white-space:pre}\n"
    ".b{font-weight:600}\n.i{font-style:italic}\n.s{text-decoration:line-through}\n.faint{opacity:.62}\n"
    ".c{font-family:ui-monospace,Menlo,Consolas,\"DejaVu Sans Mono\",monospace}\n"
    ".plate{fill-opacity:.9}\n.shade{fill:#000;fill-opacity:.14}\n.fold{fill-opacity:.4}\n";

// To hundredths, which is finer than anyone sees; never a negative zero.
double rounded(double value) { return std::isfinite(value) ? std::round(value * 100) / 100 + 0.0 : 0.0; }

// A text for XML: without the characters that XML has no way to write.
std::string escaped(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const unicode::CodePoint c = unicode::decode(text, i);
    switch (c.value) {
      case '&': result += "&amp;"; break;
      case '<': result += "&lt;"; break;
      case '>': result += "&gt;"; break;
      case '"': result += "&quot;"; break;
      case 0xFFFD: result += "\uFFFD"; break;
      case 0xFFFE:
      case 0xFFFF: break;
      default:
        if (c.value >= ' ') {
          result += text.substr(i, c.length);
        } else if (unicode::isWhitespace(c.value)) {
          result += ' ';
        }
    }
    i += c.length;
  }
  return result;
}

Rect grown(const Rect& rect, double by) {
  return {rect.minX() - by, rect.minY() - by, rect.maxX() - rect.minX() + 2 * by, rect.maxY() - rect.minY() + 2 * by};
}

// Without half-covered pixels at the edges.
Rect wholePixels(const Rect& rect) {
  const Point corner{std::floor(rect.x), std::floor(rect.y)};
  return {corner.x, corner.y, std::ceil(rect.maxX()) - corner.x, std::ceil(rect.maxY()) - corner.y};
}

Point middle(const Point& a, const Point& b) { return {(a.x + b.x) / 2, (a.y + b.y) / 2}; }

// A point on the way from one to another, at most half of the way.
Point towards(const Point& from, const Point& to, double distance) {
  const double all = std::hypot(to.x - from.x, to.y - from.y);
  const double share = all > 0 ? std::min(distance / all, 0.5) : 0;
  return {from.x + (to.x - from.x) * share, from.y + (to.y - from.y) * share};
}

// The share of its width that a shape has at a height: from 0, its middle, to 1, its upper and lower end.
using WidthAt = double (*)(double height);

double diamondWidth(double height) { return 1 - height; }
double ellipseWidth(double height) { return std::sqrt(1 - height * height); }

// Whether a block shows more of the same words.
bool showsMore(const Block& block, const Block& other) {
  const auto area = [](const Block& of) {
    double sum = 0;
    for (const Line& line : of.lines) sum += line.width * line.size;
    return sum;
  };
  return other.isCut && (!block.isCut || area(block) > area(other));
}

// The words of a node within a shape that is narrower above and below its middle. The lower their block, the wider its
// lines: the first that holds all is the best, or else the one that holds most.
Block wordsWithin(const Words& words, const Rect& frame, WidthAt widthAt) {
  constexpr int steps = 24;
  constexpr double leading = 3;  // of a line's height, above and below its letters
  std::optional<Block> best;
  for (const double padding : {24.0, 8.0}) {
    for (int step = 1; step <= steps; ++step) {
      const double height = frame.height * step / steps;
      const auto width = [&](double top, double bottom) {
        const double furthest = std::max(std::abs(top - height / 2), std::abs(bottom - height / 2)) - leading;
        return frame.width * widthAt(std::clamp(furthest / (frame.height / 2), 0.0, 1.0)) - padding;
      };
      Block block = words.in({height, width});
      if (!block.isCut && !block.hasBrokenWords) return block;
      if (!best || showsMore(block, *best)) best = std::move(block);
    }
  }
  return std::move(*best);
}

// The same for words that share one left edge: within a rectangle.
Block listWithin(const Words& words, const Rect& frame, WidthAt widthAt) {
  Block best{.isCut = true};
  for (const double height : {0.56, 0.68, 0.8}) {
    Block block = words.in(diagramText::rectangle(frame.width * widthAt(height), frame.height * height));
    if (showsMore(block, best)) best = std::move(block);
  }
  return best;
}

// The same words in lines of about the same length: a last word does not stand alone.
Block balanced(Block block, const Words& words, double width, double height) {
  if (block.lines.size() < 2 || block.isCut || block.hasBrokenWords) return block;
  for (const double share : {0.9, 0.8, 0.7, 0.6}) {
    Block narrower = words.in(diagramText::rectangle(width * share, height));
    if (narrower.lines.size() != block.lines.size() || narrower.isCut || narrower.hasBrokenWords) break;
    block = std::move(narrower);
  }
  return block;
}

// Draws in places from the diagram's upper left corner on: numbers stay small, wherever the diagram lies.
class Drawing {
 public:
  explicit Drawing(const Diagram& diagram) : diagram_(diagram) {
    const Rect all = diagram.bounds().value_or(Rect{});
    origin_ = {all.minX(), all.minY()};
    bounds_ = {0, 0, all.maxX() - all.minX(), all.maxY() - all.minY()};
    frames_.reserve(diagram.nodes.size());
    for (const DiagramNode& node : diagram.nodes) {
      const Rect frame = node.frame();
      frames_.push_back({frame.minX() - origin_.x, frame.minY() - origin_.y, frame.maxX() - frame.minX(),
                         frame.maxY() - frame.minY()});
    }
  }

  std::string svg(DiagramTheme theme) {
    drawGroups();
    drawEdges();
    drawNodes();
    body_ += labels_;
    drawStrokes();
    return head(theme) + body_ + "</svg>\n";
  }

 private:
  template <typename... Parts>
  void add(fmt::format_string<Parts...> format, Parts&&... parts) {
    fmt::format_to(std::back_inserter(body_), format, std::forward<Parts>(parts)...);
  }

  std::string head(DiagramTheme theme) const {
    const Rect view = wholePixels(grown(bounds_, margin));
    const double scale = std::min(1.0, largestSide / std::max(view.width, view.height));
    std::string text = fmt::format(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"{0} {1} {2} {3}\" width=\"{4}\" height=\"{5}\" "
        "role=\"img\" xml:space=\"preserve\" font-size=\"{6}\" font-family=\"system-ui, -apple-system, 'Segoe UI', "
        "Roboto, 'Helvetica Neue', Arial, 'DejaVu Sans', sans-serif\">\n",
        rounded(view.x), rounded(view.y), rounded(view.width), rounded(view.height),
        std::max(1.0, rounded(view.width * scale)), std::max(1.0, rounded(view.height * scale)), diagramText::bodySize);
    text += fmt::format("<style>\n{}{}</style>\n", fixedRules, palette_.styleSheet(theme));
    text += fmt::format("<rect class=\"page\" x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\"/>\n", rounded(view.x),
                        rounded(view.y), rounded(view.width), rounded(view.height));
    return text;
  }

  // ---- Words

  void drawRun(const Run& run) {
    std::string classes;
    if (run.style.isBold) classes += " b";
    if (run.style.isItalic) classes += " i";
    if (run.style.isCode) classes += " c";
    if (run.style.isStruck) classes += " s";
    if (run.style.isLink) classes += " link";
    if (classes.empty()) {
      body_ += escaped(run.text);
    } else {
      add("<tspan class=\"{}\">{}</tspan>", classes.substr(1), escaped(run.text));
    }
  }

  void openText(double x, double y, std::string_view anchor, double size, std::string_view classes) {
    add("<text class=\"{}\" x=\"{}\" y=\"{}\"", classes, rounded(x), rounded(y));
    if (anchor != "start") add(" text-anchor=\"{}\"", anchor);
    if (size != diagramText::bodySize) add(" font-size=\"{}\"", size);
    body_ += '>';
  }

  // `x` is the left edge of the block, or its middle when it is centred.
  void drawBlock(const Block& block, double x, double top, bool isCentred, std::string_view classes) {
    for (const Line& line : block.lines) {
      const double baseline = top + line.top + line.height / 2 + line.size * 0.36;
      if (line.isQuote) {
        add("<rect class=\"{} faint\" x=\"{}\" y=\"{}\" width=\"3\" height=\"{}\"/>", classes, rounded(x),
            rounded(top + line.top), rounded(line.height));
      }
      if (!line.marker.empty()) {
        openText(x + line.indent - 6, baseline, "end", line.size, classes);
        add("{}</text>", escaped(line.marker));
      }
      if (line.runs.empty()) continue;
      openText(isCentred ? x : x + line.indent, baseline, isCentred ? "middle" : "start", line.size, classes);
      for (const Run& run : line.runs) drawRun(run);
      body_ += "</text>\n";
    }
  }

  // ---- Groups

  void drawGroups() {
    for (std::size_t i = 0; i < frames_.size(); ++i)
      if (diagram_.nodes[i].type == "group") drawGroup(diagram_.nodes[i], frames_[i]);
  }

  void drawGroup(const DiagramNode& node, const Rect& frame) {
    const std::size_t color = palette_.number(node.color);
    add("<rect class=\"g{}\" x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\" rx=\"14\" stroke-width=\"1.5\" "
        "stroke-dasharray=\"7 5\"/>\n",
        color, rounded(frame.x), rounded(frame.y), rounded(frame.width), rounded(frame.height));
    const auto room = diagramText::rectangle(std::max(frame.width - 8, 60.0), 22);
    const Block label = diagramText::plain(node.label(), 15, {.isBold = true}).in(room);
    if (label.lines.empty()) return;
    const Rect place{frame.x + 4, frame.y - label.height - 4, label.width, label.height};
    drawBlock(label, place.x, place.y, false, fmt::format("w{}", color));
    bounds_ = bounds_.unitedWith(place);
  }

  // ---- Connections

  void drawEdges() {
    std::unordered_map<std::string_view, std::size_t> nodes;
    for (std::size_t i = 0; i < diagram_.nodes.size(); ++i) nodes.emplace(diagram_.nodes[i].id, i);
    for (const DiagramEdge& edge : diagram_.edges) {
      const auto from = nodes.find(edge.from);
      const auto to = nodes.find(edge.to);
      if (from == nodes.end() || to == nodes.end()) continue;
      const diagramRoute::Sides sides{edge.fromSide, edge.toSide};
      drawEdge(edge, from->second == to->second
                         ? diagramRoute::loop(frames_[from->second], sides)
                         : diagramRoute::between(frames_[from->second], frames_[to->second], sides, edge.line));
    }
  }

  void drawEdge(const DiagramEdge& edge, const Route& route) {
    const std::size_t color = palette_.number(edge.color);
    bounds_ = bounds_.unitedWith(route.bounds());
    drawLine(route, edge, color);
    const std::vector<Point>& points = route.points;
    if (edge.hasStartArrow) drawArrow(points.front(), points[1], color);
    if (edge.hasEndArrow) drawArrow(points.back(), points[points.size() - 2], color);
    if (edge.label) addLabel(*edge.label, route, color);
  }

  // The line ends within its arrows' heads, so that their points stay sharp.
  void drawLine(const Route& route, const DiagramEdge& edge, std::size_t color) {
    constexpr double withinHead = 7;
    std::vector<Point> points = route.points;
    if (edge.hasStartArrow) points.front() = towards(points.front(), points[1], withinHead);
    if (edge.hasEndArrow) points.back() = towards(points.back(), points[points.size() - 2], withinHead);
    add("<path class=\"l{}\" stroke-width=\"1.8\" d=\"M{} {}", color, rounded(points[0].x), rounded(points[0].y));
    if (route.isCurve) {
      add("C{} {} {} {} {} {}", rounded(points[1].x), rounded(points[1].y), rounded(points[2].x), rounded(points[2].y),
          rounded(points[3].x), rounded(points[3].y));
    } else {
      addRoundedCorners(points);
    }
    body_ += "\"/>\n";
  }

  void addRoundedCorners(const std::vector<Point>& points) {
    constexpr double radius = 8;
    for (std::size_t i = 1; i + 1 < points.size(); ++i) {
      const Point begin = towards(points[i], points[i - 1], radius);
      const Point end = towards(points[i], points[i + 1], radius);
      add("L{} {}Q{} {} {} {}", rounded(begin.x), rounded(begin.y), rounded(points[i].x), rounded(points[i].y),
          rounded(end.x), rounded(end.y));
    }
    add("L{} {}", rounded(points.back().x), rounded(points.back().y));
  }

  void drawArrow(const Point& tip, const Point& from, std::size_t color) {
    constexpr double length = 11;
    constexpr double halfWidth = 5;
    const double distance = std::hypot(tip.x - from.x, tip.y - from.y);
    if (!(distance > 0)) return;
    const Point along{(tip.x - from.x) / distance, (tip.y - from.y) / distance};
    const Point base{tip.x - along.x * length, tip.y - along.y * length};
    add("<path class=\"s{}\" d=\"M{} {}L{} {}L{} {}Z\"/>\n", color, rounded(tip.x), rounded(tip.y),
        rounded(base.x - along.y * halfWidth), rounded(base.y + along.x * halfWidth),
        rounded(base.x + along.y * halfWidth), rounded(base.y - along.x * halfWidth));
  }

  // Labels lie above the nodes: where there is little room they can still be read.
  void addLabel(std::string_view text, const Route& route, std::size_t color) {
    const double narrow = std::clamp(route.length() - 36, 48.0, 180.0);
    const Words words = diagramText::plain(text::trimWhitespace(text), smallSize);
    Block label = words.in(diagramText::rectangle(narrow, 56));
    if (label.hasBrokenWords || label.isCut) label = words.in(diagramText::rectangle(180, 56));
    if (label.lines.empty() || label.width == 0) return;
    const Point center = route.middle();
    const Rect plate{center.x - label.width / 2 - 4, center.y - label.height / 2, label.width + 8, label.height};
    bounds_ = bounds_.unitedWith(plate);
    std::swap(body_, labels_);
    add("<rect class=\"page plate\" x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\" rx=\"5\"/>", rounded(plate.x),
        rounded(plate.y), rounded(plate.width), rounded(plate.height));
    drawBlock(label, center.x, center.y - label.height / 2, true, fmt::format("w{}", color));
    std::swap(body_, labels_);
  }

  // ---- Nodes

  void drawNodes() {
    for (std::size_t i = 0; i < frames_.size(); ++i)
      if (diagram_.nodes[i].type != "group") drawNode(diagram_.nodes[i], frames_[i]);
  }

  void drawNode(const DiagramNode& node, const Rect& frame) {
    if (node.type == "file" || node.type == "link") return drawCard(node, frame);
    switch (node.shape) {
      case DiagramShape::rectangle:
        drawBox(frame, palette_.number(node.color), 9);
        return drawWords(node, frame, "ink");
      case DiagramShape::sticky:
        drawPaper(frame, palette_.paperNumber(node.color));
        return drawWords(node, frame, "ink");
      case DiagramShape::text: return drawWords(node, frame, fmt::format("w{}", palette_.number(node.color)));
      case DiagramShape::ellipse:
        add("<ellipse class=\"f{}\" stroke-width=\"1.5\" cx=\"{}\" cy=\"{}\" rx=\"{}\" ry=\"{}\"/>\n",
            palette_.number(node.color), rounded(frame.center().x), rounded(frame.center().y), rounded(frame.width / 2),
            rounded(frame.height / 2));
        return drawWordsWithin(node, frame, ellipseWidth);
      case DiagramShape::diamond:
        add("<path class=\"f{}\" stroke-width=\"1.5\" stroke-linejoin=\"round\" d=\"M{} {}L{} {}L{} {}L{} {}Z\"/>\n",
            palette_.number(node.color), rounded(frame.center().x), rounded(frame.y), rounded(frame.maxX()),
            rounded(frame.center().y), rounded(frame.center().x), rounded(frame.maxY()), rounded(frame.x),
            rounded(frame.center().y));
        return drawWordsWithin(node, frame, diamondWidth);
    }
  }

  void drawBox(const Rect& frame, std::size_t color, double radius) {
    add("<rect class=\"f{}\" stroke-width=\"1.5\" x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\" rx=\"{}\"/>\n", color,
        rounded(frame.x), rounded(frame.y), rounded(frame.width), rounded(frame.height), radius);
  }

  // A sheet whose lower right corner is folded over, with its shadow.
  void drawPaper(const Rect& frame, std::size_t color) {
    const double fold = std::min({18.0, frame.width / 3, frame.height / 3});
    const auto sheet = [&](double dx, double dy) {
      return fmt::format("M{} {}H{}V{}L{} {}H{}Z", rounded(frame.x + dx), rounded(frame.y + dy),
                         rounded(frame.maxX() + dx), rounded(frame.maxY() - fold + dy),
                         rounded(frame.maxX() - fold + dx), rounded(frame.maxY() + dy), rounded(frame.x + dx));
    };
    add("<path class=\"shade\" d=\"{}\"/><path class=\"p{}\" d=\"{}\"/>", sheet(1.5, 3), color, sheet(0, 0));
    add("<path class=\"s{} fold\" d=\"M{} {}V{}H{}Z\"/>\n", color, rounded(frame.maxX() - fold), rounded(frame.maxY()),
        rounded(frame.maxY() - fold), rounded(frame.maxX()));
  }

  // Short words stand in the middle; lists and longer texts begin above, at the left.
  void drawWords(const DiagramNode& node, const Rect& frame, std::string_view classes) {
    constexpr std::size_t mostCentred = 5;
    const bool isFramed = node.shape != DiagramShape::text;
    const double side = isFramed ? std::min(14.0, frame.width / 8) : 2;
    const double line = diagramText::bodySize * diagramText::lineSpacing;
    const double above = std::clamp((frame.height - line) / 2, 0.0, isFramed ? 10.0 : 2.0);
    const double height = frame.height >= diagramText::bodySize ? std::max(frame.height - 2 * above, line) : 0;
    const double width = frame.width - 2 * side;
    const Words words = diagramText::markdown(node.label());
    Block block = words.in(diagramText::rectangle(width, height));
    const bool isCentred = isFramed && block.isProse && block.lines.size() <= mostCentred;
    if (isCentred) block = balanced(std::move(block), words, width, height);
    const bool isMiddle = isCentred || !isFramed;
    const double top = isMiddle ? frame.y + (frame.height - block.height) / 2 : frame.y + above;
    drawBlock(block, isCentred ? frame.center().x : frame.x + side, top, isCentred, classes);
  }

  void drawWordsWithin(const DiagramNode& node, const Rect& frame, WidthAt widthAt) {
    const Words words = diagramText::markdown(node.label());
    Block block = wordsWithin(words, frame, widthAt);
    const bool isProse = block.isProse;
    if (!isProse) block = listWithin(words, frame, widthAt);
    const double x = isProse ? frame.center().x : frame.center().x - block.width / 2;
    drawBlock(block, x, frame.y + (frame.height - block.height) / 2, isProse, "ink");
  }

  // A file or a web page: its sign, its name, and small where it is.
  void drawCard(const DiagramNode& node, const Rect& frame) {
    constexpr double padding = 14;
    constexpr double signWidth = 16;
    const std::size_t color = palette_.number(node.color);
    drawBox(frame, color, 9);
    const auto [name, place] = node.type == "file" ? fileTitle(node) : linkTitle(node.label());
    const double left = frame.x + padding + signWidth + 10;
    const double width = frame.maxX() - padding - left;
    const double height = frame.height - 12;
    const Block title = diagramText::plain(name, diagramText::bodySize, {.isBold = true})
                            .in(diagramText::rectangle(width, std::min(height, 62.0)));
    if (title.lines.empty()) return;
    const Block hint =
        diagramText::plain(place, smallSize).in(diagramText::rectangle(width, std::min(height - title.height, 18.0)));
    constexpr double tall = 130;  // where the name goes above, like that of a page
    const double all = title.height + hint.height;
    const double top = frame.height >= tall ? frame.y + padding : frame.y + (frame.height - all) / 2;
    drawSign(node.type, {frame.x + padding, top + 1, signWidth, 18}, color);
    drawBlock(title, left, top, false, "ink");
    drawBlock(hint, left, top + title.height, false, "ink faint");
  }

  using Title = std::pair<std::string, std::string>;

  // The note's or file's name with the part of it that is meant, and its folder.
  static Title fileTitle(const DiagramNode& node) {
    const std::string_view path = node.label();
    const std::size_t slash = path.rfind('/');
    std::string_view name = slash == std::string_view::npos ? path : path.substr(slash + 1);
    if (name.size() > 3 && name.ends_with(".md")) name.remove_suffix(3);
    Title title{name, slash == std::string_view::npos ? "" : path.substr(0, slash)};
    const auto part = node.extras.find("subpath");
    if (part == node.extras.end() || !part->second.string()) return title;
    const std::string_view heading = text::trim(*part->second.string(), "# ");
    if (!heading.empty()) title.first.append(" › ").append(heading);
    return title;
  }

  // The page's host, and the rest of its address.
  static Title linkTitle(std::string_view url) {
    const std::size_t scheme = url.find("://");
    std::string_view rest = scheme == std::string_view::npos ? url : url.substr(scheme + 3);
    if (rest.starts_with("www.")) rest.remove_prefix(4);
    const std::size_t slash = std::min(rest.find('/'), rest.size());
    const std::string_view path = rest.substr(slash);
    return {std::string(rest.substr(0, slash)), path == "/" ? "" : std::string(path)};
  }

  // A sheet with a folded corner, or the links of a chain.
  void drawSign(std::string_view type, const Rect& place, std::size_t color) {
    add("<path class=\"l{}\" stroke-width=\"1.6\" stroke-linejoin=\"round\" stroke-linecap=\"round\" "
        "transform=\"translate({} {})\" d=\"{}\"/>",
        color, rounded(place.x), rounded(place.y),
        type == "file" ? "M2 1H9.5L14 5.5V17H2ZM9.5 1V5.5H14M5 9.5H11M5 13H11"
                       : "M6.5 11.5L10.5 7.5M7.5 5L9.5 3A3.2 3.2 0 0 1 14.5 8L12.5 10M9.5 14L7.5 16A3.2 3.2 0 0 1 2.5 "
                         "11L4.5 9");
  }

  // ---- Drawings

  void drawStrokes() {
    for (const DiagramStroke& stroke : diagram_.strokes) drawStroke(stroke);
  }

  Point placed(const Point& point) const { return {point.x - origin_.x, point.y - origin_.y}; }

  // Curves through the middles between the points: a hand's line without corners.
  void drawStroke(const DiagramStroke& stroke) {
    if (stroke.points.empty()) return;
    const double width = stroke.width > 0 ? std::clamp(stroke.width, 0.5, 2 * margin) : 2.5;
    const Point first = placed(stroke.points.front());
    const Point last = placed(stroke.points.back());
    add("<path class=\"l{}\" stroke-width=\"{}\" stroke-linecap=\"round\" stroke-linejoin=\"round\" d=\"M{} {}",
        palette_.number(stroke.color), rounded(width), rounded(first.x), rounded(first.y));
    for (std::size_t i = 1; i + 1 < stroke.points.size(); ++i) {
      const Point bend = placed(stroke.points[i]);
      const Point end = middle(bend, placed(stroke.points[i + 1]));
      add("Q{} {} {} {}", rounded(bend.x), rounded(bend.y), rounded(end.x), rounded(end.y));
    }
    add("L{} {}\"/>\n", rounded(last.x), rounded(last.y));
  }

  const Diagram& diagram_;
  Point origin_ = {};
  Rect bounds_ = {};
  std::vector<Rect> frames_ = {};  // of the nodes, from the origin; no size is negative
  DiagramPalette palette_ = {};
  std::string body_ = {};
  std::string labels_ = {};
};

}  // namespace

std::string drawnAsSVG(const Diagram& diagram, DiagramTheme theme) { return Drawing(diagram).svg(theme); }

}  // namespace vesk
