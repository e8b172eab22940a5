#include <csignal>

#include "tests/app/VeskProgram.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk::test {

namespace {

TEST(WatchCommand, TellsOfChangesUntilItIsInterrupted) {
  const TemporaryFolder vault;
  ASSERT_EQ(vesk({"open", vault.path()}).exitStatus, 0);
  RunningProgram plain(veskCommand({"watch"}));
  RunningProgram json(veskCommand({"watch", "--json"}));
  ASSERT_TRUE(plain.waitForErrors("Watching " + vault.path()));
  ASSERT_TRUE(json.waitForErrors("Watching "));

  vault.write("Inbox/New \"A\"\x1b[2J.md", "new");
  EXPECT_TRUE(plain.waitForOutput("Inbox/New \"A\"\uFFFD[2J.md\n"));
  EXPECT_TRUE(json.waitForOutput("{\"path\":\"Inbox/New \\\"A\\\"\\u001b[2J.md\"}\n"));
  std::filesystem::rename(vault.path(), vault.path() + " away");
  EXPECT_TRUE(json.waitForOutput("{\"whole_vault\":true}\n"));

  plain.signal(SIGINT);
  json.signal(SIGTERM);
  EXPECT_EQ(plain.finish().exitStatus, 0);
  EXPECT_EQ(json.finish().exitStatus, 0);
}

}  // namespace

}  // namespace vesk::test
