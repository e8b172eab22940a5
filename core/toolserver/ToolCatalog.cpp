#include "core/toolserver/ToolCatalog.h"

#include <algorithm>

#include <fmt/format.h>

#include "core/base/Text.h"
#include "core/toolserver/tools/ContextTools.h"
#include "core/toolserver/tools/DiagramTools.h"
#include "core/toolserver/tools/EmailNoteTools.h"
#include "core/toolserver/tools/FolderTools.h"
#include "core/toolserver/tools/InsightTools.h"
#include "core/toolserver/tools/LibraryTools.h"
#include "core/toolserver/tools/MailChangeTools.h"
#include "core/toolserver/tools/MailTools.h"
#include "core/toolserver/tools/MeetingTools.h"
#include "core/toolserver/tools/NoteChangeTools.h"
#include "core/toolserver/tools/NoteTools.h"
#include "core/toolserver/tools/ProposalTools.h"
#include "core/toolserver/tools/SourceTools.h"
#include "core/toolserver/tools/StructureTools.h"
#include "core/toolserver/tools/SyncTools.h"
#include "core/toolserver/tools/TaskTools.h"

namespace vesk::toolCatalog {

const std::vector<Tool>& tools() {
  // clang-format off
  static const std::vector<Tool> all = {
      searchNotesTool(),
      listNotesTool(),
      readNoteTool(),
      listFoldersTool(),
      listTagsTool(),
      moveNoteTool(),
      addEmailTool(),
      listEmailsTool(),
      searchEmailsTool(),
      readEmailTool(),
      draftEmailTool(),
      updateEmailTool(),
      createNoteTool(),
      createCollectionTool(),
      appendToNoteTool(),
      updateNoteTool(),
      renameNoteTool(),
      trashNoteTool(),
      createFolderTool(),
      renameFolderTool(),
      moveFolderTool(),
      trashFolderTool(),
      listTasksTool(),
      addTaskTool(),
      updateTaskTool(),
      addTaskNoteTool(),
      removeTaskTool(),
      listDiagramsTool(),
      readDiagramTool(),
      createDiagramTool(),
      updateDiagramTool(),
      renameDiagramTool(),
      trashDiagramTool(),
      getOverviewTool(),
      listCollectionsTool(),
      getConnectionsTool(),
      listMeetingsTool(),
      getLiveTranscriptTool(),
      getSharedScreenTool(),
      getOrganizationTool(),
      getContextMapTool(),
      getProjectContextTool(),
      updateProjectContextTool(),
      addSourceTool(),
      listUnprocessedSourcesTool(),
      runQueryTool(),
      renameTagTool(),
      openDailyNoteTool(),
      listSkillsTool(),
      readSkillTool(),
      getContextHealthTool(),
      listProposalsTool(),
      listGuidesTool(),
      readGuideTool(),
      syncStatusTool(),
      syncNowTool(),
  };
  // clang-format on
  return all;
}

const Tool* find(std::string_view name) {
  const auto found = std::find_if(tools().begin(), tools().end(), [&](const Tool& tool) { return tool.name == name; });
  return found == tools().end() ? nullptr : &*found;
}

std::optional<std::string> refusal(std::string_view name, const AIAccess& access) {
  const Tool* tool = find(name);
  if (!tool) return fmt::format("Unknown tool {}", text::firstUnits(name, 200));
  if (!tool->needs || access.*(tool->needs)) return std::nullopt;
  const auto switches = accessSwitches();
  const auto off =
      std::find_if(switches.begin(), switches.end(), [&](const auto& each) { return each.value == tool->needs; });
  return std::string(off->refusal);
}

}  // namespace vesk::toolCatalog
