#include <csignal>

#include "core/base/Json.h"
#include "tests/app/VeskProgram.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk::test {

namespace {

TEST(WatchCommand, TellsOfChangesUntilItIsInterrupted) {
  for (const int signal : {SIGINT, SIGTERM}) {
    const TemporaryFolder vault;
    ASSERT_EQ(vesk({"open", vault.path()}).exitStatus, 0);
    RunningProgram watch(veskCommand({"watch"}));
    ASSERT_TRUE(watch.waitForErrors("Watching " + vault.path()));

    vault.write("Inbox/New\x1b[2J.md", "new");
    EXPECT_TRUE(watch.waitForOutput("Inbox/New\uFFFD[2J.md\n"));

    watch.signal(signal);
    EXPECT_EQ(watch.finish().exitStatus, 0);
  }
}

TEST(WatchCommand, WritesALineOfJsonForEachChange) {
  const TemporaryFolder vault;
  ASSERT_EQ(vesk({"open", vault.path()}).exitStatus, 0);
  RunningProgram watch(veskCommand({"watch", "--json"}));
  ASSERT_TRUE(watch.waitForErrors("Watching "));
  vault.write("Plan \"A\".md", "plan");
  EXPECT_TRUE(watch.waitForOutput("{\"path\":\"Plan \\\"A\\\".md\"}\n"));
  std::filesystem::rename(vault.path(), vault.path() + " away");
  EXPECT_TRUE(watch.waitForOutput("{\"whole_vault\":true}\n"));
  watch.signal(SIGINT);
  EXPECT_EQ(watch.finish().exitStatus, 0);
}

}  // namespace

}  // namespace vesk::test
