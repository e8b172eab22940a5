#include <charconv>
#include <csignal>
#include <random>
#include <unistd.h>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/platform/Fd.h"
#include "core/vault/Vault.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/vault/VaultTesting.h"

namespace vesk {
namespace {

using test::TemporaryFolder;
using testing::ElementsAre;

constexpr std::string_view added = "an added line\n";

struct WrittenNote {
  const char* id;
  std::size_t size;
};
constexpr WrittenNote notes[] = {{"Small.md", 4 << 10}, {"Large.md", 1 << 20}};

// A body that tells by its beginning what its end must be.
std::string body(int version, std::string_view tag, std::size_t size) {
  return fmt::format("{} #{}\n{}\n{} #{}\n", version, tag, std::string(size, static_cast<char>('a' + version % 26)),
                     version, tag);
}

// True for one version in full, with any number of whole lines added to it.
bool isWhole(const std::string& text, std::size_t size) {
  for (const std::string_view tag : {"job", "work"}) {
    const std::string head = fmt::format("---\ntags: [{}]\n---\n", tag);
    int version = 0;
    const bool hasHead = text.starts_with(head);
    if (!hasHead) continue;
    std::from_chars(text.data() + head.size(), text.data() + text.size(), version);
    const std::string whole = head + body(version, tag, size);
    if (!text.starts_with(whole)) return false;
    std::string_view rest = std::string_view(text).substr(whole.size());
    while (rest.starts_with(added)) rest.remove_prefix(added.size());
    return rest.empty();
  }
  return false;
}

// Writes until it is killed; says so when it has begun.
[[noreturn]] void write(const Vault& vault, const WrittenNote& note, int version, int started) {
  for (;; ++version) {
    const std::string_view tag = version % 2 ? "work" : "job";
    vault.save(note.id, body(version, tag, note.size), {std::string(tag)});
    if (::write(started, "x", 1) != 1) ::_exit(1);
    vault.append(added, note.id);
    vault.renameTag(tag, version % 2 ? "job" : "work", vault.scan());
  }
}

TEST(KilledWriter, LeavesEveryNoteWhole) {
  const test::InMemory memory;
  const TemporaryFolder folder;
  const Vault vault(folder.path());
  for (const WrittenNote& note : notes) folder.write(note.id, "---\ntags: [job]\n---\n" + body(0, "job", note.size));

  const unsigned seed = 200;
  std::mt19937 random(seed);
  for (int kill = 0; kill < 200; ++kill) {
    SCOPED_TRACE(testing::Message() << "seed " << seed << ", kill " << kill);
    const WrittenNote& note = notes[kill % 2];
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const pid_t child = test::inChild([&]() -> bool { write(vault, note, kill * 1000, ends[1]); });
    ::close(ends[1]);
    char byte = 0;
    EXPECT_EQ(::read(ends[0], &byte, 1), 1) << "the writer writes";
    ::close(ends[0]);
    ::usleep(static_cast<useconds_t>(random() % 8'000));
    ASSERT_EQ(::kill(child, SIGKILL), 0);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status)) << "no failure of its own";
    ASSERT_TRUE(isWhole(folder.read(note.id), note.size));
  }
  RecordProperty("leftBehind", static_cast<int>(folder.everything().size()) - 2);
  folder.write(".vesk-0123456789abcdef.tmp", "half a no");
  vault.prepare();
  EXPECT_THAT(folder.everything(), ElementsAre("Large.md", "Small.md"));
}

}  // namespace
}  // namespace vesk
