#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Error.h"
#include "core/base/Json.h"
#include "core/diagrams/Geometry.h"

namespace vesk {

// A text that is no diagram, or a diagram that can't be written. Says what is wrong, and where.
class DiagramError : public Error {
 public:
  using Error::Error;
};

// A change set that can't be applied. Says why, as one sentence.
class DiagramChangeError : public Error {
 public:
  using Error::Error;
};

// The names are those of the cases, in the file too.
enum class DiagramShape { rectangle, ellipse, diamond, sticky, text };
enum class DiagramSide { top, right, bottom, left };
enum class DiagramLine { curved, elbow };

std::string_view name(DiagramShape shape);
std::string_view name(DiagramSide side);
std::string_view name(DiagramLine line);
std::optional<DiagramShape> shapeNamed(std::string_view name);
std::optional<DiagramSide> sideNamed(std::string_view name);
std::optional<DiagramLine> lineNamed(std::string_view name);
std::vector<std::string_view> shapeNames();  // in the order of the cases

// True for a JSON Canvas colour: a preset from "1" to "6" or "#RRGGBB".
bool isDiagramColor(std::string_view color);

// True for a number that a diagram's file can hold: finite, and within 64 bits once it is rounded.
bool fitsDiagram(double value);

// The middle of a frame's side.
Point anchor(const Rect& frame, DiagramSide side);

// Sizes and places are in canvas units.
struct DiagramNode {
  std::string id = {};
  std::string type = "text";  // "text", "file", "link", "group" or whatever another editor wrote
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
  std::optional<std::string> text = {};   // Markdown
  std::optional<std::string> color = {};  // as it stands in the file
  DiagramShape shape = DiagramShape::rectangle;
  Json::Object extras = {};  // every other key: "file", "url", "label", those of other editors

  // What the node shows: its text, or the name of what it stands for.
  std::string_view label() const;
  bool isEditable() const { return type == "text"; }
  Rect frame() const { return {x, y, width, height}; }
  Point anchor(DiagramSide side) const { return vesk::anchor(frame(), side); }

  bool operator==(const DiagramNode&) const = default;
};

struct DiagramEdge {
  std::string id = {};
  std::string from = {};  // the ids of nodes, that need not be there
  std::string to = {};
  std::optional<DiagramSide> fromSide = {};
  std::optional<DiagramSide> toSide = {};
  bool hasStartArrow = false;
  bool hasEndArrow = true;
  std::optional<std::string> color = {};
  std::optional<std::string> label = {};
  DiagramLine line = DiagramLine::curved;
  Json::Object extras = {};

  bool operator==(const DiagramEdge&) const = default;
};

// A freehand drawing.
struct DiagramStroke {
  std::string id = {};
  std::vector<Point> points = {};
  std::optional<std::string> color = {};
  double width = 0;  // of the pen
  Json::Object extras = {};

  std::optional<Rect> bounds() const;  // of the points; nullopt without any

  bool operator==(const DiagramStroke&) const = default;
};

// A change set is one JSON object that removes, changes and adds nodes, connections and drawings at once. Each of its
// keys may be missing; a value that isn't of the kind it should be counts as missing. In the order in which they are
// applied:
//
// | key                                        | value                                                          |
// |--------------------------------------------|----------------------------------------------------------------|
// | remove_edges, remove_strokes, remove_nodes | ids; a node's connections go with it                           |
// | update_nodes                               | objects of id, text, shape, color, x, y, width, height         |
// | update_edges                               | objects of id, from_side, to_side, label, line, color,         |
// |                                            | start_arrow, end_arrow                                         |
// | add_nodes                                  | as update_nodes; a new id where none is given                  |
// | add_edges                                  | as update_edges, with from and to in place of the id           |
// | add_strokes                                | objects of points, color, width                                |
// | direction                                  | "right" or "down": how nodes without x and y are laid out      |

// What a change set added: indices, in the order of the set.
struct DiagramAdditions {
  std::vector<std::size_t> nodes = {};
  std::vector<std::size_t> edges = {};
  std::vector<std::size_t> strokes = {};
};

// A drawing of nodes and connections, as a JSON Canvas file (jsoncanvas.org, version 1.0) holds it; Vesk's own are the
// keys "shape" of a node, "line" of a connection and "strokes". Later nodes lie on top. An id may occur twice in a file
// of another editor: the first is meant, but for what is to be removed: all of that id are.
struct Diagram {
  std::vector<DiagramNode> nodes = {};
  std::vector<DiagramEdge> edges = {};
  std::vector<DiagramStroke> strokes = {};
  Json::Object extras = {};  // every other key of the file

  // Reads a file's text; one of nothing but white space is an empty diagram. Throws JsonError and DiagramError.
  static Diagram parse(std::string_view text);

  // The file's text. What was read and not changed gives the same text each time. Throws DiagramError for a number that
  // fitsDiagram() refuses.
  std::string serialized() const;

  const DiagramNode* node(std::string_view id) const;  // nullptr when there is none
  const DiagramNode* node(const Point& at) const;      // the topmost one there
  std::optional<Rect> bounds() const;                  // of all nodes and drawings; nullopt without any

  using NewID = std::function<std::string()>;

  // Applies a change set, all of it or nothing: throws DiagramChangeError.
  DiagramAdditions apply(const Json& changes, const NewID& newID = Diagram::newID);

  // What an assistant is told of the diagram.
  Json summary() const;

  // A new random id: sixteen hexadecimal digits.
  static std::string newID();

  bool operator==(const Diagram&) const = default;
};

// What of a change set is not of the kind it should be and so counts as missing, or is a key that its objects don't
// have: "add_edges", "update_nodes[2].width".
std::vector<std::string> ignoredKeys(const Json& changes);

// As they stand in the file. Throws DiagramError for a number that fitsDiagram() refuses.
Json toJson(const DiagramNode& node);
Json toJson(const DiagramEdge& edge);
Json toJson(const DiagramStroke& stroke);

// The parts of a summary.
Json summaryOf(const DiagramNode& node);
Json summaryOf(const DiagramEdge& edge);
Json summaryOf(const DiagramStroke& stroke);

}  // namespace vesk
