#include "app/DiagramOutline.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "app/DiagramGroups.h"
#include "app/Terminal.h"
#include "core/base/Text.h"
#include "core/diagrams/DiagramLayout.h"

namespace vesk::app {

namespace {

using Words = std::vector<std::string>;

constexpr std::size_t deepestIndent = 10;  // levels; groups that lie deeper are not indented any further

std::string indent(std::size_t depth) { return std::string(2 * std::min(depth, deepestIndent), ' '); }

// ---- Words for the parts

// As it is written to the file; + 0.0 makes -0 plain.
std::string number(double value) { return fmt::format("{:.0f}", std::round(value) + 0.0); }

std::string place(const Rect& frame) {
  return fmt::format("at {}, {} · {} × {}", number(frame.x), number(frame.y), number(frame.width),
                     number(frame.height));
}

std::string colorName(const std::string& color) {
  constexpr std::string_view names[] = {"red", "orange", "yellow", "green", "cyan", "purple"};
  const bool isPreset = color.size() == 1 && color[0] >= '1' && color[0] <= '6';
  return isPreset ? std::string(names[color[0] - '1']) : color;
}

std::string_view arrow(const DiagramEdge& edge) {
  if (edge.hasStartArrow) return edge.hasEndArrow ? "↔" : "←";
  return edge.hasEndArrow ? "→" : "—";
}

std::vector<std::string_view> linesOf(const DiagramNode& node) {
  auto lines = text::split(text::trimWhitespace(node.label()), '\n');
  for (std::string_view& line : lines)
    if (line.ends_with('\r')) line.remove_suffix(1);
  return lines;
}

// Foreign ids, types and colours can hold anything, and stay on their line.
std::string joined(const Words& details) { return text::collapseWhitespace(text::join(details, ", ")); }

constexpr std::string_view unnamed = "(unnamed)";
constexpr std::string_view missing = "(missing)";

std::string orUnnamed(std::string_view name) { return std::string(name.empty() ? unnamed : name); }

std::string idOf(std::string_view id) { return fmt::format("id {}", id); }

// What a node is called where a connection leads to it.
std::string shortName(const DiagramNode& node) {
  constexpr std::size_t mostCharacters = 60;
  const std::string_view line = linesOf(node).front();
  const std::string_view beginning = text::firstCharacters(line, mostCharacters);
  return orUnnamed(beginning) + (beginning.size() < line.size() ? "…" : "");
}

// The sides of a connection; "" where none was chosen but those that face each other.
std::string sides(const DiagramEdge& edge, const DiagramNode* from, const DiagramNode* to) {
  if (from && to) {
    const auto [usualFrom, usualTo] = diagramLayout::facingSides(from->frame(), to->frame());
    if (edge.fromSide.value_or(usualFrom) == usualFrom && edge.toSide.value_or(usualTo) == usualTo) return "";
  }
  Words words;
  if (edge.fromSide) words.push_back(fmt::format("from {}", name(*edge.fromSide)));
  if (edge.toSide) words.push_back(fmt::format("to {}", name(*edge.toSide)));
  return text::join(words, " ");
}

OutlineLine lineOf(const DiagramStroke& stroke) {
  constexpr double usualPen = 2.5;
  Words details;
  if (stroke.color) details.push_back(colorName(*stroke.color));
  if (stroke.width != usualPen) details.push_back(fmt::format("pen {}", stroke.width));
  if (const auto bounds = stroke.bounds()) details.push_back(place(*bounds));
  return {"Drawing of " + counted(stroke.points.size(), "point"), joined(details), false, toJson(stroke).compact()};
}

OutlineLine countsOf(const Diagram& diagram) {
  const auto groups = static_cast<std::size_t>(
      std::ranges::count_if(diagram.nodes, [](const DiagramNode& node) { return node.type == "group"; }));
  const std::pair<std::size_t, const char*> counts[] = {{diagram.nodes.size() - groups, "node"},
                                                        {groups, "group"},
                                                        {diagram.edges.size(), "connection"},
                                                        {diagram.strokes.size(), "drawing"}};
  Words words;
  for (const auto& [count, noun] : counts)
    if (count > 0) words.push_back(counted(count, noun));
  return {words.empty() ? "Nothing is in this diagram." : text::join(words, ", ")};
}

// ---- The whole

class Outliner {
 public:
  explicit Outliner(const Diagram& diagram);

  std::vector<OutlineLine> lines();

 private:
  using Edges = std::vector<const DiagramEdge*>;

  void addNodes();
  void addNode(std::size_t index, std::size_t depth);
  void addEdges(const Edges& edges, std::size_t depth);
  OutlineLine lineOf(const DiagramEdge& edge) const;
  const DiagramNode* node(std::string_view id) const;
  bool needsID(std::size_t index) const { return names_[index] == unnamed || nameCounts_.at(names_[index]) > 1; }

  const Diagram& diagram_;
  std::vector<std::string> names_;  // by node
  std::map<std::string_view, std::size_t> nameCounts_;
  std::map<std::string_view, std::size_t> nodes_;  // by id
  std::map<std::string_view, Edges> edges_;        // by the id that they leave; those that are still to be shown
  std::vector<OutlineLine> lines_;
};

Outliner::Outliner(const Diagram& diagram) : diagram_(diagram) {
  for (const DiagramNode& node : diagram.nodes) names_.push_back(shortName(node));
  for (const std::string& name : names_) ++nameCounts_[name];
  for (std::size_t i = 0; i < diagram.nodes.size(); ++i) nodes_.emplace(diagram.nodes[i].id, i);
  for (const DiagramEdge& edge : diagram.edges) edges_[edge.from].push_back(&edge);
}

std::vector<OutlineLine> Outliner::lines() {
  addNodes();
  for (const auto& [id, edges] : edges_) {
    lines_.push_back({std::string(missing), joined({idOf(id)})});
    addEdges(edges, 1);
  }
  for (const DiagramStroke& stroke : diagram_.strokes) lines_.push_back(app::lineOf(stroke));
  lines_.push_back(countsOf(diagram_));
  return std::move(lines_);
}

// Not by recursion: there is no limit to how deep groups may lie in each other.
void Outliner::addNodes() {
  const std::size_t count = diagram_.nodes.size();
  const std::size_t top = count;  // stands for the group of those that lie in none
  std::vector<std::vector<std::size_t>> inside(count + 1);
  const auto enclosing = enclosingGroups(diagram_);
  for (std::size_t i = count; i-- > 0;) inside[enclosing[i].value_or(top)].push_back(i);
  std::vector<std::pair<std::size_t, std::size_t>> waiting;  // nodes and their depths, the next one last
  for (const std::size_t node : inside[top]) waiting.emplace_back(node, 0);
  while (!waiting.empty()) {
    const auto [node, depth] = waiting.back();
    waiting.pop_back();
    addNode(node, depth);
    for (const std::size_t inner : inside[node]) waiting.emplace_back(inner, depth + 1);
  }
}

void Outliner::addNode(std::size_t index, std::size_t depth) {
  const DiagramNode& node = diagram_.nodes[index];
  Words details;
  if (node.type != "text") details.push_back(node.type);
  if (node.shape != DiagramShape::rectangle) details.emplace_back(name(node.shape));
  if (node.color) details.push_back(colorName(*node.color));
  if (needsID(index)) details.push_back(idOf(node.id));
  details.push_back(place(node.frame()));

  const auto lines = linesOf(node);
  lines_.push_back({indent(depth) + orUnnamed(lines.front()), joined(details), true, toJson(node).compact()});
  for (std::size_t i = 1; i < lines.size(); ++i)
    lines_.push_back({fmt::format("{}│{}{}", indent(depth + 1), lines[i].empty() ? "" : " ", lines[i])});
  if (nodes_.at(node.id) != index) return;  // the connections are those of an earlier node of that id
  if (const auto edges = edges_.extract(node.id)) addEdges(edges.mapped(), depth + 1);
}

void Outliner::addEdges(const Edges& edges, std::size_t depth) {
  for (const DiagramEdge* edge : edges) {
    OutlineLine line = lineOf(*edge);
    line.text.insert(0, indent(depth));
    lines_.push_back(std::move(line));
  }
}

OutlineLine Outliner::lineOf(const DiagramEdge& edge) const {
  const auto target = nodes_.find(edge.to);
  const bool isMissing = target == nodes_.end();
  std::string text = fmt::format("{} {}", arrow(edge), isMissing ? missing : names_[target->second]);
  if (edge.label && !edge.label->empty()) text += fmt::format(" ({})", text::collapseWhitespace(*edge.label));

  Words details;
  if (isMissing || needsID(target->second)) details.push_back(idOf(edge.to));
  if (edge.line != DiagramLine::curved) details.emplace_back(name(edge.line));
  if (edge.color) details.push_back(colorName(*edge.color));
  if (auto chosen = sides(edge, node(edge.from), node(edge.to)); !chosen.empty()) details.push_back(std::move(chosen));
  return {std::move(text), joined(details), false, toJson(edge).compact()};
}

const DiagramNode* Outliner::node(std::string_view id) const {
  const auto found = nodes_.find(id);
  return found == nodes_.end() ? nullptr : &diagram_.nodes[found->second];
}

}  // namespace

std::vector<OutlineLine> outlineLines(const Diagram& diagram) { return Outliner(diagram).lines(); }

std::string shownLine(const OutlineLine& line) {
  return line.details.empty() ? line.text : fmt::format("{}  [{}]", line.text, line.details);
}

}  // namespace vesk::app
