#include "core/toolserver/tools/DiagramTools.h"

#include <algorithm>
#include <array>
#include <utility>

#include <fmt/format.h>

#include "core/base/Text.h"
#include "core/base/Time.h"
#include "core/platform/FileError.h"
#include "core/toolserver/ToolError.h"
#include "core/toolserver/ToolResult.h"
#include "core/vault/Places.h"
#include "core/vault/VaultError.h"

namespace vesk {

namespace {

using toolResult::quoted;

constexpr std::size_t titleCharacters = 200;
constexpr std::size_t notesUnits = 3'000;     // of the notes that show a diagram
constexpr std::size_t ignoredUnits = 3'000;   // of arguments without effect
constexpr std::size_t entriesUnits = 36'000;  // of nodes, connections and drawings

Json pathAndEmbed(const std::string& path) {
  Json result;
  result["path"] = path;
  result["embed"] = diagramEmbed(path);
  return result;
}

// ---- list_diagrams

std::string listDiagrams(ToolContext& context, const ToolArguments& arguments) {
  const auto files = diagrams(context.vault());
  toolResult::Page page("diagrams", files.size(), arguments.offset(), arguments.limit());
  for (std::size_t i = page.begin(); i < page.end(); ++i) {
    Json entry = pathAndEmbed(files[i].path);
    entry["title"] = toolResult::shortened(files[i].title, titleCharacters);
    entry["modified"] = time::iso8601(files[i].modified);
    if (!page.add(std::move(entry))) break;
  }
  return page.text();
}

// ---- read_diagram

// A node, connection or drawing, and the key of the list that it belongs to.
struct Entry {
  const char* list = nullptr;
  Json json = {};
};

// What is too long to be given whole is given as far as it fits.
Json fitted(Json json) {
  constexpr std::size_t longestText = 3'000;  // characters
  constexpr std::size_t mostPoints = 400;
  if (toolResult::unitsAsEntry(json) <= entriesUnits) return json;
  for (const char* key : {"id", "type", "from", "to", "color"})
    if (const Json* text = json.find(key); text && text->string())
      json[key] = toolResult::shortened(*text->string(), titleCharacters);
  for (const char* key : {"text", "label"})
    if (const Json* text = json.find(key)) json[key] = toolResult::shortened(*text->string(), longestText);
  if (json.find("points") && json["points"].array()->size() > mostPoints) {
    json["points_total"] = json["points"].array()->size();
    json["points"].array()->resize(mostPoints);
  }
  return json;
}

std::vector<Entry> entriesOf(const Diagram& diagram) {
  std::vector<Entry> entries;
  for (const DiagramNode& node : diagram.nodes) entries.push_back({"nodes", fitted(summaryOf(node))});
  for (const DiagramEdge& edge : diagram.edges) entries.push_back({"edges", fitted(summaryOf(edge))});
  for (const DiagramStroke& stroke : diagram.strokes) entries.push_back({"strokes", fitted(summaryOf(stroke))});
  return entries;
}

// Where each part of the entries ends that fits a result; one part for none.
std::vector<std::size_t> partEnds(const std::vector<Entry>& entries) {
  std::vector<std::size_t> ends;
  std::size_t units = 0;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const std::size_t taken = toolResult::unitsAsEntry(entries[i].json);
    if (units > 0 && units + taken > entriesUnits) {
      ends.push_back(i);
      units = 0;
    }
    units += taken;
  }
  ends.push_back(entries.size());
  return ends;
}

std::string readDiagramText(ToolContext& context, const ToolArguments& arguments) {
  const DiagramFile file = context.diagram(arguments);
  std::vector<Entry> entries = entriesOf(readDiagram(context.vault(), file.path).diagram);
  const auto ends = partEnds(entries);
  const std::size_t part = arguments.part();
  Json result = pathAndEmbed(file.path);
  toolResult::addPartNumber(result, part, ends.size(), "diagram", "read_diagram");
  for (const char* list : {"nodes", "edges", "strokes"}) result[list] = Json::Array();
  for (std::size_t i = part == 1 ? 0 : ends[part - 2]; i < ends[part - 1]; ++i)
    result[entries[i].list].array()->push_back(std::move(entries[i].json));
  context.recordRead(file.title, file.path);
  return result.pretty();
}

// ---- create_diagram and update_diagram

Json addedNode(const DiagramNode& node) {
  constexpr std::size_t shownText = 60;  // characters: enough to tell it apart
  Json entry;
  entry["id"] = node.id;
  entry["text"] = toolResult::shortened(node.label(), shownText);
  entry["x"] = node.x;
  entry["y"] = node.y;
  entry["width"] = node.width;
  entry["height"] = node.height;
  return entry;
}

Json addedEdge(const DiagramEdge& edge) {
  Json entry;
  entry["id"] = edge.id;
  entry["from"] = edge.from;
  entry["to"] = edge.to;
  if (edge.fromSide) entry["from_side"] = name(*edge.fromSide);
  if (edge.toSide) entry["to_side"] = name(*edge.toSide);
  return entry;
}

Json addedStroke(const DiagramStroke& stroke) {
  Json entry;
  entry["id"] = stroke.id;
  entry["points"] = stroke.points.size();
  return entry;
}

std::vector<Entry> addedEntries(const Diagram& diagram, const DiagramAdditions& additions) {
  std::vector<Entry> entries;
  for (const std::size_t i : additions.nodes) entries.push_back({"added_nodes", fitted(addedNode(diagram.nodes[i]))});
  for (const std::size_t i : additions.edges) entries.push_back({"added_edges", fitted(addedEdge(diagram.edges[i]))});
  for (const std::size_t i : additions.strokes) entries.push_back({"added_strokes", addedStroke(diagram.strokes[i])});
  return entries;
}

// What a call did to a diagram.
struct Change {
  Diagram before = {};
  Diagram after = {};  // as it stands in the file
  DiagramAdditions additions = {};
  Json set = {};  // the call's arguments
};

std::size_t listSize(const Json& set, std::string_view key) {
  const Json* list = set.find(key);
  return list && list->array() ? list->array()->size() : 0;
}

// How much of each kind there is, was updated and was removed; of the last two nothing where it is none.
void addCounts(Json& result, const Change& change) {
  const auto addIfAny = [&](const std::string& key, std::size_t count) {
    if (count > 0) result[key] = count;
  };
  const auto add = [&](const std::string& what, std::size_t before, std::size_t added, std::size_t after) {
    result["total_" + what] = after;
    addIfAny("removed_" + what, before + added - after);
    addIfAny("updated_" + what, listSize(change.set, "update_" + what));
  };
  const auto& [before, after, additions, set] = change;
  add("nodes", before.nodes.size(), additions.nodes.size(), after.nodes.size());
  add("edges", before.edges.size(), additions.edges.size(), after.edges.size());
  add("strokes", before.strokes.size(), additions.strokes.size(), after.strokes.size());
}

// What an assistant needs to go on: the ids of what is new, where it was placed, and what was passed over.
std::string changeResult(const std::string& path, const Change& change) {
  Json result = pathAndEmbed(path);
  addCounts(result, change);
  if (change.before == change.after) result["message"] = "Nothing in it changed.";
  if (const auto ignored = ignoredKeys(change.set); !ignored.empty()) {
    toolResult::addList(result, "ignored", ignored, ignoredUnits);
    result["why_ignored"] = "Not in the form that the tool's schema gives.";
  }
  std::vector<Entry> entries = addedEntries(change.after, change.additions);
  const std::size_t fitting = partEnds(entries).front();
  for (std::size_t i = 0; i < fitting; ++i) {
    Json& list = result[entries[i].list];
    if (!list.array()) list = Json::Array();
    list.array()->push_back(std::move(entries[i].json));
  }
  if (fitting < entries.size())
    result["not_shown"] = fmt::format("{} more were added. Use read_diagram to see them.", entries.size() - fitting);
  return result.pretty();
}

// "2 nodes, 1 connection"; "" for nothing.
std::string countsText(const DiagramAdditions& additions) {
  const std::array<std::pair<std::size_t, const char*>, 3> counts = {{{additions.nodes.size(), "node"},
                                                                      {additions.edges.size(), "connection"},
                                                                      {additions.strokes.size(), "drawing"}}};
  std::vector<std::string> parts;
  for (const auto& [count, what] : counts)
    if (count > 0) parts.push_back(fmt::format("{} {}{}", count, what, count == 1 ? "" : "s"));
  return text::join(parts, ", ");
}

// What a new diagram takes of a change set.
Json additionsOf(const Json& arguments) {
  Json set = Json::Object();
  for (const char* key : {"add_nodes", "add_edges", "add_strokes", "direction"})
    if (const Json* value = arguments.find(key)) set[key] = *value;
  return set;
}

PlannedChange createDiagramFile(ToolContext& context, const ToolArguments& arguments) {
  const std::string title(text::trimWhitespace(arguments.text("title", "A title is required.")));
  if (title.empty()) throw ToolError("A title is required.");
  const std::string folder = arguments.optionalText("folder")
                                 ? context.folder(arguments, "folder", "A folder path is required.")
                                 : diagramFolder(context.vault(), placeFolder(context.vault(), Bucket::resources));
  diagramPath(title, folder);  // throws for a title that can't be a name
  Diagram diagram;
  const DiagramAdditions additions = diagram.apply(additionsOf(arguments.json()), context.newIDs());
  PlannedChange change{.title = fmt::format("Create the diagram {} in {}", quoted(title), folder),
                       .destination = folder};
  if (const std::string counts = countsText(additions); !counts.empty()) change.title += ": " + counts;
  change.after = diagram.serialized();
  change.carryOut = [&context, title, folder, additions, text = *change.after, set = arguments.json()] {
    const std::string path = firstDiagramPath(
        title, folder, [&](const std::string& free) { return context.changes().createFile(free, title, text); });
    return changeResult(path, {{}, Diagram::parse(text), additions, set});
  };
  return change;
}

PlannedChange updateDiagram(ToolContext& context, const ToolArguments& arguments) {
  const DiagramFile file = context.diagram(arguments);
  const ReadDiagram read = readDiagram(context.vault(), file.path);
  Diagram diagram = read.diagram;
  const DiagramAdditions additions = diagram.apply(arguments.json(), context.newIDs());
  PlannedChange change{.title = fmt::format("Change the diagram {}", quoted(file.title)), .notePath = file.path};
  change.before = read.text;
  change.after = diagram == read.diagram ? read.text : diagram.serialized();
  change.changesNothing = change.after == change.before;
  change.carryOut = [&context, file, additions, read, after = *change.after, set = arguments.json()] {
    context.changes().edit(file.path, file.title, [&](const std::string& current) {
      if (current != read.text) throw VaultError::conflict();
      return after;
    });
    return changeResult(file.path, {read.diagram, Diagram::parse(after), additions, set});
  };
  return change;
}

// ---- rename_diagram and trash_diagram

// Its text, for the user to see that it is still the one that was shown; nullopt where it can't be kept as text.
std::optional<std::string> textOf(const ToolContext& context, const DiagramFile& file) {
  try {
    std::string text = context.vault().read(file.path);
    return text::isValidUtf8(text) ? std::optional(std::move(text)) : std::nullopt;
  } catch (const FileError&) {
    return std::nullopt;  // what can't be read can be moved all the same
  }
}

PlannedChange renameDiagramFile(ToolContext& context, const ToolArguments& arguments) {
  const DiagramFile file = context.diagram(arguments);
  const std::string title(text::trimWhitespace(arguments.text("title", "A new title is required.")));
  if (title.empty()) throw ToolError("A new title is required.");
  const std::string renamed = nextDiagramPath(context.vault(), title, parentPath(file.path));
  PlannedChange change{
      .title = fmt::format("Rename the diagram {} to {}", quoted(file.title), quoted(diagramTitle(renamed))),
      .notePath = file.path,
      .destination = renamed};
  change.before = textOf(context, file);
  change.after = change.before;
  change.carryOut = [&context, file, renamed] {
    context.changes().renameFile(file.path, file.title, renamed);
    Json result = pathAndEmbed(renamed);
    result["former_embed"] = diagramEmbed(file.path);
    toolResult::addList(result, "still_in_notes", context.notesShowing(file), notesUnits);
    return result.pretty();
  };
  return change;
}

PlannedChange trashDiagram(ToolContext& context, const ToolArguments& arguments) {
  const DiagramFile file = context.diagram(arguments);
  PlannedChange change{.title = fmt::format("Move the diagram {} to the Trash", quoted(file.title)),
                       .notePath = file.path};
  change.before = textOf(context, file);
  change.carryOut = [&context, file] {
    context.changes().trash(file.path, file.title);
    Json result;
    result["trashed"] = file.path;
    result["former_embed"] = diagramEmbed(file.path);
    toolResult::addList(result, "still_in_notes", context.notesShowing(file), notesUnits);
    return result.pretty();
  };
  return change;
}

// ---- Schemas

Parameter side(std::string_view name) {
  return {.name = name, .type = "string", .values = {"top", "right", "bottom", "left"}};
}

Parameter color() { return {"color", "string", "1 red, 2 orange, 3 yellow, 4 green, 5 cyan, 6 purple, or #RRGGBB."}; }

std::vector<Parameter> nodeMembers(Parameter id) {
  return {std::move(id),
          {"text", "string", "Markdown."},
          {.name = "shape", .type = "string", .values = {"rectangle", "ellipse", "sticky", "diamond"}},
          color(),
          {"x", "number"},
          {"y", "number", "Grows downward."},
          {"width", "number"},
          {"height", "number"}};
}

// Those that a new connection and one that is changed have in common follow `ends`.
std::vector<Parameter> edgeMembers(std::vector<Parameter> ends) {
  const std::vector<Parameter> settings = {{"label", "string"},
                                           {.name = "line", .type = "string", .values = {"curved", "elbow"}},
                                           color(),
                                           side("from_side"),
                                           side("to_side"),
                                           {"start_arrow", "boolean"},
                                           {"end_arrow", "boolean", "A new connection has one."}};
  ends.insert(ends.end(), settings.begin(), settings.end());
  return ends;
}

Parameter objects(std::string_view name, std::string_view description, std::vector<Parameter> members) {
  return {.name = name, .type = "array", .description = description, .members = std::move(members)};
}

Parameter ids(std::string_view name) {
  return {name, "array", "The ids to remove. Removing a node removes its connections."};
}

// What both a new diagram and one that is changed can be given.
std::vector<Parameter> additionParameters() {
  return {
      objects("add_nodes", "Nodes to add.", nodeMembers({"id", "string", "Your name for it, used by connections."})),
      objects("add_edges", "Connections to add.",
              edgeMembers({{"from", "string", "A node's id.", true}, {"to", "string", "A node's id.", true}})),
      objects("add_strokes", "Freehand drawings to add.",
              {{"points", "points", "[x, y] points.", true}, color(), {"width", "number"}}),
      {.name = "direction",
       .type = "string",
       .description = "Which way automatic layout flows. Default right.",
       .values = {"right", "down"}}};
}

std::vector<Parameter> joined(std::vector<Parameter> parameters, const std::vector<Parameter>& more) {
  parameters.insert(parameters.end(), more.begin(), more.end());
  return parameters;
}

}  // namespace

Tool listDiagramsTool() {
  return {"list_diagrams",
          "List diagrams, most recently edited first, with the line that embeds each in a note.",
          {parameters::limit(), parameters::offset()},
          Effect::reads,
          &AIAccess::canRead,
          listDiagrams};
}

Tool readDiagramTool() {
  return {"read_diagram",
          "Read a diagram's nodes, connections and drawings.",
          {parameters::diagram(), {"part", "integer", "Which part of a large diagram to read. Default 1.", false, 1}},
          Effect::reads,
          &AIAccess::canRead,
          readDiagramText};
}

Tool createDiagramTool() {
  return {"create_diagram",
          "Create a diagram, saved as a .canvas file that also opens in Obsidian. Give nodes and connections; nodes "
          "without x and y are laid out for you, so positions are rarely needed. Use the returned embed line in a note "
          "to show it there.",
          joined({{"title", "string", "The diagram's name.", true},
                  {"folder", "string", "A path from list_folders. By default it goes with the other diagrams."}},
                 additionParameters()),
          Effect::adds,
          &AIAccess::canEditDiagrams,
          createDiagramFile};
}

Tool updateDiagramTool() {
  const Parameter id = {"id", "string", "", true};
  const std::vector<Parameter> changes = {
      objects("update_nodes", "Each has an id, plus any of text, shape, color, x, y, width, height.", nodeMembers(id)),
      objects("update_edges",
              "Each has an id, plus any of label, line, color, from_side, to_side, start_arrow, end_arrow.",
              edgeMembers({id})),
      ids("remove_nodes"), ids("remove_edges"), ids("remove_strokes")};
  return {"update_diagram",
          "Change a diagram. All changes in a call apply together, or none do. The user can undo this in Vesk.",
          joined(joined({parameters::diagram()}, additionParameters()), changes),
          Effect::changes,
          &AIAccess::canEditDiagrams,
          updateDiagram};
}

Tool renameDiagramTool() {
  return {"rename_diagram",
          "Rename a diagram's file. Notes embedding the old name stop showing it until they're updated.",
          {parameters::diagram(), {"title", "string", "The new title.", true}},
          Effect::changes,
          &AIAccess::canEditDiagrams,
          renameDiagramFile};
}

Tool trashDiagramTool() {
  return {"trash_diagram",         "Move a diagram to the Trash. The user can undo this in Vesk.",
          {parameters::diagram()}, Effect::destroys,
          &AIAccess::canTrash,     trashDiagram};
}

}  // namespace vesk
