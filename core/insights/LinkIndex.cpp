#include "core/insights/LinkIndex.h"

#include "core/base/Text.h"
#include "core/platform/Folder.h"
#include "core/platform/Parallel.h"

namespace vesk {

namespace {

// Whether the path is `target`, or ends in it behind a folder.
bool leadsTo(std::string_view path, std::string_view target) {
  if (!path.ends_with(target)) return false;
  return path.size() == target.size() || path[path.size() - target.size() - 1] == '/';
}

}  // namespace

LinkIndex::LinkIndex(const VaultSnapshot& snapshot)
    : notes_(snapshot.notes),
      firsts_(notes_.size()),
      writtenNames_(notes_.size()),
      fileNames_(notes_.size()),
      titles_(notes_.size()) {
  std::vector<std::string> fileKeys(notes_.size());
  std::vector<std::string> titleKeys(notes_.size());  // empty where the title is the file's name
  inParallel(notes_.size(), [&](std::size_t i) {
    fileKeys[i] = text::key(notes_[i]->fileName());
    if (notes_[i]->title != notes_[i]->fileName()) titleKeys[i] = text::key(notes_[i]->title);
  });
  std::vector<bool> isShared(notes_.size());  // the name of a first note, by others
  for (std::size_t i = 0; i < notes_.size(); ++i) {
    const std::string_view name = lastComponent(path(i));
    writtenNames_.add(name, i, path(i).substr(0, path(i).size() - name.size()));
    firsts_[i] = fileNames_.add(fileKeys[i], i);
    if (firsts_[i] != i) isShared[firsts_[i]] = true;
    if (!titleKeys[i].empty()) titles_.add(titleKeys[i], i);
  }
  for (std::size_t i = 0; i < notes_.size(); ++i)
    if (isShared[firsts_[i]]) addEndings(i);
}

void LinkIndex::addEndings(std::size_t note) {
  const std::string key = text::key(path(note));
  for (std::string_view ending = key; ending.find('/') != std::string_view::npos;) {
    const auto [entry, isNew] = endings_.try_emplace(std::string(ending), Meaning{note});
    if (!isNew) entry->second.isOnly = false;
    ending.remove_prefix(ending.find('/') + 1);
  }
}

std::string_view LinkIndex::path(std::size_t note) const {
  const std::string_view id = notes_[note]->id;
  return id.substr(0, id.rfind('.'));
}

LinkIndex::Destination LinkIndex::destinationOf(const Meaning& meaning, std::optional<std::size_t> named) {
  return {true, meaning.isOnly ? std::optional<std::size_t>(meaning.note) : std::nullopt, named};
}

// Most links are written exactly like the note's name, and finding those takes no key.
LinkIndex::Destination LinkIndex::destination(std::string_view target) const {
  const std::string_view name = lastComponent(target);
  if (const auto written = writtenNames_.find(name)) {
    const bool isName = name.size() == target.size();
    if (isName || (written->isOnly && leadsTo(written->path, target))) return destinationOf(*written, written->note);
  }
  return foldedDestination(text::key(target));
}

LinkIndex::Destination LinkIndex::foldedDestination(const std::string& key) const {
  Destination unknown;
  const std::string_view name = lastComponent(key);
  if (const auto named = fileNames_.find(name)) {
    unknown.named = named->note;
    const bool isName = name.size() == key.size();
    if (isName || (named->isOnly && leadsTo(text::key(path(named->note)), key)))
      return destinationOf(*named, named->note);
    if (const auto ending = endings_.find(key); ending != endings_.end())
      return destinationOf(ending->second, named->note);
  }
  const auto title = titles_.find(key);
  return title ? destinationOf(*title, unknown.named) : unknown;
}

}  // namespace vesk
