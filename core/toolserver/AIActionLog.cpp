#include "core/toolserver/AIActionLog.h"

#include <algorithm>
#include <cstdint>
#include <unordered_map>

#include "core/base/Text.h"
#include "core/platform/FileError.h"
#include "core/platform/Folder.h"
#include "core/platform/LineFile.h"
#include "core/toolserver/SupportFile.h"
#include "core/toolserver/Undo.h"
#include "core/vault/VaultError.h"

namespace vesk {

namespace {

// An action as its lines tell it.
struct Entry {
  Timestamp date = distantPast;
  std::size_t order = 0;         // of its first line
  std::string_view newest = {};  // the line that holds
};

std::optional<AIAction> decoded(std::string_view line) {
  if (!line.starts_with('{')) return std::nullopt;
  try {
    return actionFrom(Json::parse(line));
  } catch (const JsonError&) {
    return std::nullopt;
  }
}

// Every action, by id, in no order.
std::vector<Entry> entriesOf(std::string_view log) {
  std::vector<Entry> entries;
  std::unordered_map<std::string, std::size_t> byID;
  for (const std::string_view line : text::split(log, '\n')) {
    const auto action = decoded(line);
    if (!action) continue;
    const auto [known, isNew] = byID.emplace(action->id, entries.size());
    if (isNew) entries.push_back({.order = entries.size()});
    entries[known->second].date = action->date;
    entries[known->second].newest = line;
  }
  return entries;
}

std::string read(const std::string& directory) {
  try {
    return Folder::open(directory).read(AIActionLog::fileName);
  } catch (const FileError& error) {
    if (error.isMissing()) return {};
    throw;
  }
}

}  // namespace

void AIActionLog::append(const AIAction& action) const {
  makePrivateFolder(directory_);
  lineFile::append(joinPath(directory_, fileName), toJson(action).compact(),
                   action.changesVault() ? lineFile::Durability::disk : lineFile::Durability::none);
}

void AIActionLog::requireWritable() const {
  makePrivateFolder(directory_);
  lineFile::requireWritable(joinPath(directory_, fileName));
}

std::vector<AIAction> AIActionLog::recent(std::size_t limit) const {
  const std::string log = read(directory_);
  std::vector<Entry> entries = entriesOf(log);
  const auto shown = entries.begin() + static_cast<std::ptrdiff_t>(std::min(limit, entries.size()));
  std::partial_sort(entries.begin(), shown, entries.end(), [](const Entry& a, const Entry& b) {
    return a.date != b.date ? a.date > b.date : a.order > b.order;
  });
  std::vector<AIAction> actions;
  for (auto entry = entries.begin(); entry != shown; ++entry) actions.push_back(*decoded(entry->newest));
  return actions;
}

std::optional<AIAction> AIActionLog::find(std::string_view id) const {
  std::optional<AIAction> found;
  const std::string log = read(directory_);
  for (const std::string_view line : text::split(log, '\n')) {
    if (line.find(id) == std::string_view::npos) continue;
    if (auto action = decoded(line); action && action->id == id) found = std::move(action);
  }
  return found;
}

void AIActionLog::undo(const AIAction& action, const Vault& vault) const {
  const FileLock alone = supportFile::lockReviews(directory_);
  requireWritable();
  takeBack(find(action.id).value_or(action), vault);
}

void AIActionLog::takeBack(AIAction action, const Vault& vault) const {
  undo::run(action, vault, directory_);
  action.isUndone = true;
  append(action);
}

}  // namespace vesk
