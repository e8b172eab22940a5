#include "core/toolserver/tools/SyncTools.h"

#include <utility>

#include "core/base/Time.h"
#include "core/platform/Environment.h"
#include "core/sync/GitSync.h"
#include "core/sync/ICloudDrive.h"
#include "core/toolserver/ToolError.h"
#include "core/toolserver/ToolResult.h"

namespace vesk {

namespace {

Json historyOf(const GitSync& sync) {
  constexpr std::size_t shownCommits = 20;
  constexpr std::size_t messageCharacters = 200;
  Json::Array entries;
  for (const GitCommit& commit : sync.history(shownCommits)) {
    Json entry;
    entry["hash"] = commit.hash;
    entry["date"] = time::iso8601(commit.date);
    entry["message"] = toolResult::shortened(commit.message, messageCharacters);
    entries.push_back(std::move(entry));
  }
  return entries;
}

std::string syncStatus(ToolContext& context, const ToolArguments&) {
  constexpr std::size_t addressCharacters = 500;
  const GitSync sync(context.vault().root());
  const GitStatus status = sync.status();
  Json result;
  result["syncs_with_git"] = status.remote.has_value();
  result["in_icloud_drive"] = ICloudDrive(environment::home()).contains(context.vault().root());
  if (!status.isRepository) return result.pretty();
  if (status.remote) result["remote"] = toolResult::shortened(*status.remote, addressCharacters);
  result["branch"] = toolResult::shortened(status.branch, addressCharacters);
  result["changes_waiting"] = status.pendingChanges;
  if (status.ahead) result["commits_to_push"] = *status.ahead;
  if (status.behind) result["commits_to_pull"] = *status.behind;
  if (!status.unfinished.empty()) result["unfinished"] = status.unfinished;
  if (status.hasConflicts) result["has_conflicts"] = true;
  result["history"] = historyOf(sync);
  return result.pretty();
}

PlannedChange syncNow(ToolContext& context, const ToolArguments&) {
  const GitSync sync(context.vault().root());
  if (sync.isRepository() && !sync.remote()) sync.status();  // throws what a git that fails says
  if (!sync.isRepository() || !sync.remote())
    throw ToolError("This vault isn't connected to a repository. That's set up in Vesk.");
  PlannedChange change{.title = "Sync the vault"};
  change.carryOut = [&context, sync] {
    const SyncResult done = sync.sync();
    context.changes().recordSync("Sync");
    Json result;
    result["committed"] = done.committed;
    result["pulled"] = done.pulled;
    result["pushed"] = done.pushed;
    return result.pretty();
  };
  return change;
}

}  // namespace

Tool syncStatusTool() {
  return {"sync_status",
          "Show whether the vault syncs with GitHub or iCloud, what's waiting and the recent history.",
          {},
          Effect::reads,
          &AIAccess::canRead,
          syncStatus};
}

Tool syncNowTool() {
  return {"sync_now",
          "Commit, pull and push the vault to its connected repository. Connecting one is done in Vesk.",
          {},
          Effect::syncs,
          &AIAccess::canSync,
          syncNow};
}

}  // namespace vesk
