#include <atomic>
#include <chrono>
#include <cstdlib>
#include <map>
#include <random>
#include <thread>
#include <tuple>
#include <unistd.h>

#include <fmt/format.h>

#include "core/mail/IMAPClient.h"
#include "core/mail/MIME.h"
#include "core/mail/MailEngine.h"
#include "core/mail/network/MailStream.h"
#include "tests/mail/MailStoreTesting.h"

namespace vesk {
namespace {

using namespace std::chrono_literals;
using UIDs = std::vector<std::uint32_t>;
using Kind = MailChange::Kind;

// What is in a folder: the Message-IDs with their flags, by UID.
using Content = std::map<std::uint32_t, std::tuple<std::string, bool, bool>>;
using Contents = std::map<std::string, Content>;

// A connection that ends after so many bytes, and tells what is said.
class CutConnection final : public MailConnection {
 public:
  using Hook = std::function<void(std::string_view sent)>;
  CutConnection(std::unique_ptr<MailConnection> whole, std::shared_ptr<std::atomic<std::size_t>> bytesLeft, Hook hook)
      : whole_(std::move(whole)), bytesLeft_(std::move(bytesLeft)), hook_(std::move(hook)) {}

  void send(std::string_view bytes) override {
    if (hook_) hook_(bytes);
    const std::size_t size = take(bytes.size());
    whole_->send(bytes.substr(0, size));
    if (size < bytes.size()) throw MailError::closed();
  }
  std::optional<std::string_view> receive(std::chrono::milliseconds timeout) override {
    if (*bytesLeft_ == 0) return std::nullopt;
    const auto bytes = whole_->receive(timeout);
    return bytes ? std::optional(bytes->substr(0, take(bytes->size()))) : std::nullopt;
  }
  void startTLS() override { whole_->startTLS(); }
  bool isPrivate() const override { return whole_->isPrivate(); }
  void close() noexcept override { whole_->close(); }

 private:
  std::size_t take(std::size_t wanted) {
    const std::size_t taken = std::min<std::size_t>(wanted, *bytesLeft_);
    *bytesLeft_ -= taken;
    return taken;
  }

  std::unique_ptr<MailConnection> whole_;
  std::shared_ptr<std::atomic<std::size_t>> bytesLeft_;
  Hook hook_;
};

WipedText secret(std::string_view text = "secret") {
  WipedText password;
  password.append(text);
  return password;
}

std::string mail(std::string_view id, std::size_t size = 0) {
  return fmt::format("Message-ID: <{0}@example.org>\r\nFrom: ana@example.org\r\nSubject: {0}\r\n\r\n{1}\r\n", id,
                     std::string(size, 'x'));
}

// An account of its own on the real server that scripts/with-mail-servers starts.
class MailEngineOnServer : public testing::Test {
 protected:
  void SetUp() override {
    if (!std::getenv("VESK_IMAP_PORT")) GTEST_SKIP() << "No IMAP server: run the tests with scripts/with-mail-servers.";
    account_.user = fmt::format("{}engine-{}-{}", prefix(), ::getpid(),
                                std::chrono::system_clock::now().time_since_epoch().count());
  }
  virtual std::string prefix() const { return ""; }

  std::unique_ptr<MailConnection> open(const std::stop_token& cancelled = {}) const {
    return MailStream::open(account_.incoming, {.cancelled = cancelled});
  }

  IMAPClient login() const {
    IMAPClient client(open());
    client.start(account_.user, "secret", MailSecurity::none);
    return client;
  }

  MailEngine engine(MailStore& store, const IMAPLimits& limits = {}) {
    return {store, account_, secret(),
            [this](const std::stop_token& cancelled) {
              return std::make_unique<CutConnection>(open(cancelled), bytesLeft_, hook_);
            },
            limits};
  }

  // What commands beyond those of the client do.
  void command(std::string_view text) const {
    const auto connection = open();
    std::string said;
    for (const std::string& line :
         {fmt::format("a LOGIN {} secret\r\n", account_.user), fmt::format("a {}\r\n", text)}) {
      connection->send(line);
      for (said.clear(); said.find("a OK") == std::string::npos;) {
        const auto bytes = connection->receive(10s);
        ASSERT_TRUE(bytes && said.find("a NO") == std::string::npos) << said;
        said += *bytes;
      }
    }
  }

  static Contents onServer(IMAPClient& client) {
    Contents contents;
    for (const IMAPFolder& folder : client.folders()) {
      const IMAPSelection selection = client.select(folder.path, true);
      Content& content = contents[folder.path];
      UIDs uids;
      if (selection.exists > 0)
        for (const IMAPMessage& message : client.flags(1, selection.exists)) uids.push_back(message.uid);
      for (const IMAPMessage& message : client.bodies(uids))
        content[message.uid] = {MIME::parse(*message.body).messageID, message.isRead(), message.isFlagged()};
    }
    return contents;
  }

  static Contents inStore(const MailStore& store) {
    Contents contents;
    for (const MailFolder& folder : store.folderNames()) contents[folder.path];
    for (const MailSummary& each : store.messages({.limit = 100'000}))
      contents[each.folder][each.uid] = {each.messageID, each.isRead, each.isFlagged};
    return contents;
  }

  static MailSummary found(const MailStore& store, std::string_view path, std::string_view id) {
    return store.find("ana", path, fmt::format("<{}@example.org>", id)).value();
  }

  // As a user does it: here at once, and queued for the server.
  static MailChange change(const MailSummary& mail, Kind kind, bool isOn) {
    return {.accountID = mail.accountID,
            .folder = mail.folder,
            .uid = mail.uid,
            .messageID = mail.messageID,
            .kind = kind,
            .isOn = isOn};
  }
  static MailChange move(const MailSummary& mail, MailFolderRole role, std::optional<std::string> path = {}) {
    MailChange moved = change(mail, Kind::move, false);
    moved.target = role;
    moved.targetPath = std::move(path);
    return moved;
  }

  static void expectSuccess(const MailSyncReport& report) {
    EXPECT_FALSE(report.failure) << report.failure->what();
    for (const FailedMailFolder& folder : report.failed) ADD_FAILURE() << folder.path << ": " << folder.reason;
  }

  void sendWhole() { *bytesLeft_ = std::numeric_limits<std::size_t>::max(); }

  MailAccount account_{.id = "ana",
                       .address = "ana@example.org",
                       .incoming = {.host = "localhost",
                                    .port = static_cast<std::uint16_t>(std::stoul(
                                        std::getenv("VESK_IMAP_PORT") ? std::getenv("VESK_IMAP_PORT") : "0")),
                                    .security = MailSecurity::none}};
  std::shared_ptr<std::atomic<std::size_t>> bytesLeft_ =
      std::make_shared<std::atomic<std::size_t>>(std::numeric_limits<std::size_t>::max());
  CutConnection::Hook hook_;
  test::MailFolders folders_;
};

TEST_F(MailEngineOnServer, FetchesEverythingAndThenOnlyWhatIsNew) {
  IMAPClient other = login();
  for (int i = 1; i <= 40; ++i) other.append(mail(fmt::format("m{}", i), 2'000), "INBOX", {});
  other.append(mail("sent"), "Sent", {"\\Seen"});
  other.append(mail("large", 300'000), "INBOX", {"\\Flagged"});
  other.append("no header at all", "INBOX", {});

  MailStore& store = folders_.store();
  MailEngine engine = this->engine(store, {.literal = 200'000, .answer = 400'000});
  std::vector<std::string> told;
  std::uint32_t lowestAtFirst = 0;
  const MailSyncReport report = engine.sync({.progress = [&](const MailProgress& progress) {
    told.push_back(fmt::format("{} {}/{}", progress.folder, progress.done, progress.total));
    const auto stored = store.storedUIDs("ana", "INBOX");
    if (lowestAtFirst == 0 && !stored.empty()) lowestAtFirst = *stored.begin();
  }});
  expectSuccess(report);
  EXPECT_EQ(report.added, 43u);
  EXPECT_EQ(told.front(), "INBOX 0/42");
  EXPECT_GT(lowestAtFirst, 2u) << "the newest come first";
  EXPECT_THAT(told, testing::IsSupersetOf({"INBOX 42/42", "Sent 1/1"}));
  EXPECT_EQ(inStore(store), onServer(other));
  EXPECT_EQ(found(store, "INBOX", "large").subject, "large") << "a beginning is stored of what is too large";

  told.clear();
  other.append(mail("new"), "INBOX", {});
  const MailSyncReport second = engine.sync();
  EXPECT_EQ(second.added, 1u);
  EXPECT_EQ(second.removed + second.updated, 0u);
  EXPECT_EQ(inStore(store), onServer(other));
}

TEST_F(MailEngineOnServer, GoesBackAsFarAsItIsTold) {
  IMAPClient other = login();
  command("CREATE Old");
  const std::string old = mail("old");
  command(fmt::format("APPEND INBOX \"05-Nov-2020 10:00:00 +0000\" {{{}+}}\r\n{}", old.size(), old));
  for (const char* path : {"INBOX", "Old"}) other.append(mail("new"), path, {});
  MailStore& store = folders_.store();
  const MailSyncOptions recent = {.since = Day(std::chrono::year(2024) / 1 / 1)};
  EXPECT_EQ(engine(store).sync(recent).added, 2u);
  // What is moved afterwards is wanted, however old it is.
  command(fmt::format("APPEND Old \"05-Nov-2020 10:00:00 +0000\" {{{}+}}\r\n{}", old.size(), old));
  EXPECT_EQ(engine(store).sync(recent).added, 1u);
  EXPECT_EQ(engine(store).sync().added, 1u);
  EXPECT_EQ(inStore(store), onServer(other));
}

// The parameter begins the names of users, and says so what the server can do: see scripts/with-mail-servers.
class MailEngineCut : public MailEngineOnServer, public testing::WithParamInterface<const char*> {
  std::string prefix() const override { return GetParam(); }
};

// However a first sync ends, and one that has changes to send: the next one leaves nothing out and has nothing twice.
TEST_P(MailEngineCut, GoesOnWhereItWasCutOff) {
  IMAPClient other = login();
  for (int i = 1; i <= 12; ++i) other.append(mail(fmt::format("m{}", i), 400), "INBOX", {});
  const IMAPLimits small{.literal = 100'000, .answer = 8'000};  // a few messages a batch
  for (std::size_t cut = 40, runs = 0; runs < 400; ++runs, cut += 307) {
    SCOPED_TRACE(fmt::format("after {} bytes", cut));
    const test::MailFolders folders;
    MailStore store(folders.directory());
    *bytesLeft_ = cut;
    const bool isWhole = !engine(store, small).sync().failure;
    sendWhole();
    expectSuccess(engine(store, small).sync());
    ASSERT_EQ(inStore(store), onServer(other));

    const auto mails = store.messages({.folder = "INBOX"});
    const auto there = store.messages({.folder = "Trash"});
    ASSERT_EQ(mails.size() + there.size(), 12u);
    ASSERT_TRUE(store.change(mails[0], {change(mails[0], Kind::read, !mails[0].isRead)}));
    ASSERT_TRUE(store.change(
        mails[1], {change(mails[1], Kind::flagged, !mails[1].isFlagged), move(mails[1], MailFolderRole::trash)}));
    if (!there.empty()) store.change(there[0], {move(there[0], MailFolderRole::inbox)});
    const Contents wanted = inStore(store);
    *bytesLeft_ = cut;
    engine(store, small).sync();
    sendWhole();
    expectSuccess(engine(store, small).sync());
    ASSERT_TRUE(store.pendingChanges("ana").empty());
    const Contents now = inStore(store);
    ASSERT_EQ(now, onServer(other));
    for (const auto& [uid, mail] : wanted.at("INBOX")) ASSERT_EQ(now.at("INBOX").at(uid), mail);
    ASSERT_EQ(now.at("Trash").size() + now.at("INBOX").size(), 12u);
    if (isWhole) break;
    ASSERT_LT(runs, 399u) << "the whole sync was cut";
  }
}

INSTANTIATE_TEST_SUITE_P(Capabilities, MailEngineCut, testing::Values("", "bare-"));

// Somebody who does anything, one step at a time.
class RandomClient {
 public:
  RandomClient(IMAPClient client, unsigned seed) : client_(std::move(client)), random_(seed) {}

  void step() {
    static constexpr const char* paths[] = {"INBOX", "Sent", "Trash"};
    const std::string path = paths[below(3)];
    const IMAPSelection selection = client_.select(path);
    if (selection.exists < 5 || below(4) == 0) return client_.append(mail(fmt::format("r{}", random_())), path, {});
    const UIDs some = pick(selection.exists);
    if (some.empty()) return;
    switch (below(4)) {
      case 0: return client_.setFlag("\\Seen", below(2) == 0, some);
      case 1: return client_.setFlag("\\Flagged", below(2) == 0, some);
      case 2: return client_.move(some, paths[below(3)]);
      default: return client_.move(some, "Gone");
    }
  }

 private:
  std::size_t below(std::size_t end) { return random_() % end; }
  UIDs pick(std::size_t exists) {
    const std::size_t first = 1 + below(exists);
    UIDs uids;
    for (const IMAPMessage& message : client_.flags(first, std::min(exists, first + below(6))))
      uids.push_back(message.uid);
    return uids;
  }

  IMAPClient client_;
  std::mt19937 random_;
};

TEST_F(MailEngineOnServer, EndsWithWhatTheServerHasWhateverOthersDoMeanwhile) {
  command("CREATE Gone");
  MailStore& store = folders_.store();
  for (const unsigned seed : {1u, 2u, 3u}) {
    SCOPED_TRACE(seed);
    std::jthread others([&, seed](const std::stop_token& stop) {
      RandomClient client(login(), seed);
      for (int i = 0; i < 30 || !stop.stop_requested(); ++i) {
        try {
          client.step();
        } catch (const MailError&) {
          // The engine moved the message away before.
        }
      }
    });
    std::mt19937 random(seed);
    for (int round = 0; round < 12; ++round) {
      for (const MailSummary& mail : store.messages({.limit = 3, .offset = random() % 20})) {
        const bool isMoved = random() % 3 == 0;
        store.change(mail, {isMoved ? move(mail, MailFolderRole::trash) : change(mail, Kind::read, !mail.isRead)});
      }
      const MailSyncReport report = engine(store).sync();
      EXPECT_FALSE(report.failure) << report.failure->what();
    }
    others.request_stop();
    others.join();
    expectSuccess(engine(store).sync());
    EXPECT_TRUE(store.pendingChanges("ana").empty());
    IMAPClient client = login();
    EXPECT_EQ(inStore(store), onServer(client));
  }
}

TEST_F(MailEngineOnServer, SendsWhatItCanAndReportsWhatTheServerRefuses) {
  IMAPClient other = login();
  for (const char* id : {"a", "b", "c", "d"}) other.append(mail(id), "INBOX", {});
  command("CREATE Work");
  MailStore& store = folders_.store();
  expectSuccess(engine(store).sync());

  const MailSummary a = found(store, "INBOX", "a");
  const MailSummary b = found(store, "INBOX", "b");
  const MailSummary d = found(store, "INBOX", "d");
  MailChange elsewhere = change(a, Kind::read, true);
  elsewhere.folder = "No such folder";
  store.queue(elsewhere);
  store.change(a, {move(a, MailFolderRole::archive)});  // there is none
  store.change(d, {move(d, MailFolderRole::archive, "Work"), change(d, Kind::read, true)});
  store.change(b, {change(b, Kind::read, true), change(b, Kind::flagged, true), move(b, MailFolderRole::trash)});
  MailChange back = change(b, Kind::flagged, false);  // where it is by then, its UID isn't known
  back.folder = "Trash";
  back.uid.reset();
  store.queue(back);
  other.select("INBOX");
  const UIDs c = other.uids("<c@example.org>");
  store.queue(change(found(store, "INBOX", "c"), Kind::read, true));
  other.move(c, "Work");

  const MailSyncReport report = engine(store).sync();
  expectSuccess(report);
  ASSERT_EQ(report.refused.size(), 2u);
  EXPECT_EQ(report.refused[0].change, elsewhere);
  EXPECT_EQ(report.refused[1].reason, "This account has no folder for that.");
  EXPECT_TRUE(store.pendingChanges("ana").empty());
  const Contents now = onServer(other);
  EXPECT_EQ(inStore(store), now);
  EXPECT_EQ(now.at("INBOX").size(), 1u) << "what couldn't be moved is back";
  EXPECT_EQ(now.at("Trash"), (Content{{1, {"<b@example.org>", true, false}}}));
  EXPECT_EQ(now.at("Work").size(), 2u);
}

TEST_F(MailEngineOnServer, StartsAFolderAnewThatTheServerNumberedAnew) {
  IMAPClient other = login();
  command("CREATE Work");
  for (const char* id : {"a", "b", "c"}) other.append(mail(id), "Work", {});
  MailStore& store = folders_.store();
  expectSuccess(engine(store).sync());
  const MailSummary b = found(store, "Work", "b");
  store.change(b, {change(b, Kind::flagged, true)});
  command("DELETE Work");
  command("CREATE Work");
  for (const char* id : {"b", "c"}) other.append(mail(id), "Work", {});
  const MailSyncReport report = engine(store).sync();
  expectSuccess(report);
  EXPECT_EQ(report.added, 2u);
  EXPECT_EQ(inStore(store), onServer(other));
  EXPECT_TRUE(found(store, "Work", "b").isFlagged) << "the change follows its mail";
  EXPECT_FALSE(found(store, "Work", "c").isFlagged);
  EXPECT_EQ(folders_.number("SELECT COUNT(*) FROM message_search"), 2);
}

// What the user does while the server tells how it was before.
TEST_F(MailEngineOnServer, LeavesAloneWhatIsChangedMeanwhile) {
  IMAPClient other = login();
  for (const char* id : {"a", "b"}) other.append(mail(id), "INBOX", {});
  MailStore& store = folders_.store();
  expectSuccess(engine(store).sync());
  other.select("INBOX");
  other.setFlag("\\Flagged", true, {1, 2});
  bool isDone = false;
  hook_ = [&](std::string_view sent) {
    if (sent.find(" FETCH ") == std::string_view::npos || std::exchange(isDone, true)) return;
    const MailSummary a = found(store, "INBOX", "a");
    const MailSummary b = found(store, "INBOX", "b");
    ASSERT_TRUE(store.change(a, {change(a, Kind::read, true)}));
    ASSERT_TRUE(store.change(b, {move(b, MailFolderRole::trash)}));
  };
  expectSuccess(engine(store).sync());
  EXPECT_EQ(inStore(store).at("INBOX"), (Content{{1, {"<a@example.org>", true, true}}}));
  EXPECT_EQ(store.pendingChanges("ana").size(), 2u);
  EXPECT_EQ(engine(store).sync().sent, 2u);
  EXPECT_EQ(inStore(store), onServer(other));
}

TEST_F(MailEngineOnServer, WatchesAndConnectsAnew) {
  MailStore& store = folders_.store();
  IMAPClient other = login();
  std::atomic<int> reports = 0;
  std::atomic<int> failures = 0;
  const auto waitUntil = [](const auto& isSo) {
    for (int i = 0; i < 500 && !isSo(); ++i) std::this_thread::sleep_for(10ms);
    return isSo();
  };
  const auto isStored = [&](std::string_view id) {
    return waitUntil([&] { return store.find("ana", "INBOX", fmt::format("<{}@example.org>", id)).has_value(); });
  };
  MailEngine watching = engine(store);
  std::jthread watcher([&](const std::stop_token& stop) {
    watching.watch({.cancelled = stop},
                   [&](const MailSyncReport& report) {
                     ++reports;
                     if (report.failure) ++failures;
                   },
                   {.queue = 20ms, .firstPause = 10ms});
  });
  ASSERT_TRUE(waitUntil([&] { return reports > 0; }));
  other.append(mail("a"), "INBOX", {});
  ASSERT_TRUE(isStored("a"));
  const MailSummary a = found(store, "INBOX", "a");
  store.change(a, {move(a, MailFolderRole::trash)});
  EXPECT_TRUE(waitUntil([&] { return store.find("ana", "Trash", a.messageID).has_value(); }));

  *bytesLeft_ = 0;
  other.append(mail("b"), "INBOX", {});
  EXPECT_TRUE(waitUntil([&] { return failures > 1; }));
  sendWhole();
  EXPECT_TRUE(isStored("b"));
  const auto start = std::chrono::steady_clock::now();
  watcher.request_stop();
  watcher.join();
  EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
  EXPECT_EQ(inStore(store), onServer(other));
}

TEST_F(MailEngineOnServer, SaysWhyItEnded) {
  MailStore& store = folders_.store();
  const auto connect = [this](const std::stop_token& cancelled) { return open(cancelled); };
  MailEngine denied(store, account_, secret("wrong"), connect);
  EXPECT_EQ(denied.sync().failure.value().kind(), MailError::Kind::wrongPassword);
  int reports = 0;
  denied.watch({}, [&](const MailSyncReport& report) {
    ++reports;
    EXPECT_FALSE(report.retry);
  });
  EXPECT_EQ(reports, 1) << "a wrong password isn't tried again";
  std::stop_source stopped;
  stopped.request_stop();
  EXPECT_TRUE(engine(store).sync({.cancelled = stopped.get_token()}).failure);
  expectSuccess(engine(store).sync());
  folders_.run("DROP TABLE messages");
  const MailSyncReport report = engine(store).sync();
  EXPECT_TRUE(report.failure.value().isOfDatabase()) << "nothing that the server could help";
  EXPECT_TRUE(report.failed.empty());
}

}  // namespace
}  // namespace vesk
