#include "core/insights/LinkWatch.h"

#include <algorithm>
#include <set>
#include <unordered_set>
#include <utility>

#include "core/insights/LinkIndex.h"
#include "core/vault/VaultSearch.h"

namespace vesk {

LinkWatch::LinkWatch(const Vault& vault, std::string path) : vault_(vault), path_(std::move(path)) {
  if (const NoteRef note = vault_.note(path_)) names_ = {std::string(note->fileName()), note->title};
  const VaultSnapshot before = look();
  const LinkIndex index(before);
  for (const NoteRef& note : before.notes) {
    for (const std::string_view target : note->links) {
      const auto destination = index.destination(target).note;
      const bool isOther = destination && before.notes[*destination] != note;
      if (isOther && isBelow(before.notes[*destination]->id)) watched_.push_back({note->id, std::string(target)});
    }
  }
}

std::vector<LostLink> LinkWatch::lost(std::string_view newPath) const {
  if (watched_.empty()) return {};
  const VaultSnapshot after = look();
  const LinkIndex index(after);
  std::unordered_set<std::string_view> paths;
  for (const NoteRef& note : after.notes) paths.insert(note->id);
  std::set<std::pair<std::string, std::string>> found;
  for (const LostLink& link : watched_) {
    std::string notePath = pathAfter(link.notePath, newPath);
    if (paths.contains(notePath) && !index.destination(link.target).note)
      found.emplace(std::move(notePath), link.target);
  }
  std::vector<LostLink> lost;
  for (const auto& [notePath, target] : found) lost.push_back({notePath, target});
  return lost;
}

// The notes that can have to do with it.
VaultSnapshot LinkWatch::look() const {
  if (names_.empty()) return vault_.survey();
  return vault_.scanOnce([&](const NoteFile& file) {
    return std::ranges::any_of(names_, [&](const std::string& name) { return mayMean(file, name); });
  });
}

bool LinkWatch::isBelow(std::string_view notePath) const {
  return notePath.starts_with(path_) && (notePath.size() == path_.size() || notePath[path_.size()] == '/');
}

std::string LinkWatch::pathAfter(const std::string& notePath, std::string_view newPath) const {
  return newPath.empty() || !isBelow(notePath) ? notePath : std::string(newPath) + notePath.substr(path_.size());
}

}  // namespace vesk
