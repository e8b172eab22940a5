#include "core/insights/ConnectionMap.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "core/insights/Collections.h"
#include "core/insights/LinkIndex.h"
#include "core/platform/JobQueue.h"
#include "core/platform/Parallel.h"
#include "core/tasks/TaskLine.h"

namespace vesk {

namespace {

// A note with the number of the collection that it lies in.
struct Member {
  std::size_t collection = 0;
  const NoteRef* note = nullptr;  // the snapshot's: to count references to thousands of notes takes its time
};
using Members = std::vector<Member>;

using Folders = std::vector<const FolderNode*>;

Folders foldersOf(const VaultSnapshot& snapshot) {
  Folders all;
  for (const Bucket role : {Bucket::projects, Bucket::areas, Bucket::resources})
    for (const FolderNode* folder : collectionFolders(snapshot, role)) all.push_back(folder);
  return all;
}

void addMembers(const FolderNode& folder, std::size_t collection, Members& members) {
  for (const NoteRef& note : folder.notes) members.push_back({collection, &note});
  for (const FolderNode& below : folder.folders) addMembers(below, collection, members);
}

Members membersOf(const Folders& folders) {
  Members members;
  for (std::size_t i = 0; i < folders.size(); ++i) addMembers(*folders[i], i, members);
  return members;
}

// What is gathered of each pair of collections.
class Connections {
 public:
  explicit Connections(const Folders& folders) : folders_(folders) {}

  void addLink(const Member& from, const Member& to) {
    const bool isForward = from.collection < to.collection;
    auto& connection = between(std::min(from.collection, to.collection), std::max(from.collection, to.collection));
    ++(isForward ? connection.linksToSecond : connection.linksToFirst);
    connection.strength += 1;
    if (connection.links.size() < ConnectionMap::shown) connection.links.push_back({*from.note, *to.note});
  }

  // Each pair of the members has the tag in common; they stand in the order of their collections.
  void addTag(std::string_view tag, const Members& members) {
    for (auto first = members.begin(); first != members.end(); ++first) {
      for (auto second = first + 1; second != members.end(); ++second) {
        auto& connection = between(first->collection, second->collection);
        ++connection.tagCount;
        connection.strength += 2.0 / static_cast<double>(members.size());
        if (connection.tags.size() < ConnectionMap::shown)
          connection.tags.push_back({std::string(tag), *first->note, *second->note});
      }
    }
  }

  std::vector<ConnectionMap::Connection> strongestFirst() {
    using Entry = std::pair<const std::size_t, ConnectionMap::Connection>;
    std::vector<Entry*> entries;
    for (Entry& entry : byPair_) entries.push_back(&entry);
    std::ranges::sort(entries, [](const Entry* a, const Entry* b) {
      return std::pair(-a->second.strength, a->first) < std::pair(-b->second.strength, b->first);
    });
    std::vector<ConnectionMap::Connection> all;
    all.reserve(entries.size());
    for (Entry* entry : entries) all.push_back(std::move(entry->second));
    return all;
  }

 private:
  ConnectionMap::Connection& between(std::size_t first, std::size_t second) {
    const auto [entry, isNew] = byPair_.try_emplace(first * folders_.size() + second);
    if (isNew) {
      entry->second.first = folders_[first]->id;
      entry->second.second = folders_[second]->id;
      entry->second.firstRole = folders_[first]->bucket;
      entry->second.secondRole = folders_[second]->bucket;
    }
    return entry->second;
  }

  const Folders& folders_;
  std::unordered_map<std::size_t, ConnectionMap::Connection> byPair_;  // by numbers that grow with first, then second
};

// For each note of the snapshot its number among the members; nullopt for those that lie in no collection.
std::vector<std::optional<std::size_t>> placesOf(const Members& members, const VaultSnapshot& snapshot) {
  std::unordered_map<const Note*, std::size_t> numbers;
  numbers.reserve(members.size());
  for (std::size_t i = 0; i < members.size(); ++i) numbers.emplace(members[i].note->get(), i);
  std::vector<std::optional<std::size_t>> places;
  places.reserve(snapshot.notes.size());
  for (const NoteRef& note : snapshot.notes) {
    const auto found = numbers.find(note.get());
    places.push_back(found == numbers.end() ? std::nullopt : std::optional(found->second));
  }
  return places;
}

// For each member the others that it links to, in other collections: their numbers in order, each once.
std::vector<std::vector<std::size_t>> targetsOf(const VaultSnapshot& snapshot, const Members& members) {
  const LinkIndex index(snapshot);
  const auto places = placesOf(members, snapshot);
  std::vector<std::vector<std::size_t>> targets(members.size());
  inParallel(members.size(), [&](std::size_t i) {
    for (const std::string_view link : (*members[i].note)->links) {
      const auto note = index.destination(link).note;
      const auto target = note ? places[*note] : std::nullopt;
      if (target && members[*target].collection != members[i].collection) targets[i].push_back(*target);
    }
    std::ranges::sort(targets[i]);
    targets[i].erase(std::unique(targets[i].begin(), targets[i].end()), targets[i].end());
  });
  return targets;
}

// The tags that say what a note is about, each with a note of every collection that has it; the rarest first.
std::vector<std::pair<std::string_view, Members>> tagsOf(const Members& members) {
  std::unordered_map<std::string_view, Members> carriers;
  for (const Member& member : members) {
    for (const std::string& tag : (*member.note)->tags) {
      Members& found = carriers[tag];
      if (found.empty() || found.back().collection != member.collection) found.push_back(member);
    }
  }
  std::erase_if(carriers, [](const auto& tag) { return TaskLine::isControlTag(tag.first); });
  std::vector<std::pair<std::string_view, Members>> tags(std::make_move_iterator(carriers.begin()),
                                                         std::make_move_iterator(carriers.end()));
  std::ranges::sort(tags, [](const auto& a, const auto& b) {
    return std::pair(a.second.size(), a.first) < std::pair(b.second.size(), b.first);
  });
  return tags;
}

// A tag on more collections than this is too common. Also keeps the pairs that one tag makes few.
std::size_t mostCarriers(std::size_t collections) {
  constexpr std::size_t few = 4;
  constexpr std::size_t many = 20;
  return std::clamp(collections / 2, few, many);
}

}  // namespace

ConnectionMap ConnectionMap::of(const VaultSnapshot& snapshot) {
  const Folders folders = foldersOf(snapshot);
  const Members members = membersOf(folders);
  std::vector<std::vector<std::size_t>> targets;
  std::vector<std::pair<std::string_view, Members>> tags;
  JobQueue jobs;
  jobs.add([&] { tags = tagsOf(members); });
  jobs.add([&] { targets = targetsOf(snapshot, members); });
  onEveryWorker([&] { jobs.work(); });

  Connections connections(folders);
  ConnectionMap map;
  for (std::size_t i = 0; i < members.size(); ++i)
    for (const std::size_t target : targets[i]) connections.addLink(members[i], members[target]);
  for (const auto& [tag, carriers] : tags) {
    if (carriers.size() <= mostCarriers(folders.size())) {
      connections.addTag(tag, carriers);
    } else {
      map.commonTags.push_back({std::string(tag), carriers.size()});
    }
  }
  std::ranges::stable_sort(map.commonTags, std::greater(), &TagCount::count);
  map.connections = connections.strongestFirst();
  return map;
}

}  // namespace vesk
