#include "core/vault/ParsedNotes.h"

#include <mutex>

namespace vesk {

ParsedNotes::Entry ParsedNotes::find(std::string_view path) const {
  const std::shared_lock lock(mutex_);
  const auto found = entries_.find(path);
  return found == entries_.end() ? Entry() : found->second;
}

void ParsedNotes::put(const NoteRef& note, const Stamp& stamp) {
  const std::lock_guard lock(mutex_);
  entries_.erase(note->url);  // its key belongs to the note that goes
  entries_.emplace(note->url, Entry{stamp, note});
}

void ParsedNotes::keepOnly(const std::vector<NoteRef>& notes) {
  const std::lock_guard lock(mutex_);
  if (entries_.size() <= notes.size()) return;
  std::unordered_map<std::string_view, Entry> kept;
  kept.reserve(notes.size());
  for (const NoteRef& note : notes)
    if (const auto found = entries_.find(note->url); found != entries_.end() && found->second.note == note)
      kept.emplace(note->url, found->second);
  entries_ = std::move(kept);
}

}  // namespace vesk
