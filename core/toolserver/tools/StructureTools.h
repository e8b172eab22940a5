#pragma once

#include <cstddef>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/toolserver/Tool.h"

// Tools on how the vault is arranged.
namespace vesk {

Tool listFoldersTool();
Tool listTagsTool();
Tool getOrganizationTool();

// The notes in each folder and in those below it, by its path: as many as list_notes gives for it.
std::unordered_map<std::string_view, std::size_t> notesWithin(const std::vector<FolderSummary>& folders);

}  // namespace vesk
