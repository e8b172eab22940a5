#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "core/diagrams/Diagram.h"

namespace {

using namespace vesk;

void require(bool holds) {
  if (!holds) std::abort();
}

// As the file holds it, where places and sizes are whole.
Diagram rounded(Diagram diagram) {
  for (DiagramNode& node : diagram.nodes)
    for (const auto number : {&DiagramNode::x, &DiagramNode::y, &DiagramNode::width, &DiagramNode::height})
      node.*number = std::round(node.*number);
  return diagram;
}

// The keys that Vesk doesn't know are in the file as they were.
void requireExtras(const Json& written, const Json::Object& extras) {
  for (const auto& [key, value] : extras) require(written.find(key) && *written.find(key) == value);
}

template <typename Item>
void requireExtras(const Json* list, const std::vector<Item>& items) {
  for (std::size_t i = 0; i < items.size(); ++i) requireExtras(list->array()->at(i), items[i].extras);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Diagram diagram;
  try {
    diagram = Diagram::parse(std::string_view(reinterpret_cast<const char*>(data), size));
  } catch (const Error&) {
    return 0;
  }
  const std::string written = diagram.serialized();
  const Diagram again = Diagram::parse(written);
  require(again == rounded(diagram));
  require(again.serialized() == written);

  const Json json = Json::parse(written);
  require(json.pretty() + "\n" == written);
  requireExtras(json, diagram.extras);
  requireExtras(json.find("nodes"), diagram.nodes);
  requireExtras(json.find("edges"), diagram.edges);
  requireExtras(json.find("strokes"), diagram.strokes);
  diagram.summary();
  return 0;
}
