#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>
#include <string_view>

#include <fmt/format.h>

#include "core/diagrams/Diagram.h"

namespace {

using namespace vesk;

void require(bool holds) {
  if (!holds) std::abort();
}

// Nothing is of a kind that a file can't hold, and no new node has the id of another.
void checkChanged(const Diagram& diagram, const DiagramAdditions& additions) {
  std::multiset<std::string_view> ids;
  for (const DiagramNode& node : diagram.nodes) ids.insert(node.id);
  for (const std::size_t index : additions.nodes) require(ids.count(diagram.nodes.at(index).id) == 1);
  for (const std::size_t index : additions.edges) {
    const DiagramEdge& edge = diagram.edges.at(index);
    require(edge.fromSide && edge.toSide && edge.from != edge.to && ids.contains(edge.from) && ids.contains(edge.to));
  }
  for (const std::size_t index : additions.strokes) require(diagram.strokes.at(index).points.size() >= 2);
  const std::string written = diagram.serialized();
  require(Diagram::parse(written).serialized() == written);
}

}  // namespace

// The input is a change set, an empty line, and the file that it is for.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const std::size_t end = text.find("\n\n");
  Diagram diagram;
  Json changes;
  try {
    changes = Json::parse(text.substr(0, end));
    if (end != text.npos) diagram = Diagram::parse(text.substr(end));
  } catch (const Error&) {
    return 0;
  }
  ignoredKeys(changes);
  const Diagram before = diagram;
  try {
    checkChanged(diagram, diagram.apply(changes, [made = 0]() mutable { return fmt::format("new {}", ++made); }));
  } catch (const DiagramChangeError&) {
    require(diagram == before);
  }
  return 0;
}
