#include "core/insights/ContextHealth.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <iterator>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <utility>

#include <fmt/format.h>

#include "core/base/Text.h"
#include "core/insights/Collections.h"
#include "core/insights/LinkIndex.h"
#include "core/insights/NearestNames.h"
#include "core/insights/ProjectContext.h"
#include "core/insights/SameText.h"
#include "core/platform/JobQueue.h"
#include "core/platform/Parallel.h"

namespace vesk {

namespace {

using Kind = ContextIssue::Kind;
using Notes = std::vector<NoteRef>;
using Issues = std::vector<ContextIssue>;

ContextIssue issue(Kind kind, const Note& note, std::string detail) {
  return {kind, note.id, note.title, false, std::move(detail)};
}

bool isExamined(const Note& note) {
  return !note.isVeskPage && note.bucket != Bucket::sources && note.bucket != Bucket::archive &&
         std::ranges::count(note.tags, transcriptTag) == 0 && std::ranges::count(note.tags, chatTag) == 0;
}

// Beside these it only matters whether a note has any tag.
bool tellsOfTags(std::string_view tag, std::size_t held) { return held == 0 || tag == transcriptTag || tag == chatTag; }

// Where notes are looked at for their age.
bool mayBeStale(Bucket bucket) { return bucket == Bucket::resources; }

// The marks of the bodies that are examined. They are made while the notes are read, so that no body is held for it.
class MarkedNotes {
 public:
  // From several threads at once. The note stays where it is.
  void add(const Note& note, std::string_view body) {
    if (!isExamined(note)) return;
    const TextMark mark = textMark(body);
    const std::lock_guard lock(mutex_);
    marks_.emplace_back(&note, mark);
  }

  // When all are there.
  std::unordered_map<const Note*, TextMark> byNote() const { return {marks_.begin(), marks_.end()}; }

 private:
  std::mutex mutex_;
  std::vector<std::pair<const Note*, TextMark>> marks_;
};

// What is examined of a snapshot.
struct Examined {
  std::vector<bool> isNote = {};  // of each of its notes, whether it is one of these
  Notes notes = {};               // in its order
  std::vector<TextMark> marks = {};

  Examined(const VaultSnapshot& snapshot, const MarkedNotes& marked) : isNote(snapshot.notes.size()) {
    const auto found = marked.byNote();
    for (std::size_t i = 0; i < snapshot.notes.size(); ++i) {
      const auto entry = found.find(snapshot.notes[i].get());
      if (entry == found.end()) continue;
      isNote[i] = true;
      notes.push_back(snapshot.notes[i]);
      marks.push_back(entry->second);
    }
  }
};

// ---- Links

// What the links of a vault lead to.
struct Links {
  std::vector<std::vector<std::string_view>> broken = {};  // of each examined note, its targets without a note
  std::vector<bool> isLinked = {};                         // of each note, whether a link has its file's name
};

// Sorts the names and leaves each of them once.
void sortOnce(std::vector<std::string_view>& names) {
  std::sort(names.begin(), names.end());
  names.erase(std::unique(names.begin(), names.end()), names.end());
}

// Most links lead to where others have led: looked at first, as a write would take the flag from the other cores.
void set(std::atomic<bool>& flag) {
  if (!flag.load(std::memory_order_relaxed)) flag.store(true, std::memory_order_relaxed);
}

Links followLinks(const VaultSnapshot& snapshot, const Examined& examined) {
  const LinkIndex index(snapshot);
  const std::size_t count = snapshot.notes.size();
  Links links{std::vector<std::vector<std::string_view>>(count), std::vector<bool>(count)};
  std::vector<std::atomic<bool>> isNamed(count);
  inParallel(count, [&](std::size_t i) {
    const Note& note = *snapshot.notes[i];
    auto& broken = links.broken[i];
    for (const std::string_view link : note.links) {
      const auto destination = index.destination(link);
      if (destination.named) set(isNamed[*destination.named]);
      const auto isFile = [&] { return link.find('.') != std::string_view::npos; };
      if (!destination.exists && !isFile()) broken.push_back(link);
    }
    if (!examined.isNote[i]) broken.clear();
    sortOnce(broken);
    const auto& inCode = note.linksInCode;
    std::erase_if(broken, [&](std::string_view link) { return std::ranges::binary_search(inCode, link); });
  });
  std::vector<bool> isFirstNamed(count);
  for (std::size_t i = 0; i < count; ++i)
    if (isNamed[i]) isFirstNamed[index.firstNamedLike(i)] = true;
  for (std::size_t i = 0; i < count; ++i) links.isLinked[i] = isFirstNamed[index.firstNamedLike(i)];
  return links;
}

void addBrokenLinks(const VaultSnapshot& snapshot, const Links& links, Issues& issues) {
  std::vector<std::string_view> targets;
  for (const auto& broken : links.broken) targets.insert(targets.end(), broken.begin(), broken.end());
  sortOnce(targets);
  const auto nearest = nearestNames(targets, snapshot);
  for (std::size_t i = 0; i < links.broken.size(); ++i) {
    for (const std::string_view target : links.broken[i]) {
      std::string detail = fmt::format("[[{}]] leads to no note.", target);
      const auto name = nearest.find(target);
      if (name != nearest.end()) detail += fmt::format(" The nearest name is \"{}\".", name->second);
      issues.push_back(issue(Kind::brokenLink, *snapshot.notes[i], std::move(detail)));
    }
  }
}

// Only a note without links can be isolated, so a link to its name is another note's.
void addIsolated(const VaultSnapshot& snapshot, const Examined& examined, const Links& links, Issues& issues) {
  for (std::size_t i = 0; i < snapshot.notes.size(); ++i) {
    const Note& note = *snapshot.notes[i];
    if (examined.isNote[i] && note.bucket == Bucket::resources && note.links.empty() && note.tags.empty() &&
        !links.isLinked[i])
      issues.push_back(issue(Kind::isolated, note, "No links, no tags, and no note links to it."));
  }
}

// ---- Duplicates

using Group = std::vector<std::size_t>;  // of notes, by their place among those examined

// The first few paths of a group's other members: "A.md, B.md and 7 more".
std::string othersIn(const Group& group, std::size_t self, const Notes& notes) {
  constexpr std::size_t most = 3;
  std::vector<std::string> paths;
  for (std::size_t i = 0; i < group.size() && paths.size() < most; ++i)
    if (group[i] != self) paths.push_back(notes[group[i]]->id);
  const std::size_t left = group.size() - 1 - paths.size();
  return text::join(paths, ", ") + (left > 0 ? fmt::format(" and {} more", left) : "");
}

// What is known of one note among the duplicates.
struct Duplicate {
  std::size_t note = 0;
  std::size_t first = 0;  // the first note of all that it shares something with
  const Group* sameTitle = nullptr;
  const Group* sameText = nullptr;  // sameTitle itself where both hold the same notes
};

std::string detailOf(const Duplicate& duplicate, const Notes& notes) {
  const auto others = [&](const Group* group) { return othersIn(*group, duplicate.note, notes); };
  if (!duplicate.sameText) return fmt::format("Same title as {}.", others(duplicate.sameTitle));
  if (!duplicate.sameTitle) return fmt::format("Same text as {}.", others(duplicate.sameText));
  if (duplicate.sameTitle == duplicate.sameText)
    return fmt::format("Same title and text as {}.", others(duplicate.sameText));
  return fmt::format("Same title as {}; same text as {}.", others(duplicate.sameTitle), others(duplicate.sameText));
}

void addDuplicates(const Examined& examined, const BodyOf& bodyOf, Issues& issues) {
  const Notes& notes = examined.notes;
  const SameNotes titles = sameTitles(notes);
  const SameNotes texts = sameTexts(notes, examined.marks, bodyOf);
  std::unordered_map<std::size_t, Duplicate> byNote;
  const auto add = [&](const Group& group, const Group* Duplicate::*place) {
    for (const std::size_t i : group) {
      Duplicate& duplicate = byNote.try_emplace(i, Duplicate{i, i}).first->second;
      duplicate.first = std::min(duplicate.first, group.front());
      duplicate.*place = &group;
    }
  };
  for (const Group& group : titles) add(group, &Duplicate::sameTitle);
  for (const Group& group : texts) {
    const auto first = byNote.find(group.front());
    const Group* sameTitle = first == byNote.end() ? nullptr : first->second.sameTitle;
    add(sameTitle && *sameTitle == group ? *sameTitle : group, &Duplicate::sameText);
  }

  std::vector<Duplicate> duplicates;
  for (const auto& [note, duplicate] : byNote) duplicates.push_back(duplicate);
  std::sort(duplicates.begin(), duplicates.end(), [](const Duplicate& a, const Duplicate& b) {
    return std::pair(a.first, a.note) < std::pair(b.first, b.note);
  });
  for (const Duplicate& duplicate : duplicates)
    issues.push_back(issue(Kind::duplicate, *notes[duplicate.note], detailOf(duplicate, notes)));
}

// ---- Projects without context

std::string detailOfMissingContext(const FolderNode& folder, std::size_t noteCount) {
  const std::string count = noteCount == 1 ? "1 note" : fmt::format("{} notes", noteCount);
  if (const NoteRef other = ProjectContext::note(folder))
    return fmt::format("{}, and {} lacks the line \"vesk: true\" in its front matter.", count, other->id);
  return fmt::format("{} and no {}.", count, ProjectContext::fileName);
}

void addMissingContexts(const VaultSnapshot& snapshot, Issues& issues) {
  for (const FolderNode* folder : collectionFolders(snapshot, Bucket::projects)) {
    const std::size_t count = folder->noteCount();
    const NoteRef context = ProjectContext::note(*folder);
    if (count == 0 || (context && ProjectContext::isProjectContext(*context))) continue;
    issues.push_back({Kind::missingContext, folder->id, folder->name, true, detailOfMissingContext(*folder, count)});
  }
}

// ---- Stale and empty notes

// Whole seconds never overflow, as the difference of two Timestamps can.
std::chrono::seconds age(const Note& note, Timestamp now) {
  using std::chrono::floor;
  using std::chrono::seconds;
  return floor<seconds>(now) - floor<seconds>(note.modified);
}

void addStale(const Notes& notes, Timestamp now, Issues& issues) {
  Notes stale;
  std::ranges::copy_if(notes, std::back_inserter(stale), [&](const NoteRef& note) {
    return mayBeStale(note->bucket) && age(*note, now) > ContextHealth::staleAfter;
  });
  std::stable_sort(stale.begin(), stale.end(),
                   [](const NoteRef& a, const NoteRef& b) { return a->modified < b->modified; });
  for (const NoteRef& note : stale) {
    const auto days = std::chrono::floor<std::chrono::days>(age(*note, now)).count();
    issues.push_back(issue(Kind::stale, *note,
                           note->modified == distantPast ? "When it was changed last is not known."
                                                         : fmt::format("Not changed for {} days.", days)));
  }
}

void addEmpty(const Examined& examined, Issues& issues) {
  for (std::size_t i = 0; i < examined.notes.size(); ++i)
    if (examined.marks[i] == markOfBlank) issues.push_back(issue(Kind::empty, *examined.notes[i], "It has no text."));
}

Issues issuesOf(const VaultSnapshot& snapshot, const MarkedNotes& marked, const BodyOf& bodyOf, Timestamp now) {
  const Examined examined(snapshot, marked);
  Issues broken;
  Issues duplicates;
  Issues others;
  Issues isolated;
  JobQueue jobs;  // the last is taken first
  jobs.add([&] {
    addMissingContexts(snapshot, others);
    addStale(examined.notes, now, others);
    addEmpty(examined, others);
  });
  jobs.add([&] { addDuplicates(examined, bodyOf, duplicates); });
  jobs.add([&] {
    const Links links = followLinks(snapshot, examined);
    addBrokenLinks(snapshot, links, broken);
    addIsolated(snapshot, examined, links, isolated);
  });
  onEveryWorker([&] { jobs.work(); });
  Issues all;
  for (Issues* issues : {&broken, &duplicates, &others, &isolated}) std::ranges::move(*issues, std::back_inserter(all));
  return all;
}

}  // namespace

std::string ContextIssue::id() const { return fmt::format("{}:{}:{}", name(kind), path, detail); }

std::string_view name(ContextIssue::Kind kind) {
  constexpr std::array<std::string_view, 6> names = {"broken_link", "duplicate", "missing_context",
                                                     "stale",       "empty",     "isolated"};
  return names[static_cast<std::size_t>(kind)];
}

std::vector<ContextIssue> ContextHealth::check(const VaultSnapshot& snapshot, Timestamp now) {
  MarkedNotes marked;
  inParallel(snapshot.notes.size(), [&](std::size_t i) { marked.add(*snapshot.notes[i], snapshot.notes[i]->body); });
  return issuesOf(
      snapshot, marked, [](const Note& note) { return note.body; }, now);
}

std::vector<ContextIssue> ContextHealth::check(const Vault& vault, Timestamp now) {
  std::optional<VaultSnapshot> surveyed;
  const auto survey = [&](SurveyOptions options) -> const VaultSnapshot& {
    return surveyed.emplace(vault.survey(std::move(options)));
  };
  return check(vault, survey, now);
}

std::vector<ContextIssue> ContextHealth::check(const Vault& vault, const Surveyor& survey, Timestamp now) {
  MarkedNotes marked;
  const auto mark = [&](const Note& note, std::string_view body) {
    marked.add(note, body);
    return std::string_view();
  };
  const auto isDated = [](const NoteFile& file) { return mayBeStale(file.bucket); };
  const VaultSnapshot& snapshot = survey({.keptBody = mark, .keptTags = &tellsOfTags, .readsDates = isDated});
  const auto bodyOf = [&](const Note& note) {
    const NoteRef read = vault.note(note.id);
    return read ? read->body : std::string();  // it has gone meanwhile
  };
  return issuesOf(snapshot, marked, bodyOf, now);
}

}  // namespace vesk
