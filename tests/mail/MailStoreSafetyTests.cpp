// The mail database under many at once, and when things go wrong.

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <future>
#include <thread>
#include <unistd.h>

#include <sys/fsuid.h>
#include <sys/resource.h>

#include "core/mail/MailError.h"
#include "core/platform/FileError.h"
#include "tests/mail/MailStoreTesting.h"
#include "tests/vault/VaultTesting.h"

namespace vesk {
namespace {

using namespace std::chrono_literals;
using test::MailFolders;
using test::record;

int wanted(const char* variable, int otherwise) {
  const char* given = std::getenv(variable);
  return given ? std::atoi(given) : otherwise;
}

// What the work is refused with.
template <typename Work>
std::string refusal(const Work& work) {
  try {
    work();
  } catch (const MailError& error) {
    return error.what();
  }
  return {};
}

std::vector<MailRecord> batch(std::uint32_t first, std::size_t count) {
  std::vector<MailRecord> records;
  for (std::uint32_t uid = first; records.size() < count; ++uid) {
    records.push_back(
        record(uid, "Subject of " + std::to_string(uid), "bo@example.org", static_cast<int>(uid % 9'999)));
    records.back().mail.text = "Some words about " + std::to_string(uid) + std::string(300, '.');
  }
  return records;
}

constexpr std::uint32_t batchSize = 5;

// Each round adds a batch of messages, and takes the one before that away but for one, in an account of its own.
std::uint32_t write(const std::string& directory, const std::string& account,
                    std::chrono::steady_clock::time_point end) {
  MailStore store(directory);
  test::withInbox(store, account);
  std::uint32_t uid = 1;
  for (; std::chrono::steady_clock::now() < end; uid += batchSize) {
    if (store.insert(batch(uid, batchSize), account, "INBOX") != batchSize) return 0;
    store.updateFlags({{.uid = uid, .isRead = true, .isFlagged = true}}, account, "INBOX");
    store.setLastUID(uid, account, "INBOX");
    store.save(MailDraft{.id = account, .accountID = account, .body = std::to_string(uid)});
    if (uid == 1) continue;
    std::vector<std::uint32_t> old;
    for (std::uint32_t i = 1; i < batchSize; ++i) old.push_back(uid - i);
    store.remove(old, account, "INBOX");
  }
  return uid;
}

// Of each batch but the last two one message is left, of the last one all, and of the one before all or one.
bool areWholeBatches(const std::set<std::uint32_t>& uids) {
  if (uids.empty()) return true;
  const std::uint32_t last = *uids.rbegin();
  if (last % batchSize != 0 || last == batchSize) return uids.size() == batchSize;
  const auto recent = static_cast<std::size_t>(std::distance(uids.upper_bound(last - 2 * batchSize), uids.end()));
  return (recent == 2 * batchSize || recent == batchSize + 1) && uids.size() - recent == last / batchSize - 2;
}

bool readsWell(const std::string& directory, std::chrono::steady_clock::time_point end) {
  while (std::chrono::steady_clock::now() < end) {
    const auto store = MailStore::openIfThere(directory);
    if (!store) continue;
    if (!areWholeBatches(store->storedUIDs("one", "INBOX"))) return false;
    for (const MailSummary& found : store->messages({.words = "subject", .limit = 20})) {
      const auto mail = store->message(found.id);
      if (mail && mail->summary.subject != "Subject of " + std::to_string(mail->summary.uid)) return false;
    }
    const auto draft = store->draft("one");
    if ((draft && draft->accountID != "one") || store->skipped() > 0) return false;
  }
  return true;
}

// Processes that start at the same moment, the making of the database included.
TEST(MailStoreSafety, SeveralWriteAndReadAtOnce) {
  MailFolders mail;
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(wanted("VESK_MAIL_SECONDS", 2));
  std::vector<pid_t> processes;
  for (const char* account : {"one", "two"})
    processes.push_back(test::inChild([&] { return write(mail.directory(), account, end) > 1; }));
  for (int reader = 0; reader < 3; ++reader)
    processes.push_back(test::inChild([&] { return readsWell(mail.directory(), end); }));
  for (const pid_t process : processes) EXPECT_TRUE(test::endedWell(process));

  for (const std::string account : {"one", "two"}) {
    const auto uids = mail.store().storedUIDs(account, "INBOX");
    EXPECT_TRUE(areWholeBatches(uids)) << account;
    EXPECT_FALSE(uids.empty()) << account;
  }
  EXPECT_TRUE(mail.isSound());
}

TEST(MailStoreSafety, ThreadsShareAStore) {
  MailFolders mail;
  std::vector<std::future<void>> threads;
  for (const std::string account : {"one", "two", "three"}) {
    threads.push_back(std::async(std::launch::async, [&store = test::withInbox(mail.store(), account), account] {
      for (std::uint32_t uid = 1; uid < 100; ++uid) {
        store.insert({record(uid, account, "x@y")}, account, "INBOX");
        store.messages({.accountID = account, .words = account});
      }
    }));
  }
  for (auto& thread : threads) thread.get();
  EXPECT_EQ(mail.number("SELECT COUNT(*) FROM messages"), 297);
  EXPECT_TRUE(mail.isSound());
}

TEST(MailStoreSafety, AKilledWriterLeavesWholeBatches) {
  MailFolders mail;
  const int kills = wanted("VESK_MAIL_KILLS", 25);
  for (int kill = 0; kill < kills; ++kill) {
    const std::string account = std::to_string(kill);
    const pid_t writer = test::inChild([&] {
      MailStore store(mail.directory());
      test::withInbox(store, account);
      for (std::uint32_t uid = 1;; uid += 50) store.insert(batch(uid, 50), account, "INBOX");
      return true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(10 + kill * 7 % 40));
    ::kill(writer, SIGKILL);
    EXPECT_FALSE(test::endedWell(writer));
    if (kill == 0) mail.store();
    ASSERT_EQ(mail.store().messages({.accountID = account, .limit = 100'000}).size() % 50, 0u);
    if (kill % 5 == 0) mail.close();  // the next one finds the log as the killed one left it
  }
  EXPECT_GT(mail.number("SELECT COUNT(*) FROM messages"), 0);
  EXPECT_TRUE(mail.isSound());
}

TEST(MailStoreSafety, ALockIsWaitedForButNotForever) {
  MailFolders mail;
  test::withInbox(mail.store()).insert({record(1, "one", "x@y")}, "a", "INBOX");
  SQLite::Database other(mail.file(), SQLite::OPEN_READWRITE);
  other.exec("BEGIN IMMEDIATE");
  const auto write = [&] { mail.store().setLastUID(1, "a", "INBOX"); };
  auto waiting = std::async(std::launch::async, write);
  EXPECT_EQ(mail.number("SELECT COUNT(*) FROM messages"), 1);
  EXPECT_EQ(waiting.wait_for(300ms), std::future_status::timeout);
  other.exec("COMMIT");
  EXPECT_NO_THROW(waiting.get());
  if (!std::getenv("VESK_MAIL_SECONDS")) return;  // the full four seconds are for runs by hand
  other.exec("BEGIN IMMEDIATE");
  EXPECT_EQ(refusal(write), "The mail server refused: database is locked");
}

TEST(MailStoreSafety, AFullDiskTakesBackWhatWasBegun) {
  MailFolders mail;
  test::withInbox(mail.store()).insert(batch(1, 10), "a", "INBOX");
  const pid_t child = test::inChild([&] {
    MailStore store(mail.directory());
    rlimit limit{200'000, RLIM_INFINITY};
    if (std::signal(SIGXFSZ, SIG_IGN) == SIG_ERR || ::setrlimit(RLIMIT_FSIZE, &limit) != 0) return false;
    const std::string sentence = refusal([&] { store.insert(batch(100, 2'000), "a", "INBOX"); });
    limit.rlim_cur = RLIM_INFINITY;
    ::setrlimit(RLIMIT_FSIZE, &limit);
    return (sentence.ends_with("disk is full") || sentence.ends_with("disk I/O error")) &&
           store.storedUIDs("a", "INBOX").size() == 10 && store.insert(batch(100, 2), "a", "INBOX") == 2;
  });
  EXPECT_TRUE(test::endedWell(child));
  EXPECT_EQ(mail.number("SELECT COUNT(*) FROM messages"), 12);
  EXPECT_TRUE(mail.isSound());
}

TEST(MailStoreSafety, ADamagedDatabaseIsLeftAsItIs) {
  MailFolders mail;
  test::withInbox(mail.store()).insert(batch(1, 500), "a", "INBOX");
  mail.close();
  const std::string whole = mail.folder().read("mail/mail.sqlite");
  std::string badHeader = whole;
  badHeader.replace(0, 6, "XQLite");
  std::string badPages = whole;
  badPages.replace(100, 8'000, std::string(8'000, '\xA5'));
  const std::string damaged[] = {"", "not a database, but a text", badHeader, badPages, whole.substr(0, 50'000)};
  for (const std::string& bytes : damaged) {
    SCOPED_TRACE(bytes.substr(0, 20) + ", " + std::to_string(bytes.size()));
    mail.folder().write("mail/mail.sqlite", bytes);
    const std::string sentence = refusal([&] { MailStore(mail.directory()).messages({}); });
    EXPECT_TRUE(sentence.ends_with("file is not a database") || sentence.ends_with("disk image is malformed"))
        << sentence;
    EXPECT_NE(refusal([&] { MailStore::openIfThere(mail.directory())->messages({}); }), "");
    EXPECT_EQ(mail.folder().read("mail/mail.sqlite"), bytes);
  }
  std::filesystem::remove(mail.file());
  mail.folder().write("mail/mail.sqlite-wal", "changes of a database that is gone");
  EXPECT_NE(refusal([&] { MailStore store(mail.directory()); }), "");
  EXPECT_FALSE(mail.folder().has("mail/mail.sqlite"));
}

TEST(MailStoreSafety, APageThatIsDamagedIsTold) {
  MailFolders mail;
  test::withInbox(mail.store()).insert(batch(1, 500), "a", "INBOX");
  mail.close();
  std::string bytes = mail.folder().read("mail/mail.sqlite");
  for (std::size_t at = 40'960; at < bytes.size() / 2; ++at) bytes[at] = static_cast<char>(at * 31);
  mail.folder().write("mail/mail.sqlite", bytes);
  const std::string sentence = refusal([&] {
    mail.store().insert(batch(1'000, 500), "a", "INBOX");
    mail.store().messages({.words = "subject", .limit = 1'000});
  });
  EXPECT_EQ(sentence, "The mail server refused: database disk image is malformed");
}

// Works with the rights of nobody in particular, also when the tests are root's.
class Unprivileged {
 public:
  Unprivileged() { ::setfsuid(65'534); }
  ~Unprivileged() { ::setfsuid(::geteuid()); }
};

TEST(MailStoreSafety, ReadsWhatItMayNotWrite) {
  namespace fs = std::filesystem;
  MailFolders mail;
  test::withInbox(mail.store()).insert({record(1, "one", "x@y")}, "a", "INBOX");
  const auto allow = [&](fs::perms ofFolder, fs::perms ofFile) {
    fs::permissions(fs::path(mail.directory()).parent_path(), fs::perms(0755));
    fs::permissions(mail.directory() + "/mail", ofFolder);
    for (const auto& file : fs::directory_iterator(mail.directory() + "/mail")) fs::permissions(file, ofFile);
  };
  const auto readOnly = [&] {
    const Unprivileged rights;
    const auto store = MailStore::openIfThere(mail.directory());
    EXPECT_EQ(store->messages({.words = "one"}).size(), 1u);
    EXPECT_EQ(refusal([&] { store->save(MailDraft{.id = "d"}); }),
              "The mail server refused: attempt to write a readonly database");
  };
  allow(fs::perms(0555), fs::perms(0444));
  readOnly();  // while another one has it open
  mail.close();
  allow(fs::perms(0555), fs::perms(0444));
  readOnly();
  allow(fs::perms(0700), fs::perms(0600));
  {
    const Unprivileged rights;
    EXPECT_NE(refusal([&] { MailStore::openIfThere(mail.directory()); }), "");
    EXPECT_THROW(MailStore(mail.directory() + "/none"), FileError);
  }
  EXPECT_EQ(mail.store().messages({}).size(), 1u);
}

}  // namespace
}  // namespace vesk
