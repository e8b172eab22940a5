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
    : notes_(snapshot.notes), fileKeys_(notes_.size()), titleKeys_(notes_.size()), firsts_(notes_.size()) {
  inParallel(notes_.size(), [&](std::size_t i) {
    fileKeys_[i] = text::key(notes_[i]->fileName());
    if (notes_[i]->title != notes_[i]->fileName()) titleKeys_[i] = text::key(notes_[i]->title);
  });
  writtenNames_.reserve(notes_.size());
  fileNames_.reserve(notes_.size());
  for (std::size_t i = 0; i < notes_.size(); ++i) {
    add(writtenNames_, notes_[i]->fileName(), i);
    add(fileNames_, fileKeys_[i], i);
    if (!titleKeys_[i].empty()) add(titles_, titleKeys_[i], i);
  }
  for (std::size_t i = 0; i < notes_.size(); ++i) {
    const Meaning& first = fileNames_.at(fileKeys_[i]);
    firsts_[i] = first.note;
    if (!first.isOnly) addEndings(i);
  }
}

void LinkIndex::add(Meanings& meanings, std::string_view name, std::size_t note) {
  const auto [entry, isNew] = meanings.try_emplace(name, Meaning{note});
  if (!isNew) entry->second.isOnly = false;
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

LinkIndex::Destination LinkIndex::destinationOf(const Meaning& meaning, std::optional<std::size_t> named) const {
  return {true, meaning.isOnly ? std::optional(meaning.note) : std::nullopt, named};
}

// Most links are written exactly like the note's name, and finding those takes no key.
LinkIndex::Destination LinkIndex::destination(std::string_view target) const {
  const auto written = writtenNames_.find(lastComponent(target));
  if (written != writtenNames_.end()) {
    const Meaning& meaning = written->second;
    const bool isName = written->first.size() == target.size();
    if (isName || (meaning.isOnly && leadsTo(path(meaning.note), target)))
      return destinationOf(meaning, firsts_[meaning.note]);
  }
  return foldedDestination(text::key(target));
}

LinkIndex::Destination LinkIndex::foldedDestination(const std::string& key) const {
  Destination unknown;
  if (const auto found = fileNames_.find(lastComponent(key)); found != fileNames_.end()) {
    const Meaning& meaning = found->second;
    unknown.named = meaning.note;
    const bool isName = found->first.size() == key.size();
    if (isName || (meaning.isOnly && leadsTo(text::key(path(meaning.note)), key)))
      return destinationOf(meaning, meaning.note);
    if (const auto ending = endings_.find(key); ending != endings_.end())
      return destinationOf(ending->second, meaning.note);
  }
  const auto title = titles_.find(key);
  return title != titles_.end() ? destinationOf(title->second, unknown.named) : unknown;
}

}  // namespace vesk
