#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include "core/vault/Bucket.h"
#include "core/vault/VaultSnapshot.h"

namespace vesk {

// How the projects, areas and topics (the collections of the resources places) connect through their notes.
struct ConnectionMap {
  // A link from a note of one collection to a note of another.
  struct Link {
    NoteRef from = {};
    NoteRef to = {};
    bool operator==(const Link&) const = default;
  };

  // A tag on notes of both collections, with one of each.
  struct SharedTag {
    std::string name = {};
    NoteRef first = {};
    NoteRef second = {};
    bool operator==(const SharedTag&) const = default;
  };

  // Two collections that have links or tags in common. Projects come before areas, and those before topics; within a
  // role the first is the one that the vault lists first.
  struct Connection {
    std::string first = {};  // the folder's path
    std::string second = {};
    Bucket firstRole = Bucket::other;
    Bucket secondRole = Bucket::other;
    // The links from one to the other. However often one note links to another, it counts once.
    std::size_t linksToSecond = 0;
    std::size_t linksToFirst = 0;
    std::size_t tagCount = 0;
    double strength = 0;
    // What proves it: the first few, of those that are counted above.
    std::vector<Link> links = {};
    std::vector<SharedTag> tags = {};
    bool operator==(const Connection&) const = default;
  };

  // How many links, and how many tags, a connection shows.
  static constexpr std::size_t shown = 5;

  // Those that were asked for, the strongest first; equal ones in the order of their collections.
  //
  // A link counts 1, and a tag on notes of n collections 2/n: as much as a link when only these two share it, the less
  // the more there are. Links that several notes could be meant by count for none.
  std::vector<Connection> connections = {};

  // How many there are.
  std::size_t total = 0;

  // The tags that say little, since notes of so many collections carry them; they count for nothing. With the number
  // of collections, the most common first.
  std::vector<TagCount> commonTags = {};

  // The connections from `offset` on, at most `limit`. A large vault has tens of thousands: only these are written out.
  // Takes time near linear in the vault's links and tags.
  static ConnectionMap of(const VaultSnapshot& snapshot, std::size_t offset = 0,
                          std::size_t limit = std::numeric_limits<std::size_t>::max());
};

}  // namespace vesk
