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

// A tag with a note of every collection that has it, in the order of the collections.
struct CarriedTag {
  std::string_view name;
  Members carriers;
};

// The tags that say what a note is about, the rarest first.
std::vector<CarriedTag> tagsOf(const Members& members) {
  std::unordered_map<std::string_view, Members> carriers;
  for (const Member& member : members) {
    for (const std::string& tag : (*member.note)->tags) {
      Members& found = carriers[tag];
      if (found.empty() || found.back().collection != member.collection) found.push_back(member);
    }
  }
  std::vector<CarriedTag> tags;
  for (auto& [name, found] : carriers)
    if (!TaskLine::isControlTag(name)) tags.push_back({name, std::move(found)});
  std::ranges::sort(tags, [](const CarriedTag& a, const CarriedTag& b) {
    return std::pair(a.carriers.size(), a.name) < std::pair(b.carriers.size(), b.name);
  });
  return tags;
}

// A tag on more collections than this is too common. Also keeps the pairs that one tag makes few.
std::size_t mostCarriers(std::size_t collections) {
  constexpr std::size_t few = 4;
  constexpr std::size_t many = 20;
  return std::clamp(collections / 2, few, many);
}

// Takes the tags that are too common off the end, and returns them, the most common first.
std::vector<TagCount> takeCommon(std::vector<CarriedTag>& tags, std::size_t collections) {
  std::vector<TagCount> common;
  const auto isRare = [&](const CarriedTag& tag) { return tag.carriers.size() <= mostCarriers(collections); };
  const auto first = std::ranges::partition_point(tags, isRare);
  for (auto tag = first; tag != tags.end(); ++tag) common.push_back({std::string(tag->name), tag->carriers.size()});
  tags.erase(first, tags.end());
  std::ranges::stable_sort(common, std::greater(), &TagCount::count);
  return common;
}

// What connects the collections.
struct Ties {
  Members members = {};
  std::vector<std::vector<std::size_t>> targets = {};  // of each member's links: numbers of members
  std::vector<CarriedTag> tags = {};

  // visit(from, to) for each link.
  void eachLink(const auto& visit) const {
    for (std::size_t i = 0; i < members.size(); ++i)
      for (const std::size_t target : targets[i]) visit(members[i], members[target]);
  }

  // visit(tag, first, second) for each pair of collections that have a tag in common.
  void eachSharedTag(const auto& visit) const {
    for (const CarriedTag& tag : tags)
      for (auto first = tag.carriers.begin(); first != tag.carriers.end(); ++first)
        for (auto second = first + 1; second != tag.carriers.end(); ++second) visit(tag, *first, *second);
  }
};

// Two collections, the lower number first.
using Pair = std::pair<std::size_t, std::size_t>;

Pair pairOf(const Member& a, const Member& b) { return std::minmax(a.collection, b.collection); }

struct PairHash {
  std::size_t operator()(const Pair& pair) const { return std::hash<std::size_t>()(pair.first << 32 | pair.second); }
};

// What is counted of a pair.
struct Counts {
  std::size_t linksToSecond = 0;
  std::size_t linksToFirst = 0;
  std::size_t tags = 0;
  double strength = 0;
};
using CountsByPair = std::unordered_map<Pair, Counts, PairHash>;

CountsByPair countsOf(const Ties& ties) {
  CountsByPair all;
  ties.eachLink([&](const Member& from, const Member& to) {
    Counts& counts = all[pairOf(from, to)];
    ++(from.collection < to.collection ? counts.linksToSecond : counts.linksToFirst);
    counts.strength += 1;
  });
  ties.eachSharedTag([&](const CarriedTag& tag, const Member& first, const Member& second) {
    Counts& counts = all[pairOf(first, second)];
    ++counts.tags;
    counts.strength += 2.0 / static_cast<double>(tag.carriers.size());
  });
  return all;
}

// Those from `offset` on, at most `limit`, of the pairs in the order of a map.
std::vector<Pair> strongestOf(const CountsByPair& counts, std::size_t offset, std::size_t limit) {
  std::vector<std::pair<double, Pair>> entries;  // the strength is negated: they order themselves
  entries.reserve(counts.size());
  for (const auto& [pair, counted] : counts) entries.emplace_back(-counted.strength, pair);
  const std::size_t begin = std::min(offset, entries.size());
  const std::size_t end = begin + std::min(limit, entries.size() - begin);
  std::partial_sort(entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>(end), entries.end());
  std::vector<Pair> pairs;
  for (std::size_t i = begin; i < end; ++i) pairs.push_back(entries[i].second);
  return pairs;
}

// Adds the first few links and tags of each connection: connections[i] is that of pairs[i].
void addProofs(const Ties& ties, const std::vector<Pair>& pairs, std::vector<ConnectionMap::Connection>& connections) {
  std::unordered_map<Pair, ConnectionMap::Connection*, PairHash> byPair;
  for (std::size_t i = 0; i < pairs.size(); ++i) byPair.emplace(pairs[i], &connections[i]);
  ties.eachLink([&](const Member& from, const Member& to) {
    const auto found = byPair.find(pairOf(from, to));
    if (found != byPair.end() && found->second->links.size() < ConnectionMap::shown)
      found->second->links.push_back({*from.note, *to.note});
  });
  ties.eachSharedTag([&](const CarriedTag& tag, const Member& first, const Member& second) {
    const auto found = byPair.find(pairOf(first, second));
    if (found != byPair.end() && found->second->tags.size() < ConnectionMap::shown)
      found->second->tags.push_back({std::string(tag.name), *first.note, *second.note});
  });
}

}  // namespace

ConnectionMap ConnectionMap::of(const VaultSnapshot& snapshot, std::size_t offset, std::size_t limit) {
  const Folders folders = foldersOf(snapshot);
  Ties ties = {.members = membersOf(folders)};
  JobQueue jobs;
  jobs.add([&] { ties.tags = tagsOf(ties.members); });
  jobs.add([&] { ties.targets = targetsOf(snapshot, ties.members); });
  onEveryWorker([&] { jobs.work(); });

  ConnectionMap map;
  map.commonTags = takeCommon(ties.tags, folders.size());
  const CountsByPair counts = countsOf(ties);
  map.total = counts.size();
  const std::vector<Pair> pairs = strongestOf(counts, offset, limit);
  for (const Pair& pair : pairs) {
    const auto& [first, second] = std::pair(folders[pair.first], folders[pair.second]);
    const Counts& counted = counts.at(pair);
    map.connections.push_back({.first = first->id,
                               .second = second->id,
                               .firstRole = first->bucket,
                               .secondRole = second->bucket,
                               .linksToSecond = counted.linksToSecond,
                               .linksToFirst = counted.linksToFirst,
                               .tagCount = counted.tags,
                               .strength = counted.strength});
  }
  addProofs(ties, pairs, map.connections);
  return map;
}

}  // namespace vesk
