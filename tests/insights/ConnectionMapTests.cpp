#include "core/base/Text.h"
#include "core/insights/ConnectionMap.h"
#include "tests/insights/InsightsTesting.h"

namespace vesk {
namespace {

using test::MadeVault;
using testing::ElementsAre;

std::string shown(const ConnectionMap::Connection& c) {
  return c.first + " - " + c.second + ": " + std::to_string(c.linksToSecond) + " " + std::to_string(c.linksToFirst) +
         " " + std::to_string(c.tagCount);
}

std::vector<std::string> shown(const ConnectionMap& map) {
  std::vector<std::string> lines;
  for (const auto& connection : map.connections) lines.push_back(shown(connection));
  return lines;
}

TEST(ConnectionMap, TellsWhatConnectsCollectionsTheStrongestFirst) {
  const MadeVault vault = {{"Areas/Home/Plan.md", "#garden [[Lemons]] [[Projects/Book/Plan]]"},
                           {"Projects/Garden/Lemons.md", "#garden #fruit [[Trees]] [[trees|them]] [[Plan]]"},
                           {"Projects/Garden/deep/Limes.md", "#fruit [[All About Trees]] [[Lemons]] [[loose]]"},
                           {"Projects/Book/Plan.md", "#writing"},
                           {"Resources/Plants/Trees.md", "# All About Trees\n#fruit [[limes]]"},
                           {"Resources/loose.md", "#fruit [[Trees]]"},
                           {"Archive/Old/x.md", "#fruit [[Trees]]"}};
  const ConnectionMap map = ConnectionMap::of(vault.snapshot);
  EXPECT_THAT(shown(map), ElementsAre("Projects/Garden - Resources/Plants: 2 1 1",
                                      "Projects/Garden - Areas/Home: 0 1 1", "Projects/Book - Areas/Home: 0 1 0"));
  const auto& strongest = map.connections.front();
  EXPECT_DOUBLE_EQ(strongest.strength, 4);
  EXPECT_EQ(strongest.links.size(), 3u);
  EXPECT_EQ(strongest.links.front().from->id + " " + strongest.links.front().to->id,
            "Projects/Garden/Lemons.md Resources/Plants/Trees.md");
  EXPECT_EQ(strongest.tags.front().name + " " + strongest.tags.front().second->id, "fruit Resources/Plants/Trees.md");

  const ConnectionMap part = ConnectionMap::of(vault.snapshot, 1, 1);
  EXPECT_EQ(part.total, 3u);
  EXPECT_THAT(part.connections, ElementsAre(map.connections[1]));
  EXPECT_THAT(ConnectionMap::of(vault.snapshot, 9, 9).connections, ElementsAre());
}

TEST(ConnectionMap, LeavesOutWhatIsEverywhere) {
  MadeVault vault;
  for (int i = 0; i < 600; ++i) {
    const std::string folder = "Projects/" + std::to_string(i) + "/";
    vault.add(folder + "Plan.md", "#all [[Plan]] [[Common]] #pair" + std::to_string(i / 2));
    vault.add(folder + "Common.md", i < 30 ? "#some #all" : "#all");
  }
  const ConnectionMap map = ConnectionMap::of(vault.snapshot);
  EXPECT_THAT(map.commonTags, ElementsAre(TagCount{"all", 600}, TagCount{"some", 30}));
  EXPECT_EQ(map.connections.size(), 300u);
}

// Each pair of collections, each pair of their notes.
std::vector<std::string> plainConnections(const MadeVault& vault) {
  const std::vector<std::string> folders = {"Projects/a", "Projects/b", "Areas/a", "Resources/r"};
  const auto isIn = [](const NoteRef& note, const std::string& folder) { return note->id.starts_with(folder + "/"); };
  const auto links = [&](const std::string& from, const std::string& to) {
    return std::ranges::count_if(vault.snapshot.notes, [&](const NoteRef& note) {
      return isIn(note, from) && std::ranges::any_of(note->links, [&](std::string_view link) {
               const auto meant = [&](const NoteRef& other) {
                 return text::key("/" + other->id.substr(0, other->id.size() - 3))
                     .ends_with(text::key("/" + std::string(link)));
               };
               return std::ranges::count_if(vault.snapshot.notes, meant) == 1 &&
                      isIn(*std::ranges::find_if(vault.snapshot.notes, meant), to);
             });
    });
  };
  const auto carries = [&](const std::string& folder, const std::string& tag) {
    return std::ranges::any_of(vault.snapshot.notes, [&](const NoteRef& note) {
      return isIn(note, folder) && std::ranges::count(note->tags, tag) > 0;
    });
  };
  std::vector<std::string> lines;
  for (std::size_t a = 0; a < folders.size(); ++a) {
    for (std::size_t b = a + 1; b < folders.size(); ++b) {
      ConnectionMap::Connection c{.first = folders[a], .second = folders[b]};
      c.linksToSecond = static_cast<std::size_t>(links(c.first, c.second));
      c.linksToFirst = static_cast<std::size_t>(links(c.second, c.first));
      for (const std::string tag : {"t", "u", "T"})
        c.tagCount += carries(c.first, tag) && carries(c.second, tag) ? 1 : 0;
      if (c.linksToSecond + c.linksToFirst + c.tagCount > 0) lines.push_back(shown(c));
    }
  }
  std::ranges::sort(lines);
  return lines;
}

TEST(ConnectionMap, FindsWhatComparingEveryPairFinds) {
  std::mt19937 random(20261121);
  for (int round = 0; round < 2000; ++round) {
    // A note has one link at most, so that links can be counted by notes.
    const MadeVault vault = test::randomVault(
        random, {"#t ", "#u ", "#T "}, {"[[plan]]", "[[CAFÉ]]", "[[a/note]]", "[[Areas/a/x y]]", "[[r/σας]]", ""});
    std::vector<std::string> lines = shown(ConnectionMap::of(vault.snapshot));
    std::ranges::sort(lines);
    ASSERT_EQ(lines, plainConnections(vault)) << "in round " << round;
  }
}

}  // namespace
}  // namespace vesk
