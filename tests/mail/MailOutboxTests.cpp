#include <functional>
#include <new>
#include <string>
#include <unistd.h>

#include <fmt/format.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/mail/MailError.h"
#include "core/mail/MailOutbox.h"
#include "tests/mail/MailStoreTesting.h"

namespace vesk {
namespace {

using namespace std::chrono_literals;
using State = MailSent::State;

// What happened at the servers, and is to happen. Processes that are forked share it.
struct World {
  int sent = 0;    // mails that the one server took
  int filed = 0;   // that the other one put into the folder of sent mail
  int calls = 0;   // of the connections
  int killAt = 0;  // the call that doesn't come back
  bool hasSentFolder = true;
  bool refusesAtEnd = false;
  bool breaksAtEnd = false;
  bool failsAtEnd = false;  // this program does

  static World& shared() {
    void* const memory = ::mmap(nullptr, sizeof(World), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return *new (memory) World();  // as long as the program runs
  }

  void call() {
    if (++calls == killAt) ::_exit(9);
  }
};

// A server that answers lines.
class LineServer : public MailConnection {
 public:
  LineServer(World& world, std::string greeting) : world_(world), said_(std::move(greeting)) {}

  void send(std::string_view bytes) override {
    world_.call();
    heard_ += bytes;
    for (auto end = heard_.find("\r\n"); end != std::string::npos; end = heard_.find("\r\n")) {
      const std::string line = heard_.substr(0, end);
      heard_.erase(0, end + 2);
      answer(line);
    }
    world_.call();
  }
  std::optional<std::string_view> receive(std::chrono::milliseconds) override {
    world_.call();
    given_ = std::exchange(said_, "");
    return given_.empty() ? std::nullopt : std::optional<std::string_view>(given_);
  }
  void startTLS() override {}
  bool isPrivate() const override { return true; }
  void close() noexcept override {}

 protected:
  virtual void answer(const std::string& line) = 0;
  void say(std::string_view line) { said_.append(line).append("\r\n"); }

  World& world_;

 private:
  std::string heard_;
  std::string said_;
  std::string given_;
};

class Submission final : public LineServer {
 public:
  explicit Submission(World& world) : LineServer(world, "220 hi\r\n") {}

 private:
  void answer(const std::string& line) override {
    if (isMail_ && line != ".") return;
    if (isMail_) return take();
    isMail_ = line == "DATA";
    say(isMail_ ? "354 go on" : line.starts_with("EHLO") ? "250-hi\r\n250 AUTH PLAIN" : "250 OK");
  }
  void take() {
    isMail_ = false;
    if (world_.refusesAtEnd) return say("554 5.7.1 No spam");
    ++world_.sent;
    if (world_.failsAtEnd) throw std::bad_alloc();
    if (!world_.breaksAtEnd) say("250 taken");
  }

  bool isMail_ = false;
};

class Mailbox final : public LineServer {
 public:
  explicit Mailbox(World& world) : LineServer(world, "* OK hi\r\n") {}

 private:
  void answer(const std::string& line) override {
    if (line.ends_with('}')) {
      appending_ = line.substr(0, line.find(' '));
      return say("+ go on");
    }
    if (!appending_.empty()) {
      if (!line.starts_with("--end")) return;
      ++world_.filed;
      return say(std::exchange(appending_, "") + " OK");
    }
    if (line.ends_with(" CREATE \"Sent\"")) world_.hasSentFolder = true;
    if (line.find(" LIST ") != std::string::npos)
      say(world_.hasSentFolder ? "* LIST (\\Sent) \"/\" \"Sent\"" : "* LIST () \"/\" INBOX");
    if (line.find(" SEARCH ") != std::string::npos) say(world_.filed > 0 ? "* SEARCH 7" : "* SEARCH");
    say(line.substr(0, line.find(' ')) + " OK");
  }

  std::string appending_;  // the tag of the command
};

class MailOutboxes : public testing::Test {
 protected:
  MailOutboxes() {
    folders_.store().save(account());
    folders_.store().save(draft());
    folders_.close();
  }

  static MailAccount account(const char* host = "smtp.example.org") {
    return {.id = "a", .address = "ana@example.org", .user = "ana", .outgoing = {.host = host}};
  }
  static MailDraft draft() {
    return {.id = "d", .accountID = "a", .to = {{"", "rui@example.org"}}, .subject = "Note", .body = "Text\n--end"};
  }

  MailRoutes routes() {
    return {.submission =
                [this](const MailAccount&) {
                  auto client = std::make_unique<SMTPClient>(std::make_unique<Submission>(world_));
                  client->start("ana", "secret", MailSecurity::tls);
                  return client;
                },
            .mailbox =
                [this](const MailAccount&) {
                  auto client = std::make_unique<IMAPClient>(std::make_unique<Mailbox>(world_));
                  client->start("ana", "secret", MailSecurity::tls);
                  return client;
                }};
  }
  MailOutbox outbox() { return {folders_.store(), folders_.directory(), routes()}; }
  MailSent send() { return outbox().send(draft(), std::chrono::sys_days(2026y / 11 / 5), Calendar("UTC")); }

  // Does it in a process of its own that is killed at a call of a connection. Whether it came to its end before.
  bool isDoneBefore(int killAt, const std::function<void()>& action) {
    folders_.close();
    const pid_t child = ::fork();
    if (child == 0) {
      world_.calls = 0;
      world_.killAt = killAt;
      action();
      ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    world_.killAt = 0;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
  }

  bool hasDraft() { return folders_.store().draft("d").has_value(); }
  bool isWaiting() { return folders_.store().outboxMail("d").has_value(); }

  test::MailFolders folders_;
  World& world_ = World::shared();
};

TEST_F(MailOutboxes, SendAndFile) {
  world_.hasSentFolder = false;
  EXPECT_EQ(send(), (MailSent{State::filed, ""}));
  EXPECT_TRUE(world_.hasSentFolder);
  EXPECT_EQ(world_.sent, 1);
  EXPECT_EQ(world_.filed, 1);
  EXPECT_FALSE(hasDraft() || isWaiting());
  EXPECT_THROW(send(), Error);
}

TEST_F(MailOutboxes, SendOnceWhereverTheyAreKilled) {
  bool isDone = false;
  for (int kill = 1; !isDone; ++kill) {
    SCOPED_TRACE(kill);
    world_ = World();
    folders_.store().save(draft());
    isDone = isDoneBefore(kill, [&] { send(); });
    if (isWaiting()) isDoneBefore(kill % 7 + 1, [&] { outbox().settle("d"); });
    if (isWaiting()) {
      EXPECT_THROW(send(), Error);
      if (outbox().settle("d").state == State::unknown) {  // the user knows
        if (world_.sent == 0) outbox().settleAsNotSent("d");
        if (world_.sent == 1) {
          EXPECT_EQ(outbox().settleAsSent("d").state, State::filed);
        }
      }
    }
    EXPECT_FALSE(isWaiting());
    EXPECT_EQ(hasDraft(), world_.sent == 0);
    EXPECT_EQ(world_.filed, world_.sent);
    EXPECT_LE(world_.sent, 1);
    ASSERT_LT(kill, 200);
  }
  EXPECT_EQ(world_.sent, 1);
}

TEST_F(MailOutboxes, KeepTheDraftOfAMailThatIsNotSent) {
  const auto failure = [&] {
    std::string told;
    try {
      send();
    } catch (const Error& error) {
      told = error.what();
    }
    EXPECT_EQ(folders_.store().draft("d"), std::optional(draft()));
    EXPECT_FALSE(isWaiting());
    EXPECT_EQ(world_.sent, 0);
    return told;
  };
  world_.refusesAtEnd = true;
  EXPECT_EQ(failure(), "The mail server refused: 5.7.1 No spam");
  folders_.store().save(MailAccount{.id = "a", .address = "nobody"});
  EXPECT_EQ(failure(), "\"nobody\" isn't an email address.");
  folders_.store().save(account());

  // What can't be noted isn't sent; nor is what was changed by then.
  world_.refusesAtEnd = false;
  const auto sendAfter = [&](const std::function<void()>& change) {
    MailRoutes changed = routes();
    changed.submission = [&](const MailAccount& sender) {
      change();
      return routes().submission(sender);
    };
    MailOutbox(folders_.store(), folders_.directory(), changed).send(draft(), Timestamp(), Calendar("UTC"));
  };
  MailDraft edited = draft();
  edited.body = "Rather not";
  EXPECT_THROW(sendAfter([&] { folders_.store().save(edited); }), Error);
  EXPECT_EQ(folders_.store().draft("d"), std::optional(edited));
  EXPECT_THROW(sendAfter([&] { folders_.run("ALTER TABLE outbox RENAME TO gone"); }), Error);
  EXPECT_EQ(world_.sent, 0);
}

TEST_F(MailOutboxes, AskTheUserWhereNobodyKnows) {
  world_.breaksAtEnd = true;
  EXPECT_EQ(send().state, State::unknown);
  EXPECT_EQ(outbox().settle("d").state, State::unknown);
  EXPECT_THROW(send(), Error);

  // The user threw the draft away meanwhile, and says that the mail wasn't sent.
  folders_.store().removeDraft("d");
  outbox().settleAsNotSent("d");
  EXPECT_EQ(folders_.store().draft("d"), std::optional(draft()));
  EXPECT_FALSE(isWaiting());

  // Whatever fails, it has left.
  world_.failsAtEnd = true;
  EXPECT_EQ(send().state, State::unknown);
  outbox().settleAsNotSent("d");
  world_.failsAtEnd = false;

  // Another time it is in the folder of sent mail.
  EXPECT_EQ(send().state, State::unknown);
  world_.filed = 1;
  EXPECT_EQ(outbox().settle("d").state, State::filed);
  EXPECT_FALSE(hasDraft() || isWaiting());
  EXPECT_EQ(world_.filed, 1);
}

TEST_F(MailOutboxes, FileLaterWhatCanNotBeFiledYet) {
  MailRoutes offline = routes();
  offline.mailbox = [](const MailAccount&) -> std::unique_ptr<IMAPClient> { throw MailError::cantConnect(); };
  MailOutbox sending(folders_.store(), folders_.directory(), offline);
  EXPECT_EQ(sending.send(draft(), Timestamp(), Calendar("UTC")),
            (MailSent{State::notFiled, "Vesk couldn't reach the mail server."}));
  EXPECT_THROW(outbox().settleAsNotSent("d"), Error);
  // An edit that came after the mail was sent is the beginning of another one.
  MailDraft edited = draft();
  edited.body = "More";
  folders_.store().save(edited);
  EXPECT_EQ(outbox().settle("d").state, State::filed);
  EXPECT_EQ(folders_.store().draft("d"), std::optional(edited));
  EXPECT_EQ(world_.filed, 1);

  // Some servers file by themselves, and want no second copy.
  folders_.store().save(account("smtp.gmail.com"));
  EXPECT_EQ(sending.send(edited, Timestamp(), Calendar("UTC")).state, State::filed);
}

}  // namespace
}  // namespace vesk
