#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <optional>
#include <sched.h>
#include <set>
#include <stdexcept>
#include <unistd.h>
#include <utility>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include "core/platform/FileError.h"
#include "core/platform/FolderWatcher.h"
#include "tests/support/ReceivedBatches.h"
#include "tests/support/TemporaryFolder.h"

namespace fs = std::filesystem;

namespace vesk {
namespace {

using namespace std::chrono_literals;
using test::ReceivedBatches;
using test::TemporaryFolder;
using testing::ElementsAre;
using testing::IsEmpty;

bool isHidden(std::string_view name) { return name.starts_with('.'); }

class FolderWatcherTest : public testing::Test {
 protected:
  void watch(std::chrono::milliseconds latency = 50ms) {
    watcher_.emplace(
        folder_.path(), latency, [this](const auto& paths) { received_.add(paths); }, isHidden);
  }

  // What has been told by the time that a change made now is told, too.
  std::vector<std::string> pathsSoFar() {
    const std::string marker = fmt::format("marker {}", ++markers_);
    folder_.write(marker, "");
    EXPECT_TRUE(received_.waitFor(marker));
    std::vector<std::string> paths = received_.paths();
    std::erase_if(paths, [](const std::string& path) { return path.starts_with("marker"); });
    received_.clear();
    return paths;
  }

  void rename(const std::string& from, const std::string& to) { fs::rename(folder_.at(from), folder_.at(to)); }
  std::string outside(const std::string& name) const { return folder_.supportDirectory() + "/" + name; }

  TemporaryFolder folder_;
  ReceivedBatches received_;
  std::optional<FolderWatcher> watcher_;
  int markers_ = 0;
};

TEST_F(FolderWatcherTest, TellsOfEveryKindOfChange) {
  for (const char* name : {"edited", "deleted", "touched", "closed", "old", "Folder/inside", "Gone/inside"})
    folder_.write(name, "");
  watch();

  folder_.write("new", "");
  folder_.write("edited", "more");
  fs::remove(folder_.at("deleted"));
  folder_.setModified("touched", 1'000'000'000);
  fs::permissions(folder_.at("closed"), fs::perms::none);
  rename("old", "renamed");
  folder_.write("Folder/inside", "more");
  fs::remove_all(folder_.at("Gone"));

  EXPECT_THAT(pathsSoFar(), ElementsAre("Folder/inside", "Gone", "Gone/inside", "closed", "deleted", "edited", "new",
                                        "old", "renamed", "touched"));
}

TEST_F(FolderWatcherTest, FollowsNewFoldersWithWhatIsInThem) {
  watch();
  folder_.write("A/B/C/Note.md", "made before anyone could look");
  fs::create_directories(folder_.at("A/Empty"));
  EXPECT_THAT(pathsSoFar(), ElementsAre("A", "A/B", "A/B/C", "A/B/C/Note.md", "A/Empty"));

  folder_.write("A/B/C/Note.md", "edited");
  folder_.write("A/Empty/Later.md", "");
  EXPECT_THAT(pathsSoFar(), ElementsAre("A/B/C/Note.md", "A/Empty/Later.md"));

  fs::remove_all(folder_.at("A"));
  pathsSoFar();
  folder_.write("A/B/Again.md", "");
  EXPECT_THAT(pathsSoFar(), ElementsAre("A", "A/B", "A/B/Again.md"));
}

TEST_F(FolderWatcherTest, KnowsTheNewPathsInARenamedFolder) {
  folder_.write("Old/Sub/Note.md", "");
  folder_.write("Old sibling/Note.md", "");
  watch();
  rename("Old", "New");
  EXPECT_THAT(pathsSoFar(), ElementsAre("New", "New/Sub", "New/Sub/Note.md", "Old"));
  folder_.write("New/Sub/Note.md", "edited");
  folder_.write("Old sibling/Note.md", "edited");
  EXPECT_THAT(pathsSoFar(), ElementsAre("New/Sub/Note.md", "Old sibling/Note.md"));

  // Names that change hands before anyone looks.
  rename("New", "Aside");
  rename("Old sibling", "New");
  rename("Aside", "Old sibling");
  pathsSoFar();
  folder_.write("Old sibling/Sub/Note.md", "edited");
  folder_.write("New/Note.md", "edited");
  EXPECT_THAT(pathsSoFar(), ElementsAre("New/Note.md", "Old sibling/Sub/Note.md"));

  // Into a folder that is itself new, and walked before the move is heard of.
  fs::create_directories(folder_.at("Archive/2026"));
  rename("Old sibling", "Archive/2026/Kept");
  pathsSoFar();
  folder_.write("Archive/2026/Kept/Sub/Note.md", "once more");
  EXPECT_THAT(pathsSoFar(), ElementsAre("Archive/2026/Kept/Sub/Note.md"));
}

TEST_F(FolderWatcherTest, LetsGoOfFoldersThatLeave) {
  folder_.write("Folder/Sub/Note.md", "");
  watch();
  fs::rename(folder_.at("Folder"), outside("Folder"));
  EXPECT_THAT(pathsSoFar(), ElementsAre("Folder"));
  std::ofstream(outside("Folder/Sub/Note.md")) << "edited elsewhere";
  EXPECT_THAT(pathsSoFar(), IsEmpty());

  fs::rename(outside("Folder"), folder_.at("Back"));
  EXPECT_THAT(pathsSoFar(), ElementsAre("Back", "Back/Sub", "Back/Sub/Note.md"));
  folder_.write("Back/Sub/Note.md", "edited again");
  EXPECT_THAT(pathsSoFar(), ElementsAre("Back/Sub/Note.md"));
}

TEST_F(FolderWatcherTest, LooksNeitherIntoIgnoredFoldersNorThroughLinks) {
  folder_.write("Notes/.git/index", "");
  fs::create_directories(outside("Linked"));
  fs::create_directory_symlink(outside("Linked"), folder_.at("Link"));
  watch();
  folder_.write("Notes/.git/index", "changed");
  std::ofstream(outside("Linked/Note.md")) << "changed";
  EXPECT_THAT(pathsSoFar(), IsEmpty());

  fs::create_directory_symlink(outside("Linked"), folder_.at("New link"));
  std::ofstream(outside("Linked/Note.md")) << "changed again";
  EXPECT_THAT(pathsSoFar(), ElementsAre("New link"));

  rename("Notes/.git", "Notes/git");
  EXPECT_THAT(pathsSoFar(), ElementsAre("Notes/git", "Notes/git/index"));
  rename("Notes/git", "Notes/.git");
  EXPECT_THAT(pathsSoFar(), ElementsAre("Notes/git"));
  folder_.write("Notes/.git/index", "changed");
  EXPECT_THAT(pathsSoFar(), IsEmpty());
}

TEST_F(FolderWatcherTest, TellsOfThousandsOfChangesInAFewBatches) {
  watch(100ms);
  const auto start = std::chrono::steady_clock::now();
  std::set<std::string> written;
  for (int i = 0; i < 10'000; ++i) {
    const std::string path = fmt::format("{}/{}.md", i % 100, i % 2'000);
    folder_.write(path, "");
    written.insert(path);
  }
  folder_.write("last", "");
  EXPECT_TRUE(received_.waitFor("last"));
  const auto batches = received_.batches();
  EXPECT_LE(batches.size(), static_cast<std::size_t>((std::chrono::steady_clock::now() - start) / 100ms));

  // On a busy machine events may be lost; that is told.
  if (std::count(batches.begin(), batches.end(), ReceivedBatches::Batch()) > 0) return;
  const std::vector<std::string> told = received_.paths();
  EXPECT_TRUE(std::includes(told.begin(), told.end(), written.begin(), written.end()));
}

TEST_F(FolderWatcherTest, LooksAnewWhenEventsWereLost) {
  int queue = 0;
  std::ifstream("/proc/sys/fs/inotify/max_queued_events") >> queue;
  if (queue < 1 || queue > 50'000) GTEST_SKIP() << "too many events to make";
  folder_.write("Many/Sub/Note.md", "");

  std::promise<void> reached;
  std::promise<void> released;
  bool isFirst = true;
  watcher_.emplace(
      folder_.path(), 1ms,
      [&, wait = released.get_future().share()](const auto& paths) {
        received_.add(paths);
        if (!std::exchange(isFirst, false)) return;
        reached.set_value();
        wait.wait();
      },
      isHidden);
  folder_.write("first", "");
  reached.get_future().wait();
  for (int i = 0; i <= queue; ++i) folder_.write(fmt::format("Many/{}", i % 1000), "");
  folder_.write("Late/Sub/Note.md", "its events are lost");
  rename("Many", "Moved");
  released.set_value();

  EXPECT_TRUE(received_.waitForEmptyBatch());
  received_.clear();
  folder_.write("Late/Sub/Note.md", "edited");
  folder_.write("Moved/Sub/Note.md", "edited");
  EXPECT_THAT(pathsSoFar(), ElementsAre("Late/Sub/Note.md", "Moved/Sub/Note.md"));
  watcher_.reset();  // while what its callback uses is there
}

TEST_F(FolderWatcherTest, WaitsForARootThatWasReplaced) {
  folder_.write("Note.md", "");
  watch();
  fs::rename(folder_.path(), outside("Moved away"));
  EXPECT_TRUE(received_.waitForEmptyBatch());
  received_.clear();
  std::ofstream(outside("Moved away/Note.md")) << "edited elsewhere";

  fs::create_directories(folder_.at("Folder"));
  EXPECT_TRUE(received_.waitForEmptyBatch());
  received_.clear();
  folder_.write("Folder/Note.md", "");
  EXPECT_THAT(pathsSoFar(), ElementsAre("Folder/Note.md"));

  fs::remove_all(folder_.path());
  EXPECT_TRUE(received_.waitForEmptyBatch());
}

TEST_F(FolderWatcherTest, RefusesARootThatIsNoFolder) {
  folder_.write("Note.md", "");
  for (const auto& [name, code] : {std::pair{"Missing", ENOENT}, std::pair{"Note.md", ENOTDIR}}) {
    SCOPED_TRACE(name);
    try {
      const FolderWatcher watcher(
          folder_.at(name), 1ms, [](const auto&) {}, isHidden);
      ADD_FAILURE() << "watched";
    } catch (const FileError& error) {
      EXPECT_EQ(error.code(), code);
    }
  }
}

TEST_F(FolderWatcherTest, StopsAtOnce) {
  const auto start = std::chrono::steady_clock::now();
  watch(1h);
  folder_.write("Note.md", "");
  watcher_.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - start, 10s);
  EXPECT_THAT(received_.batches(), IsEmpty());
}

TEST_F(FolderWatcherTest, MayBeDestroyedByItsOwnCall) {
  std::promise<void> made;
  std::promise<void> destroyed;
  watcher_.emplace(
      folder_.path(), 1ms,
      [&](const auto& paths) {
        received_.add(paths);
        made.get_future().wait();
        watcher_.reset();
        destroyed.set_value();
      },
      isHidden);
  folder_.write("Note.md", "");
  made.set_value();
  EXPECT_EQ(destroyed.get_future().wait_for(30s), std::future_status::ready);
  watch();
  received_.clear();
  EXPECT_THAT(pathsSoFar(), IsEmpty());
}

TEST_F(FolderWatcherTest, OutlivesACallThatThrows) {
  watcher_.emplace(
      folder_.path(), 50ms,
      [&](const auto& paths) {
        received_.add(paths);
        throw std::runtime_error("not the watcher's business");
      },
      isHidden);
  folder_.write("1", "");
  EXPECT_TRUE(received_.waitFor("1"));
  folder_.write("2", "");
  EXPECT_TRUE(received_.waitFor("2"));
}

// Runs `story` in a process that may watch `limit` folders in all; what it returns as a sentence is what went wrong.
// Nullopt where the system doesn't let a process limit itself.
std::optional<std::string> withWatchLimit(int limit, const std::function<std::string()>& story) {
  int ends[2];
  if (pipe(ends) != 0) return std::nullopt;
  const pid_t child = fork();
  if (child == 0) {
    std::ofstream setting;
    if (unshare(CLONE_NEWUSER) == 0) setting.open("/proc/sys/user/max_inotify_watches");
    if (!(setting << limit << std::flush)) _exit(2);
    const std::string result = story();
    _exit(write(ends[1], result.data(), result.size()) == static_cast<ssize_t>(result.size()) ? 0 : 1);
  }
  close(ends[1]);
  std::string result(1000, '\0');
  result.resize(static_cast<std::size_t>(std::max<ssize_t>(0, read(ends[0], result.data(), result.size()))));
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 2) return std::nullopt;
  return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? result : "The process failed.";
}

TEST_F(FolderWatcherTest, SaysWhichLimitToRaise) {
  for (int i = 0; i < 5; ++i) fs::create_directory(folder_.at(std::to_string(i)));
  const auto sentence = withWatchLimit(3, [&]() -> std::string {
    try {
      watch();
      return "watched";
    } catch (const Error& error) {
      return error.what();
    }
  });
  if (!sentence) GTEST_SKIP() << "needs user namespaces";
  EXPECT_EQ(*sentence, "Can't watch " + folder_.path() +
                           ": the system's limit fs.inotify.max_user_watches is reached. Raise it with sysctl.");
}

TEST_F(FolderWatcherTest, GoesOnWithWhatItCanWatch) {
  fs::create_directory(folder_.at("Watched"));
  const auto failure = withWatchLimit(3, [&]() -> std::string {
    watch();
    fs::create_directories(folder_.at("1"));
    fs::create_directories(folder_.at("2"));
    if (!received_.waitForEmptyBatch()) return "The limit went unnoticed.";
    received_.clear();
    folder_.write("Watched/Note.md", "");
    if (!received_.waitFor("Watched/Note.md")) return "The watcher has stopped.";
    return "";
  });
  if (!failure) GTEST_SKIP() << "needs user namespaces";
  EXPECT_EQ(*failure, "");
}

}  // namespace
}  // namespace vesk
