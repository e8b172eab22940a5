#pragma once

#include <algorithm>
#include <chrono>
#include <initializer_list>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Time.h"
#include "core/vault/VaultSnapshot.h"
#include "tests/vault/VaultTesting.h"

namespace vesk::test {

// 2026-11-21 at noon.
inline const Timestamp noon = time::parseIso8601("2026-11-21T12:00:00Z").value();

inline Timestamp daysBefore(int days, Timestamp moment = noon) { return moment - std::chrono::days(days); }

// A snapshot without a folder on disk, of PARA places and a "Sources", made note by note.
class MadeVault {
 public:
  MadeVault() { snapshot.organization.places.push_back({Bucket::sources, "Sources"}); }
  MadeVault(std::initializer_list<std::pair<std::string, std::string>> notes) : MadeVault() {
    for (const auto& [id, text] : notes) add(id, text);
  }

  void add(const std::string& id, std::string_view text, Timestamp modified = noon, Timestamp created = noon) {
    FolderNode& folder = folderAt(parentPath(id));
    Note note{.id = id, .modified = modified, .created = created, .bucket = folder.bucket};
    readNoteText(note, text);
    snapshot.notes.push_back(std::make_shared<const Note>(std::move(note)));
    folder.notes.push_back(snapshot.notes.back());
  }

  FolderNode& folderAt(std::string_view path) {
    if (path.empty()) return snapshot.root;
    FolderNode& parent = folderAt(parentPath(path));
    const std::string name(lastComponent(path));
    const auto found = std::ranges::find(parent.folders, name, &FolderNode::name);
    if (found != parent.folders.end()) return *found;
    const Bucket role = parent.id.empty() ? snapshot.organization.role(name).value_or(Bucket::other) : parent.bucket;
    return parent.folders.emplace_back(FolderNode{std::string(path), name, role});
  }

  VaultSnapshot snapshot = {};
};

// Notes of random pieces, each with one of the endings, in folders that come again and again.
inline MadeVault randomVault(std::mt19937& random, const std::vector<std::string_view>& pieces,
                             const std::vector<std::string_view>& endings = {""}) {
  const std::vector<std::string_view> folders = {"Projects/a/", "Projects/b/",      "Areas/a/", "Resources/r/",
                                                 "Resources/",  "Projects/a/deep/", "Archive/", ""};
  const std::vector<std::string_view> names = {"Plan", "PLAN", "Café", "Cafe\u0301", "note",
                                               "x y",  "x  y", "Σας",  "ΣΑΣ"};
  MadeVault vault;
  for (const std::string_view folder : folders) vault.folderAt(parentPath(folder));
  for (std::size_t count = random() % 14; count > 0; --count) {
    std::string id(folders[random() % folders.size()]);
    id.append(names[random() % names.size()]).append(".md");
    if (std::ranges::count(vault.snapshot.notes, id, [](const NoteRef& note) { return note->id; }) == 0)
      vault.add(id, randomText(random, pieces, 12).append(endings[random() % endings.size()]));
  }
  return vault;
}

}  // namespace vesk::test
