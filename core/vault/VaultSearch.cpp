#include "core/vault/VaultSearch.h"

#include <algorithm>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <utility>

#include "core/base/Text.h"
#include "core/base/TextSearch.h"
#include "core/platform/Folder.h"
#include "core/vault/MarkdownScanner.h"
#include "core/vault/MarkdownView.h"
#include "core/vault/VaultScan.h"

namespace vesk {

namespace {

// Whether the words are in the title (true), or only in the body or a tag (false); nullopt when in none of them.
std::optional<bool> matchIn(const NoteFile& file, const text::TextSearch& words) {
  const bool inText = words.occursIn(file.text);
  if (!inText && !words.occursIn(file.fileName())) return std::nullopt;
  if (!text::isValidUtf8(file.text)) return std::nullopt;
  const MarkdownView view(file.text);
  if (words.occursIn(noteTitle(view, file.fileName()))) return true;
  if (words.occursIn(view.body)) return false;
  const auto tags = noteTags(view);
  const bool inTag = std::any_of(tags.begin(), tags.end(), [&](const std::string& tag) { return words.occursIn(tag); });
  return inTag ? std::optional(false) : std::nullopt;
}

bool comesBefore(const SearchHit& a, const SearchHit& b) {
  if (a.inTitle != b.inTitle) return a.inTitle;
  if (a.modified != b.modified) return a.modified > b.modified;
  return listedBefore(a.id, b.id);
}

}  // namespace

std::vector<SearchHit> searchVault(const Vault& vault, std::string_view query) {
  const text::TextSearch words(text::trimWhitespace(query));
  std::mutex mutex;
  std::vector<SearchHit> hits;
  vault.scanOnce([&](const NoteFile& file) {
    if (const auto inTitle = matchIn(file, words)) {
      SearchHit hit{std::string(file.id), *inTitle, file.modified()};
      const std::lock_guard lock(mutex);
      hits.push_back(std::move(hit));
    }
    return false;  // what is needed of it is known
  });
  std::sort(hits.begin(), hits.end(), comesBefore);
  return hits;
}

bool mayMean(const NoteFile& file, std::string_view name) {
  if (text::contains(file.text, name) || text::equalIgnoringCase(file.fileName(), name)) return true;
  markdown::LinkScanner scanner(file.text);
  while (const auto link = scanner.next())
    if (text::equalIgnoringCase(lastComponent(link->target), name)) return true;
  return false;
}

std::vector<std::string> newestNotes(const Vault& vault, const NoteFilter& isWanted) {
  std::mutex mutex;
  std::vector<SearchHit> found;
  vault.scanOnce([&](const NoteFile& file) {
    if (isWanted(file) && text::isValidUtf8(file.text)) {
      SearchHit note{.id = std::string(file.id), .modified = file.modified()};
      const std::lock_guard lock(mutex);
      found.push_back(std::move(note));
    }
    return false;
  });
  std::sort(found.begin(), found.end(), comesBefore);
  std::vector<std::string> ids;
  ids.reserve(found.size());
  for (SearchHit& note : found) ids.push_back(std::move(note.id));
  return ids;
}

std::vector<TagCount> countTags(const Vault& vault) {
  std::mutex mutex;
  std::unordered_map<std::string, std::size_t> counts;
  vault.scanOnce([&](const NoteFile& file) {
    if (!text::isValidUtf8(file.text)) return false;
    std::vector<std::string> tags = noteTags(MarkdownView(file.text));
    const std::lock_guard lock(mutex);
    for (std::string& tag : tags) ++counts[std::move(tag)];
    return false;
  });
  std::vector<TagCount> tags;
  tags.reserve(counts.size());
  for (const auto& [tag, count] : counts) tags.push_back({tag, count});
  sortMostUsedFirst(tags);
  return tags;
}

}  // namespace vesk
