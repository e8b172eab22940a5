#include <filesystem>
#include <fstream>
#include <future>
#include <optional>
#include <sched.h>
#include <unistd.h>
#include <utility>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <sys/wait.h>

#include "core/base/Error.h"
#include "core/platform/FolderWatcher.h"
#include "tests/support/ReceivedBatches.h"
#include "tests/support/TemporaryFolder.h"

namespace fs = std::filesystem;

namespace vesk {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class FolderWatcherTest : public testing::Test {
 protected:
  // `then` is called after each batch.
  void watch(
      std::chrono::milliseconds latency = 50ms, const std::function<void()>& then = [] {}) {
    const auto onBatch = [this, then](const auto& paths) {
      received_.add(paths);
      then();
    };
    watcher_.emplace(folder_.path(), latency, onBatch, [](std::string_view name) { return name.starts_with('.'); });
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

  test::TemporaryFolder folder_;
  test::ReceivedBatches received_;
  std::optional<FolderWatcher> watcher_;
  int markers_ = 0;
};

TEST_F(FolderWatcherTest, TellsOfEveryKindOfChange) {
  for (const char* name : {"edited", "deleted", "touched", "closed", "old", "Gone/inside"}) folder_.write(name, "");
  watch();
  folder_.write("A/B/Note.md", "made before anyone could look");
  folder_.write("edited", "more");
  fs::remove(folder_.at("deleted"));
  folder_.setModified("touched", 1'000'000'000);
  fs::permissions(folder_.at("closed"), fs::perms::none);
  rename("old", "renamed");
  fs::remove_all(folder_.at("Gone"));
  EXPECT_THAT(pathsSoFar(), ElementsAre("A", "A/B", "A/B/Note.md", "Gone", "Gone/inside", "closed", "deleted", "edited",
                                        "old", "renamed", "touched"));
  folder_.write("A/B/Note.md", "edited");
  folder_.write("Gone/Again.md", "");
  EXPECT_THAT(pathsSoFar(), ElementsAre("A/B/Note.md", "Gone", "Gone/Again.md"));
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

TEST_F(FolderWatcherTest, LooksNeitherOutsideNorIntoIgnoredFolders) {
  folder_.write("Folder/Sub/Note.md", "");
  folder_.write(".git/index", "");
  fs::create_directory_symlink(folder_.supportDirectory(), folder_.at("Link"));
  watch();
  fs::rename(folder_.at("Folder"), outside("Folder"));
  EXPECT_THAT(pathsSoFar(), ElementsAre("Folder"));
  std::ofstream(outside("Folder/Sub/Note.md")) << "edited elsewhere";
  std::ofstream(outside("Note.md")) << "changed";
  folder_.write(".git/index", "changed");
  EXPECT_THAT(pathsSoFar(), IsEmpty());

  fs::rename(outside("Folder"), folder_.at("Back"));
  rename(".git", "git");
  EXPECT_THAT(pathsSoFar(), ElementsAre("Back", "Back/Sub", "Back/Sub/Note.md", "git", "git/index"));
  folder_.write("Back/Sub/Note.md", "edited again");
  rename("git", ".git");
  EXPECT_THAT(pathsSoFar(), ElementsAre("Back/Sub/Note.md", "git"));
  folder_.write(".git/index", "changed");
  EXPECT_THAT(pathsSoFar(), IsEmpty());
}

TEST_F(FolderWatcherTest, LooksAnewWhenEventsWereLost) {
  int queue = 0;
  std::ifstream("/proc/sys/fs/inotify/max_queued_events") >> queue;
  if (queue < 1 || queue > 50'000) GTEST_SKIP() << "too many events to make";
  folder_.write("Many/Sub/Note.md", "");
  std::promise<void> reached;
  std::promise<void> released;
  bool isFirst = true;
  watch(1ms, [&] {
    if (!std::exchange(isFirst, false)) return;
    reached.set_value();
    released.get_future().wait();
  });
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
}

TEST_F(FolderWatcherTest, StopsAtOnceAndFromItsOwnCall) {
  watch(1h);
  folder_.write("Note.md", "");
  watcher_.reset();
  EXPECT_THAT(received_.batches(), IsEmpty());

  std::promise<void> made;
  std::promise<void> destroyed;
  watch(1ms, [&] {
    made.get_future().wait();
    watcher_.reset();
    destroyed.set_value();
    throw std::runtime_error("not the watcher's business");
  });
  folder_.write("Note.md", "");
  made.set_value();
  EXPECT_EQ(destroyed.get_future().wait_for(30s), std::future_status::ready);
}

TEST_F(FolderWatcherTest, GoesOnWithWhatTheSystemsLimitAllows) {
  fs::create_directory(folder_.at("Watched"));
  const pid_t child = fork();
  if (child == 0) {
    std::ofstream setting;
    if (unshare(CLONE_NEWUSER) == 0) setting.open("/proc/sys/user/max_inotify_watches");
    if (!(setting << 3 << std::flush)) _exit(2);
    watch();
    for (const char* name : {"1", "2"}) fs::create_directory(folder_.at(name));
    EXPECT_TRUE(received_.waitForEmptyBatch());
    received_.clear();
    folder_.write("Watched/Note.md", "");
    EXPECT_TRUE(received_.waitFor("Watched/Note.md"));
    try {
      FolderWatcher(folder_.path(), 1ms, {}, [](auto) { return false; });
      ADD_FAILURE();
    } catch (const Error& error) {
      EXPECT_EQ(error.what(), "Can't watch " + folder_.path() +
                                  ": the system's limit fs.inotify.max_user_watches is reached. Raise it with sysctl.");
    }
    _exit(HasFailure() ? 1 : 0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 2) GTEST_SKIP() << "needs user namespaces";
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace vesk
