#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <functional>
#include <stdio.h>
#include <thread>

#include <gmock/gmock.h>
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
  const std::pair<const char*, std::string> links[] = {
      {"In", "Real/File"}, {"Real/Around", "../Real/../Real/File"}, {"Linked", "Real"},     {"Up", ".."},
      {"Loop", "Loop"},    {"Absolute", folder.at("Real/File")},    {"Device", "/dev/null"}};
  for (const auto& [link, target] : links) fs::create_symlink(target, folder.at(link));
  ASSERT_EQ(mkfifo(folder.at("Pipe").c_str(), 0600), 0);
  const Folder root = Folder::open(folder.path());
  for (const char* path : {"Real/File", "In", "Real/Around", "Linked/File", "./Real/../Real/File"})
    EXPECT_EQ(root.read(path), "inside") << path;
  EXPECT_EQ(root.resolveLinks("Linked/File"), "Real/File");

  const std::pair<const char*, int> errors[] = {{"..", -EXDEV},       {"Real/../../x", -EXDEV}, {"/etc/passwd", -EXDEV},
                                                {"Absolute", -EXDEV}, {"Up/home", -EXDEV},      {"Device", -EXDEV},
                                                {"Loop", ELOOP},      {"Pipe", EINVAL},         {"Real", EISDIR},
                                                {"Missing", ENOENT},  {"In/x", ENOTDIR}};
  for (const auto& [path, error] : errors) EXPECT_EQ(errorOf([&, &in = path] { root.read(in); }), error) << path;
  EXPECT_EQ(errorOf([&] { root.replaceFile("Absolute", "x"); }), -EXDEV);
  EXPECT_EQ(errorOf([&] { root.replaceFile("Device", "x"); }), -EXDEV);
  EXPECT_EQ(folder.read("Real/File"), "inside");
}

TEST(FileError, IsASentence) {
  EXPECT_STREQ(FileError("read", "A/Plan.md", ENOENT).what(), "Can't read A/Plan.md: No such file or directory.");
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
    refused += errorOf([&] { root.read("Swap/File"); }) != 0;
    if (i % 10 == 0) errorOf([&] { root.replaceFile("Swap/File", "inside"); });
  }
  isOver = true;
  swapper.join();
  EXPECT_GT(refused, 0) << "the link was there at times";
  EXPECT_EQ(fs::last_write_time(canary), written);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.supportDirectory()), {}), 1);
}

TEST(FileLock, IsHeldByOneAtATimeAndGivesUp) {
  const TemporaryFolder folder;
  for (int i = 0; i < 2; ++i) {
    const FileLock held(folder.path());
    EXPECT_EQ(errorOf([&] { FileLock(folder.path(), std::chrono::milliseconds(20)); }), EWOULDBLOCK);
  }
}

}  // namespace
}  // namespace vesk
