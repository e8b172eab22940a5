#include "app/BundleManifest.h"

#include <utility>

#include "core/base/Json.h"
#include "core/toolserver/ToolCatalog.h"

namespace vesk::app {

namespace {

Json serverEntry() {
  Json server;
  server["type"] = "binary";
  server["entry_point"] = "server/vesk-mcp";
  server["mcp_config"]["command"] = "${__dirname}/server/vesk-mcp";
  server["mcp_config"]["args"] = Json::Array{};
  return server;
}

Json::Array toolEntries() {
  Json::Array tools;
  for (const Tool& tool : toolCatalog::tools())
    tools.push_back(Json::Object{{"name", tool.name}, {"description", tool.description}});
  return tools;
}

}  // namespace

std::string bundleManifest() {
  Json manifest;
  manifest["manifest_version"] = "0.3";
  manifest["name"] = "vesk";
  manifest["display_name"] = "Vesk";
  manifest["version"] = VESK_VERSION;
  manifest["description"] = "Your folder of Markdown notes, with its tasks, diagrams and mail, within what you allow.";
  manifest["author"]["name"] = "The Vesk developers";
  manifest["server"] = serverEntry();
  manifest["tools"] = toolEntries();
  manifest["keywords"] = Json::Array{"notes", "markdown", "tasks", "knowledge"};
  manifest["compatibility"]["platforms"] = Json::Array{"linux"};
  return manifest.pretty();
}

}  // namespace vesk::app
