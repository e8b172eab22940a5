#include "core/insights/Sources.h"

#include <string>
#include <unordered_map>

#include "core/base/Text.h"
#include "core/platform/Folder.h"

namespace vesk {

namespace {

using CitedNames = std::unordered_map<std::string, bool>;

void cite(CitedNames& names, const std::string& name) {
  const auto found = names.find(name);
  if (found != names.end()) found->second = true;
}

}  // namespace

std::vector<NoteRef> unprocessedSources(const VaultSnapshot& snapshot) {
  std::vector<NoteRef> sources;
  CitedNames fileNames;
  CitedNames titles;
  for (const NoteRef& note : snapshot.notes) {
    if (note->bucket != Bucket::sources || note->isVeskPage) continue;
    sources.push_back(note);
    fileNames.try_emplace(text::key(note->fileName()));
    titles.try_emplace(text::key(note->title));
  }
  for (const NoteRef& note : snapshot.notes) {
    if (note->bucket == Bucket::sources || sources.empty()) continue;
    for (const std::string_view link : note->links) {
      const std::string target = text::key(link);
      cite(titles, target);
      cite(fileNames, std::string(lastComponent(target)));
    }
  }
  std::erase_if(sources, [&](const NoteRef& source) {
    return fileNames.at(text::key(source->fileName())) || titles.at(text::key(source->title));
  });
  sortNewestFirst(sources);
  return sources;
}

}  // namespace vesk
