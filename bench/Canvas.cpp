#include "bench/Canvas.h"

#include <iterator>
#include <set>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "bench/generator/Random.h"

namespace vesk::bench {

namespace {

std::string words(Random& random) {
  static constexpr std::string_view choices[] = {"the",    "garden", "terrace",  "stone",   "water",   "winter",
                                                 "budget", "client", "project",  "meeting", "ação",    "für",
                                                 "資料",   "**by**", "[[Plan]]", "\\n",     "- [ ] a", "🌿"};
  std::string text(random.pick(choices));
  for (std::size_t more = random.below(8); more > 0; --more) text.append(" ").append(random.pick(choices));
  return text;
}

void addNode(std::string& text, std::size_t number, Random& random) {
  fmt::format_to(std::back_inserter(text), R"({{"id":"{:016x}","type":"text","text":"{}","x":{},"y":{})", number,
                 words(random), static_cast<long>(random.below(20'000)) - 10'000, random.below(10'000));
  fmt::format_to(std::back_inserter(text), R"(,"width":{},"height":{})", random.between(100, 400),
                 random.between(50, 200));
  if (random.percent(20)) fmt::format_to(std::back_inserter(text), R"(,"color":"{}")", random.between(1, 6));
  text += '}';
}

}  // namespace

std::string canvasText(std::size_t nodes) {
  Random random(nodes);
  std::string text = "{\n\t\"nodes\":[\n\t\t";
  for (std::size_t node = 0; node < nodes; ++node) {
    if (node > 0) text += ",\n\t\t";
    addNode(text, node, random);
  }
  text += "\n\t],\n\t\"edges\":[\n\t\t";
  for (std::size_t node = 1; node < nodes; ++node) {
    if (node > 1) text += ",\n\t\t";
    fmt::format_to(std::back_inserter(text), R"({{"id":"e{:015x}","fromNode":"{:016x}","fromSide":"right",)", node,
                   random.below(node));
    fmt::format_to(std::back_inserter(text), R"("toNode":"{:016x}","toSide":"left"}})", node);
  }
  return text + "\n\t]\n}";
}

std::string changeSetText(std::size_t nodes, Links links) {
  Random random(nodes);
  std::string text = "{\"add_nodes\":[";
  for (std::size_t node = 0; node < nodes; ++node)
    fmt::format_to(std::back_inserter(text), R"({}{{"id":"new {}","text":"{}"}})", node > 0 ? "," : "", node,
                   words(random));
  text += "],\"add_edges\":[";
  std::set<std::pair<std::size_t, std::size_t>> connected;
  while (connected.size() < 2 * nodes) {
    auto from = random.below(nodes);
    auto to = random.below(nodes);
    if (links == Links::forward && from > to) std::swap(from, to);
    if (from == to || !connected.emplace(from, to).second) continue;
    fmt::format_to(std::back_inserter(text), R"({}{{"from":"new {}","to":"new {}"}})", connected.size() > 1 ? "," : "",
                   from, to);
  }
  return text + "]}";
}

}  // namespace vesk::bench
