#include "core/toolserver/tools/LostLinks.h"

#include <utility>
#include <vector>

#include "core/toolserver/ToolResult.h"

namespace vesk {

namespace {

void addLostLinks(Json& result, const std::vector<LostLink>& lost) {
  constexpr std::size_t mostUnits = 20'000;
  if (lost.empty()) return;
  Json::Array entries;
  std::size_t units = 0;
  for (const LostLink& link : lost) {
    Json entry;
    entry["note"] = link.notePath;
    entry["link"] = toolResult::shortened(link.target, 200);
    units += toolResult::unitsAsEntry(entry);
    if (units > mostUnits) break;
    entries.push_back(std::move(entry));
  }
  if (entries.size() < lost.size()) result["links_to_nothing_total"] = lost.size();
  result["links_to_nothing"] = std::move(entries);
}

}  // namespace

std::string movedResult(std::string_view path, const LinkWatch& links) {
  Json result;
  result["path"] = path;
  addLostLinks(result, links.lost(path));
  return result.pretty();
}

std::string trashedResult(std::string_view path, const LinkWatch& links) {
  Json result;
  result["trashed"] = path;
  addLostLinks(result, links.lost(""));
  return result.pretty();
}

}  // namespace vesk
