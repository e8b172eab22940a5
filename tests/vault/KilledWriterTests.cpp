#include <charconv>
#include <csignal>
#include <cstdlib>
#include <random>

#include <fmt/format.h>

#include "tests/vault/VaultTesting.h"

namespace vesk {
namespace {

constexpr std::string_view added = "an added line\n";
constexpr std::pair<const char*, std::size_t> notes[] = {{"Small.md", 4 << 10}, {"Large.md", 1 << 20}};

std::string head(char tag) { return fmt::format("---\ntags: [{}]\n---\n", tag); }

// Tells by its beginning what its end must be.
std::string body(int version, std::size_t size) {
  return fmt::format("{0}\n{1}\n{0}\n", version, std::string(size, static_cast<char>('a' + version % 26)));
}

// True for one version in full, with any number of whole lines added to it.
bool isWhole(std::string_view text, std::size_t size) {
  if (!text.starts_with(head('a')) && !text.starts_with(head('b'))) return false;
  text.remove_prefix(head('a').size());
  int version = 0;
  std::from_chars(text.data(), text.data() + text.size(), version);
  const std::string whole = body(version, size);
  if (!text.starts_with(whole)) return false;
  text.remove_prefix(whole.size());
  while (text.starts_with(added)) text.remove_prefix(added.size());
  return text.empty();
}

TEST(KilledWriter, LeavesEveryNoteWhole) {
  // In memory a process that is killed leaves the same behind, and a thousand writes take no time.
  if (::access("/dev/shm", W_OK) == 0) ::setenv("TMPDIR", "/dev/shm", 1);
  const test::TemporaryFolder folder;
  ::unsetenv("TMPDIR");
  const Vault vault(folder.path());
  for (const auto& [id, size] : notes) folder.write(id, head('a') + body(0, size));

  std::mt19937 random(200);
  for (int kill = 0; kill < 200; ++kill) {
    SCOPED_TRACE(kill);
    const auto& [id, size] = notes[kill % 2];
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const pid_t child = test::inChild([&, &note = id, &length = size] {
      for (int version = kill * 1000;; ++version) {
        vault.save(note, body(version, length), {"a"});
        if (::write(ends[1], "x", 1) != 1) return false;
        vault.append(added, note);
        vault.renameTag("a", "b", vault.scan());
      }
    });
    ::close(ends[1]);
    char byte = 0;
    EXPECT_EQ(::read(ends[0], &byte, 1), 1) << "it has begun";
    ::close(ends[0]);
    ::usleep(static_cast<useconds_t>(random() % 8'000));
    ASSERT_EQ(::kill(child, SIGKILL), 0);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status)) << "no failure of its own";
    ASSERT_TRUE(isWhole(folder.read(id), size));
  }
  vault.prepare();
  EXPECT_THAT(folder.everything(), testing::ElementsAre("Large.md", "Small.md"));
}

}  // namespace
}  // namespace vesk
