#pragma once

#include <string>

namespace vesk::app {

// The manifest.json of the tool server's bundle for desktop assistants, which holds it as server/vesk-mcp
// (MCPB manifest, version 0.3).
std::string bundleManifest();

}  // namespace vesk::app
