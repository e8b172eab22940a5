#include <atomic>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <stdio.h>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "core/platform/FileError.h"
#include "core/platform/FileLock.h"
#include "core/platform/Folder.h"
#include "tests/support/TemporaryFolder.h"

namespace fs = std::filesystem;

namespace vesk {
namespace {

using test::TemporaryFolder;

// The error number, negative when the path led outside; 0 when there is no error.
int errorOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const OutsideFolderError& error) {
    return -error.code();
  } catch (const FileError& error) {
    return error.code();
  }
  return 0;
}

TEST(Folder, OpensNothingThatLeadsOutsideOrWaits) {
  const TemporaryFolder folder;
  folder.write("Real/File", "inside");
  fs::create_symlink("Real/File", folder.at("In"));
  fs::create_symlink("../Real/../Real/File", folder.at("Real/Around"));
  fs::create_directory_symlink("Real", folder.at("Linked"));
  fs::create_symlink(folder.at("Real/File"), folder.at("Absolute"));
  fs::create_symlink("..", folder.at("Up"));
  fs::create_symlink("Loop", folder.at("Loop"));
  fs::create_symlink("/dev/null", folder.at("Device"));
  ASSERT_EQ(mkfifo(folder.at("Pipe").c_str(), 0600), 0);
  const Folder root = Folder::open(folder.path());
  for (const char* path : {"Real/File", "In", "Real/Around", "Linked/File", "./Real/../Real/File"})
    EXPECT_EQ(root.read(path), "inside") << path;

  struct Case {
    const char* path;
    int error;
  };
  const Case cases[] = {{"..", -EXDEV},       {"Real/../../x", -EXDEV}, {"/etc/passwd", -EXDEV},
                        {"Absolute", -EXDEV}, {"Up/home", -EXDEV},      {"Device", -EXDEV},
                        {"Loop", ELOOP},      {"Pipe", EINVAL},         {"Real", EISDIR},
                        {"", EISDIR},         {"Missing", ENOENT},      {"In/x", ENOTDIR}};
  for (const Case& c : cases) EXPECT_EQ(errorOf([&] { root.read(c.path); }), c.error) << c.path;
  for (const char* path : {"../new", "Up/new", "/tmp/new"}) {
    SCOPED_TRACE(path);
    EXPECT_EQ(errorOf([&] { root.createFile(path, ""); }), -EXDEV);
    EXPECT_EQ(errorOf([&] { root.replaceFile(path, ""); }), -EXDEV);
    EXPECT_EQ(errorOf([&] { root.createFolders(path); }), -EXDEV);
    EXPECT_EQ(errorOf([&] { root.move("Real", path); }), -EXDEV);
    EXPECT_EQ(errorOf([&] { root.removeFile(path); }), -EXDEV);
    EXPECT_EQ(errorOf([&] { root.info(path); }), -EXDEV);
  }
  EXPECT_EQ(errorOf([&] { root.replaceFile("Absolute", "x"); }), -EXDEV);
  EXPECT_EQ(errorOf([&] { root.replaceFile("Device", "x"); }), -EXDEV);
  EXPECT_EQ(folder.read("Real/File"), "inside");
  EXPECT_EQ(root.resolveLinks("Linked/File"), "Real/File");
}

TEST(Folder, StaysInsideWhileAFolderIsSwappedForALink) {
  const TemporaryFolder folder;
  folder.write("Swap/File", "inside");
  const std::string canary = folder.supportDirectory() + "/File";
  fs::copy(folder.at("Swap/File"), canary);
  fs::create_directory_symlink(folder.supportDirectory(), folder.at("Link"));
  const auto written = fs::last_write_time(canary);
  const Folder root = Folder::open(folder.path());
  std::atomic<bool> isOver = false;
  std::jthread swapper([&] {
    while (!isOver)
      renameat2(AT_FDCWD, folder.at("Swap").c_str(), AT_FDCWD, folder.at("Link").c_str(), RENAME_EXCHANGE);
  });
  int refused = 0;
  for (int i = 0; i < 3000; ++i) {
    const int error = errorOf([&] { EXPECT_EQ(root.read("Swap/File"), "inside"); });
    refused += error != 0;
    if (i % 10 == 0) errorOf([&] { root.replaceFile("Swap/File", "inside"); });
  }
  isOver = true;
  swapper.join();
  EXPECT_GT(refused, 0) << "the link was there at times";
  EXPECT_EQ(fs::last_write_time(canary), written);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.supportDirectory()), {}), 1);
}

TEST(Folder, ListsEverythingThatHasAProperName) {
  const TemporaryFolder folder;
  for (const char* name : {"File", ".hidden", "new\nline", "\xFF"}) folder.write(name, "");
  folder.write("Folder/File", "");
  fs::create_symlink("File", folder.at("Link"));
  ASSERT_EQ(mkfifo(folder.at("Pipe").c_str(), 0600), 0);
  std::map<std::string, FileKind> kinds;
  const Folder root = Folder::open(folder.path());
  for (int again = 0; again < 2; ++again)
    for (const FolderEntry& entry : root.entries()) kinds[entry.name] = entry.kind;
  EXPECT_EQ(kinds, (std::map<std::string, FileKind>{{"File", FileKind::file},
                                                    {".hidden", FileKind::file},
                                                    {"new\nline", FileKind::file},
                                                    {"Folder", FileKind::folder},
                                                    {"Link", FileKind::link},
                                                    {"Pipe", FileKind::other}}));
}

TEST(Folder, NeverReplacesByCreatingOrMoving) {
  const TemporaryFolder folder;
  folder.write("A", "a");
  folder.write("B", "b");
  fs::create_directory(folder.at("Empty"));
  fs::create_symlink("nowhere", folder.at("Dangling"));
  const Folder root = Folder::open(folder.path());
  for (const char* taken : {"A", "Empty", "Dangling"}) {
    EXPECT_FALSE(root.createFile(taken, "new")) << taken;
    EXPECT_EQ(errorOf([&] { root.move("B", taken); }), EEXIST) << taken;
  }
  EXPECT_TRUE(root.createFile("New", "new", 0600));
  EXPECT_EQ(root.info("New")->mode, 0600u);
  EXPECT_EQ(errorOf([&] { root.createFolders("A/x"); }), ENOTDIR);
  EXPECT_EQ(errorOf([&] { root.replaceFile("Empty", ""); }), EISDIR);
  EXPECT_TRUE(root.removeEmptyFolder("Empty"));
  EXPECT_EQ(folder.read("A"), "a");
  EXPECT_EQ(folder.read("B"), "b");
}

TEST(Folder, SaysInASentenceWhatFailed) {
  const TemporaryFolder folder;
  try {
    Folder::open(folder.path()).read("Projects/Plan.md");
    FAIL();
  } catch (const FileError& error) {
    EXPECT_STREQ(error.what(), "Can't read Projects/Plan.md: No such file or directory.");
    EXPECT_TRUE(error.isMissing());
  }
}

TEST(FileLock, IsHeldByOneAtATimeAndGivesUp) {
  const TemporaryFolder folder;
  {
    const FileLock held(folder.path());
    EXPECT_EQ(errorOf([&] { FileLock(folder.path(), std::chrono::milliseconds(20)); }), EWOULDBLOCK);
  }
  int count = 0;  // guarded by the lock alone
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i)
      threads.emplace_back([&] {
        for (int k = 0; k < 50; ++k) {
          const FileLock held(folder.path());
          ++count;
        }
      });
  }
  EXPECT_EQ(count, 200);
}

}  // namespace
}  // namespace vesk
