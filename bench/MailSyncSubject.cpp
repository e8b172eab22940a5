#include "bench/MailSyncSubject.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <unistd.h>

#include <fmt/format.h>

#include "bench/Measuring.h"
#include "bench/Process.h"
#include "bench/generator/MailText.h"
#include "core/base/Error.h"
#include "core/mail/IMAPClient.h"
#include "core/mail/MailEngine.h"
#include "core/mail/MailStore.h"
#include "core/mail/network/MailStream.h"

namespace vesk::bench {

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::size_t fetchedMessages = 5'000;
constexpr std::size_t idleFolders = 20;  // the inbox and those that the server makes for everybody among them
constexpr std::size_t idleMessages = 250;

std::string given(const char* variable) {
  const char* value = std::getenv(variable);
  if (!value) throw Error("There is no mail server: run this with scripts/with-mail-servers.");
  return value;
}

// An account of this process.
MailAccount account(std::string_view name) {
  return {.id = "account",
          .address = "ana@example.org",
          .user = fmt::format("bench-{}-{}", name, ::getpid()),
          .incoming = {.host = "localhost", .port = static_cast<std::uint16_t>(std::stoul(given("VESK_IMAPS_PORT")))}};
}

std::unique_ptr<MailConnection> connect(const MailAccount& account, const std::stop_token& cancelled = {}) {
  return MailStream::open(account.incoming, {.cancelled = cancelled, .extraAuthorities = given("VESK_IMAP_AUTHORITY")});
}

IMAPClient login(const MailAccount& account) {
  IMAPClient client(connect(account));
  client.start(account.user, "secret", account.incoming.security);
  return client;
}

MailEngine engine(MailStore& store, const MailAccount& account) {
  WipedText password;
  password.append("secret");
  return {store, account, std::move(password),
          [account](const std::stop_token& cancelled) { return connect(account, cancelled); }};
}

void sync(MailStore& store, const MailAccount& account, std::size_t expected) {
  const MailSyncReport report = engine(store, account).sync();
  if (report.failure) throw *report.failure;
  if (report.added != expected) throw Error("The sync left messages out.");
}

// Commands as anybody writes them, whose answers are read to their ends.
class BareSession {
 public:
  explicit BareSession(const MailAccount& account) : connection_(connect(account)) {
    run(fmt::format("LOGIN {} secret", account.user));
  }

  void run(std::string_view command) {
    connection_->send(fmt::format("a {}\r\n", command));
    std::string said;
    while (said.find("\r\na OK") == std::string::npos && !said.starts_with("a OK")) {
      const auto bytes = connection_->receive(std::chrono::seconds(60));
      if (!bytes) throw MailError::closed();
      said.erase(0, said.size() < overlap ? 0 : said.size() - overlap);
      said += *bytes;
    }
  }

 private:
  static constexpr std::size_t overlap = 6;  // bytes that the end may begin with
  std::unique_ptr<MailConnection> connection_;
};

const MailAccount& fullAccount() {
  static const MailAccount filled = [] {
    MailAccount made = account("full");
    IMAPClient client = login(made);
    for (std::size_t seed = 1; seed <= fetchedMessages; ++seed) client.append(mailText(seed), "INBOX", {});
    client.close();
    return made;
  }();
  return filled;
}

// With a store that is in step.
struct IdleAccount {
  MailAccount account = bench::account("idle");
  MadeFolder folder = {};
  MailStore store{folder.path()};

  IdleAccount() {
    BareSession session(account);
    for (std::size_t i = 0; i + 3 < idleFolders; ++i) session.run(fmt::format("CREATE Folder{}", i));
    IMAPClient client = login(account);
    for (const IMAPFolder& each : client.folders())
      for (std::size_t seed = 1; seed <= idleMessages; ++seed) client.append("Subject: idle\r\n\r\n", each.path, {});
    sync(store, account, idleFolders * idleMessages);
  }
};

IdleAccount& idleAccount() {
  static IdleAccount made;
  return made;
}

// Its inbox is watched.
struct WatchedAccount {
  MailAccount account = bench::account("watched");
  MadeFolder folder = {};
  MailStore store{folder.path()};
  IMAPClient other = login(account);
  std::jthread watcher;

  WatchedAccount() {
    other.append("Subject: first\r\n\r\n", "INBOX", {});
    watcher = std::jthread([this](const std::stop_token& cancelled) {
      engine(store, account).watch({.cancelled = cancelled}, [](const MailSyncReport&) {});
    });
    waitForRow(1);
  }

  void waitForRow(std::uint32_t uid) {
    const auto deadline = Clock::now() + std::chrono::seconds(10);
    while (!store.find(account.id, "INBOX", uid)) {
      if (Clock::now() > deadline) throw Error("A message didn't arrive.");
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
};

std::string mbsyncSettings(const std::string& folder) {
  const MailAccount& account = fullAccount();
  return fmt::format(
      "FSync no\n\nIMAPAccount far\nHost localhost\nPort {0}\nUser {1}\nPass secret\nSSLType IMAPS\nCertificateFile "
      "{2}\n\n"
      "IMAPStore far\nAccount far\n\n"
      "MaildirStore near\nPath {3}/\nInbox {3}/INBOX\n\n"
      "Channel all\nFar :far:\nNear :near:\nPatterns INBOX\nCreate Near\nSync Pull\nSyncState *\n",
      account.incoming.port, account.user, given("VESK_IMAP_AUTHORITY"), folder);
}

}  // namespace

double probe::firstMailSync(Subject&) {
  const MailAccount& account = fullAccount();
  const MadeFolder folder;
  MailStore store(folder.path());
  return millisecondsOf([&] { sync(store, account, fetchedMessages); });
}

double probe::mbsync(Subject&) {
  const MadeFolder folder;
  const std::string settings = folder.path() + "/mbsyncrc";
  std::ofstream(settings) << mbsyncSettings(folder.path());
  const double time = millisecondsOf({.arguments = {"mbsync", "-q", "-c", settings, "all"}});
  const auto fetched = std::distance(fs::directory_iterator(folder.path() + "/INBOX/new"), {}) +
                       std::distance(fs::directory_iterator(folder.path() + "/INBOX/cur"), {});
  if (fetched != std::ptrdiff_t{fetchedMessages}) throw Error("mbsync left messages out.");
  return time;
}

double probe::idleMailSync(Subject&) {
  IdleAccount& idle = idleAccount();
  return millisecondsOf([&] { sync(idle.store, idle.account, 0); });
}

double probe::bareMailCommands(Subject&) {
  const IdleAccount& idle = idleAccount();
  const auto folders = idle.store.folderNames();
  return millisecondsOf([&] {
    BareSession session(idle.account);
    session.run("CAPABILITY");
    session.run("LIST \"\" \"*\"");
    for (const MailFolder& folder : folders) {
      session.run(fmt::format("EXAMINE \"{}\"", folder.path));
      session.run(fmt::format("FETCH 1:{} (UID FLAGS)", idleMessages));
    }
    session.run("LOGOUT");
  });
}

double probe::mailArrival(Subject&) {
  static WatchedAccount watched;
  static std::uint32_t lastUID = 1;
  watched.other.append("Subject: next\r\n\r\n", "INBOX", {});
  return millisecondsOf([&] { watched.waitForRow(++lastUID); });
}

double probe::oneSecond(Subject&) { return 1000; }

}  // namespace vesk::bench
