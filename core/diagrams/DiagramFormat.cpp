// Reading and writing a diagram's file.

#include <cmath>
#include <cstdint>
#include <utility>

#include <fmt/format.h>

#include "core/base/JsonWriter.h"
#include "core/base/Text.h"
#include "core/diagrams/Diagram.h"

namespace vesk {

namespace {

// ---- Reading

// The keys of one node, connection or drawing. Each is taken out as it is read: what is left is what Vesk doesn't know.
class Keys {
 public:
  // `what` and `number` say which one it is: "Node", 3.
  Keys(Json&& item, const char* what, std::size_t number) : item_(std::move(item)), what_(what), number_(number) {
    if (!item_.object()) throw DiagramError(fmt::format("{} {} isn't an object.", what_, number_));
  }

  std::string text(const char* key) { return textOf(required(key), key); }

  // Nullopt for null, too.
  std::optional<std::string> optionalText(const char* key) {
    Json value = optional(key);
    return value.isNull() ? std::nullopt : std::optional(textOf(std::move(value), key));
  }

  double number(const char* key) { return numberOf(required(key), key); }

  std::vector<Point> points(const char* key) {
    const Json list = required(key);
    if (!list.array()) throw wrong(key, "a list of points");
    std::vector<Point> points;
    points.reserve(list.array()->size());
    for (const Json& point : *list.array()) {
      const Json::Array* pair = point.array();
      if (!pair || pair->size() != 2) throw wrong(key, "a list of points, each [x, y]");
      points.push_back({numberOf((*pair)[0], key), numberOf((*pair)[1], key)});
    }
    return points;
  }

  // One of a few words; "" for anything but a text.
  std::string word(const char* key) {
    Json value = optional(key);
    return value.string() ? std::move(*value.string()) : "";
  }

  Json::Object rest() { return std::move(*item_.object()); }

 private:
  Json optional(const char* key) {
    Json::Object& object = *item_.object();
    const auto found = object.find(key);
    if (found == object.end()) return {};
    Json value = std::move(found->second);
    object.erase(found);
    return value;
  }

  Json required(const char* key) {
    Json value = optional(key);
    if (value.isNull()) throw DiagramError(fmt::format("{} {} has no \"{}\".", what_, number_, key));
    return value;
  }

  std::string textOf(Json value, const char* key) const {
    if (!value.string()) throw wrong(key, "a text");
    return std::move(*value.string());
  }

  double numberOf(const Json& value, const char* key) const {
    if (!value.number()) throw wrong(key, "a number");
    const auto number = value.real();
    if (!number || !fitsDiagram(*number))
      throw DiagramError(fmt::format("{} {}: \"{}\" is too large a number.", what_, number_, key));
    return *number;
  }

  DiagramError wrong(const char* key, const char* wanted) const {
    return DiagramError(fmt::format("{} {}: \"{}\" isn't {}.", what_, number_, key, wanted));
  }

  Json item_;
  const char* what_;
  std::size_t number_;
};

DiagramNode nodeFrom(Keys keys) {
  DiagramNode node;
  node.id = keys.text("id");
  node.type = keys.optionalText("type").value_or("text");
  node.x = keys.number("x");
  node.y = keys.number("y");
  node.width = keys.number("width");
  node.height = keys.number("height");
  node.text = keys.optionalText("text");
  node.color = keys.optionalText("color");
  node.shape = shapeNamed(keys.word("shape")).value_or(DiagramShape::rectangle);
  node.extras = keys.rest();
  return node;
}

DiagramEdge edgeFrom(Keys keys) {
  DiagramEdge edge;
  edge.id = keys.text("id");
  edge.from = keys.text("fromNode");
  edge.to = keys.text("toNode");
  edge.fromSide = sideNamed(keys.word("fromSide"));
  edge.toSide = sideNamed(keys.word("toSide"));
  edge.hasStartArrow = keys.word("fromEnd") == "arrow";
  edge.hasEndArrow = keys.word("toEnd") != "none";
  edge.color = keys.optionalText("color");
  edge.label = keys.optionalText("label");
  edge.line = lineNamed(keys.word("line")).value_or(DiagramLine::curved);
  edge.extras = keys.rest();
  return edge;
}

DiagramStroke strokeFrom(Keys keys) {
  DiagramStroke stroke;
  stroke.id = keys.text("id");
  stroke.points = keys.points("points");
  stroke.color = keys.optionalText("color");
  stroke.width = keys.number("width");
  stroke.extras = keys.rest();
  return stroke;
}

// Reads the elements of a list into `items`, in place of those of an earlier list under the same key.
template <typename Item>
Json::ElementReader readerOf(std::vector<Item>& items, Item (*from)(Keys keys), const char* what) {
  items.clear();
  return
      [&items, from, what](Json element) { items.push_back(from(Keys(std::move(element), what, items.size() + 1))); };
}

// Takes what is left of a list when its elements are read. A null behind it, under the same key, stands for none.
template <typename Item>
void takeList(Json::Object& object, const char* key, std::vector<Item>& items) {
  const auto list = object.find(key);
  if (list == object.end()) return;
  if (!list->second.array() && !list->second.isNull()) throw DiagramError(fmt::format("\"{}\" isn't a list.", key));
  if (list->second.isNull()) items.clear();
  object.erase(list);
}

// ---- Writing

std::int64_t wholeNumber(double value) {
  if (!fitsDiagram(value)) throw DiagramError("A place or a size in this diagram is no number that a file can hold.");
  return static_cast<std::int64_t>(std::round(value));  // rounding takes none beyond: from 2^52 on all are whole
}

template <typename Item>
void writeList(JsonWriter& writer, const std::vector<Item>& items) {
  writer.beginArray();
  for (const Item& item : items) writer.value(toJson(item));
  writer.endArray();
}

}  // namespace

Json toJson(const DiagramNode& node) {
  Json::Object json = node.extras;
  json["id"] = node.id;
  json["type"] = node.type;
  json["x"] = wholeNumber(node.x);
  json["y"] = wholeNumber(node.y);
  json["width"] = wholeNumber(node.width);
  json["height"] = wholeNumber(node.height);
  if (node.text) json["text"] = *node.text;
  if (node.color) json["color"] = *node.color;
  if (node.shape != DiagramShape::rectangle) json["shape"] = name(node.shape);
  return json;
}

Json toJson(const DiagramEdge& edge) {
  Json::Object json = edge.extras;
  json["id"] = edge.id;
  json["fromNode"] = edge.from;
  json["toNode"] = edge.to;
  if (edge.fromSide) json["fromSide"] = name(*edge.fromSide);
  if (edge.toSide) json["toSide"] = name(*edge.toSide);
  if (edge.hasStartArrow) json["fromEnd"] = "arrow";
  json["toEnd"] = edge.hasEndArrow ? "arrow" : "none";
  if (edge.color) json["color"] = *edge.color;
  if (edge.label) json["label"] = *edge.label;
  if (edge.line != DiagramLine::curved) json["line"] = name(edge.line);
  return json;
}

Json toJson(const DiagramStroke& stroke) {
  Json::Array points;
  points.reserve(stroke.points.size());
  for (const Point& point : stroke.points) points.emplace_back(Json::Array{point.x, point.y});
  Json::Object json = stroke.extras;
  json["id"] = stroke.id;
  json["points"] = std::move(points);
  if (stroke.color) json["color"] = *stroke.color;
  json["width"] = stroke.width;
  return json;
}

Diagram Diagram::parse(std::string_view text) {
  Diagram diagram;
  if (text::trimWhitespace(text).empty()) return diagram;
  Json rest = Json::parse(text, [&](std::string_view key) -> Json::ElementReader {
    if (key == "nodes") return readerOf(diagram.nodes, nodeFrom, "Node");
    if (key == "edges") return readerOf(diagram.edges, edgeFrom, "Connection");
    if (key == "strokes") return readerOf(diagram.strokes, strokeFrom, "Drawing");
    return {};
  });
  if (!rest.object()) throw DiagramError("There is no object in it.");
  takeList(*rest.object(), "nodes", diagram.nodes);
  takeList(*rest.object(), "edges", diagram.edges);
  takeList(*rest.object(), "strokes", diagram.strokes);
  diagram.extras = std::move(*rest.object());
  return diagram;
}

std::string Diagram::serialized() const {
  JsonWriter writer(JsonWriter::Layout::pretty);
  // The lists are written as they are made: as JSON they would take several times the room of their text.
  Json::Object members = extras;
  members["nodes"] = nullptr;
  members["edges"] = nullptr;
  if (!strokes.empty()) members["strokes"] = nullptr;
  writer.beginObject();
  for (const auto& [key, value] : members) {
    writer.key(key);
    if (key == "nodes") {
      writeList(writer, nodes);
    } else if (key == "edges") {
      writeList(writer, edges);
    } else if (key == "strokes") {
      writeList(writer, strokes);
    } else {
      writer.value(value);
    }
  }
  writer.endObject();
  return writer.take() + "\n";
}

}  // namespace vesk
