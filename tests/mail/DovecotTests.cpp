#include <chrono>
#include <cstdlib>
#include <thread>
#include <unistd.h>

#include <fmt/format.h>

#include "bench/generator/MailText.h"
#include "core/mail/IMAPClient.h"
#include "core/mail/MIME.h"
#include "core/mail/MailError.h"
#include "core/mail/MailStore.h"
#include "core/mail/network/MailStream.h"
#include "core/toolserver/AIAccess.h"
#include "tests/support/RunProgram.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk {
namespace {

using namespace std::chrono_literals;
using Role = MailFolderRole;
using UIDs = std::vector<std::uint32_t>;

// The IMAP client against a real server, which scripts/with-mail-servers starts. Each test has an account of its own.
class Dovecot : public testing::Test {
 protected:
  void SetUp() override {
    if (!std::getenv("VESK_IMAP_PORT")) GTEST_SKIP() << "No IMAP server: run the tests with scripts/with-mail-servers.";
  }

  static std::uint16_t port(const char* variable) {
    return static_cast<std::uint16_t>(std::stoul(std::getenv(variable)));
  }

  // With what the server says it can do by the beginning of the name: see scripts/with-mail-servers.
  static std::string user(std::string_view prefix) {
    const auto now = std::chrono::system_clock::now().time_since_epoch().count();
    return fmt::format("{}user-{}-{}", prefix, ::getpid(), now);
  }

  static IMAPClient connect(MailSecurity security) {
    const MailStreamOptions trusting{.extraAuthorities = std::getenv("VESK_IMAP_AUTHORITY")};
    const bool isTLS = security == MailSecurity::tls;
    return IMAPClient(
        MailStream::open({"localhost", port(isTLS ? "VESK_IMAPS_PORT" : "VESK_IMAP_PORT"), security}, trusting));
  }

  static IMAPClient login(const std::string& user, MailSecurity security = MailSecurity::tls) {
    IMAPClient client = connect(security);
    client.start(user, "secret", security);
    return client;
  }
};

// The parameter begins the names of users.
class DovecotAccounts : public Dovecot, public testing::WithParamInterface<const char*> {};

std::string mail(std::string_view id, std::size_t size = 0) {
  return fmt::format("Message-ID: <{0}@example.org>\r\nSubject: {0}\r\n\r\n(text)\r\n{1}", id, std::string(size, 'x'));
}

TEST_P(DovecotAccounts, DoesAllThatMailNeeds) {
  const std::string account = user(GetParam());
  IMAPClient client = login(account);
  EXPECT_EQ(client.capabilities().contains("MOVE"), std::string_view(GetParam()).empty());
  const auto folders = client.folders();
  EXPECT_THAT(folders, testing::UnorderedElementsAre(IMAPFolder{"INBOX", "INBOX", Role::inbox},
                                                     IMAPFolder{"Sent", "Sent", Role::sent},
                                                     IMAPFolder{"Trash", "Trash", Role::trash}));
  for (const char* id : {"one", "two", "three"}) client.append(mail(id), "INBOX", {});
  client.append(mail("large", 3'000'000), "INBOX", {"\\Seen", "\\Flagged", "$Forwarded"});

  const IMAPSelection selection = client.select("INBOX");
  EXPECT_EQ(selection.exists, 4u);
  EXPECT_EQ(selection.uidNext, 5u);
  EXPECT_NE(selection.uidValidity, 0u);
  const auto today = std::chrono::floor<std::chrono::days>(std::chrono::system_clock::now());
  EXPECT_EQ(client.uids(Day(today - std::chrono::days(1))), (UIDs{1, 2, 3, 4}));
  EXPECT_EQ(client.uids(Day(today + std::chrono::days(2))), UIDs());
  EXPECT_EQ(client.uids("<two@example.org>"), UIDs{2});
  EXPECT_EQ(client.uids("\"\\\r\né"), UIDs());

  const auto bodies = client.bodies({4, 2, 99});
  ASSERT_EQ(bodies.size(), 2u);
  EXPECT_EQ(bodies[0].body, mail("two"));
  EXPECT_FALSE(bodies[0].isRead());
  EXPECT_EQ(bodies[1].body, mail("large", 3'000'000));
  EXPECT_TRUE(bodies[1].isRead() && bodies[1].isFlagged());
  EXPECT_EQ(client.bodies({1}, 10)[0].body, "Message-ID");

  client.setFlag("\\Seen", true, {1, 2, 3});
  client.setFlag("\\Seen", false, {3});
  client.setFlag("\\Flagged", true, {3});
  const auto flags = client.flags({1, 2, 3});
  ASSERT_EQ(flags.size(), 3u);
  EXPECT_TRUE(flags[0].isRead() && flags[1].isRead() && !flags[2].isRead() && flags[2].isFlagged());

  client.move({1, 3}, "Trash");
  EXPECT_EQ(client.flags({1, 2, 3, 4}).size(), 2u);
  EXPECT_EQ(client.select("Trash", true).exists, 2u);
  EXPECT_THROW(client.select("No \"such\" \\ folder"), MailError);
  EXPECT_EQ(client.select("INBOX").exists, 2u);
  client.close();
}

TEST_P(DovecotAccounts, LearnsOfMailThatComesWhileItWaits) {
  const std::string account = user(GetParam());
  IMAPClient waiting = login(account);
  waiting.select("INBOX");
  EXPECT_FALSE(waiting.idle(0ms));
  IMAPClient sending = login(account, MailSecurity::startTLS);
  std::thread sender([&] { sending.append(mail("new"), "INBOX", {}); });
  bool hasChanged = false;
  for (int i = 0; i < 20 && !hasChanged; ++i) hasChanged = waiting.idle(500ms);
  sender.join();
  EXPECT_TRUE(hasChanged);
  EXPECT_EQ(waiting.uids("<new@example.org>"), UIDs{1});
}

INSTANTIATE_TEST_SUITE_P(Capabilities, DovecotAccounts, testing::Values("", "uidplus-", "bare-"));

TEST_F(Dovecot, TakesTheRightPasswordOnly) {
  for (const MailSecurity security : {MailSecurity::tls, MailSecurity::startTLS, MailSecurity::none})
    login(user(""), security).close();
  for (const char* password : {"", "sec\"ret\\", "a\r\nb", "é"}) {
    IMAPClient client = connect(MailSecurity::startTLS);
    try {
      client.start(user(""), password, MailSecurity::startTLS);
      ADD_FAILURE() << password;
    } catch (const MailError& error) {
      EXPECT_EQ(error.kind(), MailError::Kind::wrongPassword) << error.what();
    }
  }
}

// A client that goes on with its store by what the server tells has the server's state in the end.
TEST_F(Dovecot, SeesWhatAnotherClientDid) {
  const std::string account = user("");
  IMAPClient one = login(account);
  IMAPClient other = login(account);
  UIDs all(300);
  for (std::uint32_t i = 0; i < all.size(); ++i) {
    all[i] = i + 1;
    one.append(mail(fmt::format("m{}", i + 1)), "INBOX", {});
  }
  one.select("INBOX");
  other.select("INBOX");
  UIDs moved;
  UIDs read;
  for (const std::uint32_t uid : all) {
    if (uid % 3 == 0) moved.push_back(uid);
    if (uid % 5 == 0) read.push_back(uid);
  }
  other.setFlag("\\Seen", true, read);
  other.move(moved, "Trash");
  one.idle(0ms);
  const auto messages = one.bodies(all);
  EXPECT_EQ(messages.size(), 200u);
  for (const IMAPMessage& message : messages) {
    EXPECT_NE(message.uid % 3, 0u);
    EXPECT_EQ(message.isRead(), message.uid % 5 == 0);
    EXPECT_EQ(message.body, mail(fmt::format("m{}", message.uid)));
  }
}

// All the way: fetched, taken apart, stored, and read by an assistant's tool server while more is stored.
TEST_F(Dovecot, BringsMailToTheAssistant) {
  constexpr std::uint32_t count = 1000;
  IMAPClient client = login(user(""));
  for (std::uint32_t seed = 1; seed <= count; ++seed) client.append(bench::mailText(seed), "INBOX", {});

  const test::TemporaryFolder folder;
  AIAccess access{.vaultPath = folder.path(), .canReadEmail = true};
  access.save(folder.supportDirectory());
  MailStore store(folder.supportDirectory());
  store.save(MailAccount{.id = "ana", .address = "ana@example.org"});
  store.saveFolders(client.folders(), "ana");
  store.syncState("ana", "INBOX", client.select("INBOX").uidValidity);
  const auto answers = [&] {
    std::string calls;
    for (const auto& [tool, arguments] :
         {std::pair("list_emails", "{}"), std::pair("search_emails", R"({"query":"a"})"),
          std::pair("read_email", R"({"id":"1"})")})
      calls += fmt::format("{{\"id\":1,\"method\":\"tools/call\",\"params\":{{\"name\":\"{}\",\"arguments\":{}}}}}\n",
                           tool, arguments);
    return test::runProgram({VESK_BIN_DIR "/vesk-mcp"}, {.input = calls}).output;
  };

  std::jthread reading;
  for (std::uint32_t first = 1; first <= count; first += 50) {
    UIDs batch;
    for (std::uint32_t uid = first; uid < first + 50; ++uid) batch.push_back(uid);
    std::vector<MailRecord> records;
    for (const IMAPMessage& message : client.bodies(batch))
      records.push_back({message.uid, message.isRead(), message.isFlagged(), MIME::parse(*message.body)});
    store.insert(records, "ana", "INBOX");
    store.setLastUID(first + 49, "ana", "INBOX");
    if (!reading.joinable())
      reading = std::jthread([&](const std::stop_token& stop) {
        while (!stop.stop_requested()) EXPECT_EQ(answers().find("isError"), std::string::npos);
      });
  }
  reading.request_stop();
  reading.join();
  EXPECT_THAT(answers(), testing::HasSubstr("\\\"total\\\" : 1000"));
}

}  // namespace
}  // namespace vesk
