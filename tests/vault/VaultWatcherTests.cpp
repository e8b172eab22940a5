#include <gmock/gmock.h>

#include "core/vault/VaultWatcher.h"
#include "tests/support/ReceivedBatches.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk {
namespace {

TEST(VaultWatcher, TellsOnlyOfWhatTheVaultLists) {
  const test::TemporaryFolder vault;
  vault.write("Projects/.cache/deep/index", "");
  test::ReceivedBatches received;
  const VaultWatcher watcher(
      vault.path(), [&](const auto& paths) { received.add(paths); }, std::chrono::milliseconds(50));
  for (const char* path : {"Projects/.cache/deep/index", "Projects/.vesk-0123456789abcdef.tmp", ".new/Hidden.md",
                           "\xff.md", "Projects/Plan.md"})
    vault.write(path, "changed");

  EXPECT_TRUE(received.waitFor("Projects/Plan.md"));
  EXPECT_THAT(received.batches(), testing::Each(testing::ElementsAre("Projects/Plan.md")));
}

}  // namespace
}  // namespace vesk
