#include <filesystem>
#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/vault/VaultWatcher.h"
#include "tests/support/ReceivedBatches.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk {
namespace {

using testing::Each;
using testing::ElementsAre;

TEST(VaultWatcher, TellsOnlyOfWhatTheVaultLists) {
  const test::TemporaryFolder vault;
  vault.write(".obsidian/workspace.json", "{}");
  vault.write("Projects/.cache/deep/index", "");
  test::ReceivedBatches received;
  const VaultWatcher watcher(
      vault.path(), [&](const auto& paths) { received.add(paths); }, std::chrono::milliseconds(50));

  vault.write(".obsidian/workspace.json", "changed");
  vault.write("Projects/.cache/deep/index", "changed");
  vault.write("Projects/.vesk-0123456789abcdef.tmp", "draft");
  vault.write(".new/Hidden.md", "hidden");
  vault.write("\xff.md", "not UTF-8");
  vault.write("Projects/Plan.md", "seen");

  EXPECT_TRUE(received.waitFor("Projects/Plan.md"));
  EXPECT_THAT(received.batches(), Each(ElementsAre("Projects/Plan.md")));
}

TEST(VaultWatcher, IsSilentOnceReleased) {
  const test::TemporaryFolder vault;
  test::ReceivedBatches released;
  test::ReceivedBatches kept;
  const auto latency = std::chrono::milliseconds(50);
  auto watcher = std::make_unique<VaultWatcher>(
      vault.path(), [&](const auto& paths) { released.add(paths); }, latency);
  const VaultWatcher witness(
      vault.path(), [&](const auto& paths) { kept.add(paths); }, latency);

  vault.write("Before.md", "");
  EXPECT_TRUE(released.waitFor("Before.md"));
  watcher.reset();
  vault.write("After.md", "");
  EXPECT_TRUE(kept.waitFor("After.md"));
  EXPECT_THAT(released.paths(), ElementsAre("Before.md"));
}

}  // namespace
}  // namespace vesk
