#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <thread>
#include <unistd.h>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "core/base/Json.h"
#include "core/mail/IMAPClient.h"
#include "core/mail/MailStore.h"
#include "core/mail/network/MailStream.h"
#include "core/toolserver/AIAccess.h"
#include "tests/app/VeskProgram.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk::test {

namespace {

using testing::AllOf;
using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// The user's side of mail against real servers, which scripts/with-mail-servers starts.
class MailSession : public testing::Test {
 protected:
  void SetUp() override {
    if (!std::getenv("VESK_SUBMISSION_PORT"))
      GTEST_SKIP() << "No servers: run the tests with scripts/with-mail-servers.";
    server_ = fmt::format("localhost:{}", std::getenv("VESK_IMAPS_PORT"));
    submission_ = fmt::format("localhost:{}", std::getenv("VESK_SUBMISSION_PORT"));
  }

  // Trusting the servers, and without a secret service.
  RunOptions options(std::string input = {}) const {
    return {.input = std::move(input),
            .environment = {{"SSL_CERT_FILE", std::getenv("VESK_IMAP_AUTHORITY")},
                            {"DBUS_SESSION_BUS_ADDRESS", ""},
                            {"XDG_RUNTIME_DIR", ""}}};
  }

  ProgramResult mail(std::vector<std::string> arguments, const RunOptions& options) const {
    arguments.insert(arguments.begin(), "mail");
    return vesk(std::move(arguments), options);
  }
  std::string mail(std::vector<std::string> arguments) const {
    const ProgramResult result = mail(std::move(arguments), options());
    EXPECT_EQ(result.exitStatus, 0) << result.errors;
    return result.output + result.errors;
  }

  std::vector<std::string> addition(const std::string& user) const {
    return {"add",    address(user), "--user", user,        "--name",          "Ana",
            "--imap", server_,       "--smtp", submission_, "--password-stdin"};
  }
  std::string add(const std::string& user) const {
    const ProgramResult result = mail(addition(user), options("secret\n"));
    EXPECT_EQ(result.exitStatus, 0) << result.errors;
    return result.output;
  }

  static std::string newUser() {
    const auto now = std::chrono::system_clock::now().time_since_epoch().count();
    return fmt::format("session-{}-{}", ::getpid(), now);
  }
  static std::string address(const std::string& user) { return user + "@example.org"; }

  // As another program of the user sees the mail.
  static IMAPClient login(const std::string& user) {
    const auto port = static_cast<std::uint16_t>(std::stoul(std::getenv("VESK_IMAPS_PORT")));
    IMAPClient client(MailStream::open({"localhost", port, MailSecurity::tls},
                                       {.extraAuthorities = std::getenv("VESK_IMAP_AUTHORITY")}));
    client.start(user, "secret", MailSecurity::tls);
    return client;
  }
  static std::string text(const std::string& subject) {
    return fmt::format(
        "Message-ID: <{0}@example.org>\r\nFrom: Rui <rui@example.org>\r\nSubject: {0}\r\n\r\nAbout {0}.\r\n", subject);
  }

  // The number that `vesk` gives the mail found by a word; "" when there is none.
  std::string found(const std::string& word) const {
    const Json mails = Json::parse(mail({"search", word, "--json"}, options()).output);
    const auto* entries = mails.find("mails")->array();
    return entries->empty() ? "" : entries->front().find("id")->compact();
  }

  TemporaryFolder folder;
  std::string server_;
  std::string submission_;
};

// ---- The whole way

TEST_F(MailSession, GoesFromTheFirstSyncToTheSentFolder) {
  const std::string ana = newUser();
  const std::string rui = newUser();
  IMAPClient receiver = login(rui);
  receiver.select("INBOX");
  IMAPClient other = login(ana);
  for (const char* subject : {"compost", "lemons", "weather"}) other.append(text(subject), "INBOX", {});
  EXPECT_THAT(add(ana), AllOf(HasSubstr(server_ + ", TLS: works\n"), HasSubstr("which only you can read")));
  EXPECT_THAT(mail({"accounts"}), StartsWith(address(ana)));
  RunOptions terminal = options();
  terminal.terminalColumns = 80;
  EXPECT_THAT(mail({"sync"}, terminal).output,
              AllOf(HasSubstr("3 of 3"), HasSubstr("\r\x1b[K" + address(ana) + ": 3 new mails.")));

  const std::string lemons = found("lemons");
  EXPECT_THAT(mail({"mark", lemons, "--read", "--flagged"}), StartsWith("Marked 1 mail."));
  EXPECT_THAT(mail({"mark", lemons, "--read"}), HasSubstr("marked so already"));
  EXPECT_THAT(mail({"move", found("weather"), found("compost"), "trash"}), StartsWith("Moved 2 mails to Trash."));
  EXPECT_THAT(mail({"sync"}), HasSubstr("changes sent"));
  other.select("INBOX");
  const auto kept = other.flags(other.uids("lemons@example.org"));
  ASSERT_EQ(kept.size(), 1u);
  EXPECT_TRUE(kept.front().isRead() && kept.front().isFlagged());
  EXPECT_EQ(other.select("Trash").exists, 2u);
  EXPECT_THAT(mail({"list", "--folder", "trash"}), AllOf(HasSubstr("compost"), HasSubstr("weather")));

  // The assistant drafts, the user edits and sends.
  AIAccess{.vaultPath = folder.path(), .canDraftEmail = true, .approval = ApprovalLevel::trusted}.save(
      folder.supportDirectory());
  const std::string call = fmt::format(
      R"({{"id":1,"method":"tools/call","params":{{"name":"draft_email","arguments":{{"to":"Rui <{}>","subject":"Lemon tree","body":"It has yellow ones."}}}}}})",
      address(rui));
  runProgram({VESK_BIN_DIR "/vesk-mcp"}, {.input = call + "\n"});
  const Json drafts = Json::parse(mail({"drafts", "--json"}));
  ASSERT_EQ(drafts.find("drafts")->array()->size(), 1u);
  const std::string draft = drafts.find("drafts")->array()->front().find("id")->string()->substr(0, 8);
  EXPECT_THAT(mail({"drafts"}), AllOf(HasSubstr("Lemon tree"), HasSubstr("by an assistant")));
  RunOptions editing = options();
  editing.environment["VISUAL"] = "sed -i -e 's/yellow/green/' -e 's/^Cc:.*/Cc: " + address(ana) + "/'";
  EXPECT_THAT(
      runProgram({"/usr/bin/script", "-qec", VESK_BIN_DIR "/vesk mail drafts edit " + draft, "/dev/null"}, editing)
          .output,
      HasSubstr("Saved draft " + draft));
  const ProgramResult refused = mail({"send", draft}, options());
  EXPECT_EQ(refused.exitStatus, 1);
  EXPECT_THAT(refused.output, AllOf(HasSubstr(fmt::format("To       Rui <{}>\n", address(rui))),
                                    HasSubstr("Cc       " + address(ana)), HasSubstr("green ones.")));
  EXPECT_THAT(mail({"send", draft, "--yes"}), HasSubstr("Sent to Rui"));
  EXPECT_THAT(mail({"drafts"}), HasSubstr("There is no draft."));

  for (int i = 0; i < 50 && receiver.uids("example.org").empty(); ++i) receiver.idle(std::chrono::milliseconds(200));
  const auto received = receiver.bodies({1});
  ASSERT_EQ(received.size(), 1u);
  EXPECT_THAT(*received.front().body, AllOf(HasSubstr("Subject: Lemon tree"), HasSubstr("It has green ones.")));
  mail({"sync"});
  EXPECT_THAT(mail({"list", "--folder", "sent"}), HasSubstr("Lemon tree"));

  EXPECT_THAT(mail({"remove", address(ana), "--yes"}), StartsWith("Removed " + address(ana)));
  EXPECT_FALSE(std::filesystem::exists(folder.supportDirectory() + "/mail/passwords"));
  EXPECT_THAT(mail({"accounts"}), HasSubstr("No account is connected."));
}

TEST_F(MailSession, ShowsMailWhenItComes) {
  const std::string ana = newUser();
  add(ana);
  RunningProgram watching(veskCommand({"mail", "sync", "--watch"}), options());
  ASSERT_TRUE(watching.waitForOutput("nothing new"));
  EXPECT_THAT(mail({"sync"}, options()).errors, HasSubstr("Another vesk is syncing mail."));
  login(ana).append(text("news"), "INBOX", {});
  EXPECT_TRUE(watching.waitForOutput("1 new mail."));
  const std::string id = found("news");
  EXPECT_NE(id, "");
  mail({"mark", id, "--read"});  // sent without another sync
  EXPECT_TRUE(watching.waitForOutput("1 change sent"));
  watching.signal(SIGINT);
  EXPECT_EQ(watching.finish().exitStatus, 0);
}

// ---- What goes wrong

TEST_F(MailSession, SaysWhatIsWrongWithAServerAndSavesNothing) {
  const std::string user = newUser();
  RunOptions untrusting = options("secret\n");
  untrusting.environment["SSL_CERT_FILE"] = "/dev/null";
  untrusting.environment["SSL_CERT_DIR"] = "/dev/null";
  struct Case {
    const char* name;
    std::string imap;
    RunOptions options;
    const char* sentence;
  };
  const Case cases[] = {
      {"wrong password", server_, options("guess-me\n"), "doesn't take the password of"},
      {"no password", server_, options("\n"), "Without a password"},
      {"a certificate that nobody vouches for", server_, untrusting, "its certificate isn't valid"},
      {"nobody there", "localhost:1", options("secret\n"), "localhost:1 can't be reached."},
      {"no port", "localhost:70000", options("secret\n"), "\"70000\" is no port."},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    auto arguments = addition(user);
    *std::ranges::find(arguments, server_) = c.imap;
    const ProgramResult result = mail(arguments, c.options);
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.errors, HasSubstr(c.sentence));
    EXPECT_THAT(result.output + result.errors, Not(AnyOf(HasSubstr("guess-me"), HasSubstr("secret"))));
    EXPECT_FALSE(std::filesystem::exists(folder.supportDirectory() + "/mail"));
  }
}

TEST_F(MailSession, TakesAPasswordAnewWhereTheOldOneIsNoGood) {
  const std::string user = newUser();
  add(user);
  const std::string file = folder.supportDirectory() + "/mail/passwords";
  EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms(0600));
  std::string passwords = folder.contents().at("support/mail/passwords");
  EXPECT_THAT(passwords, StartsWith("# Passwords of Vesk's mail accounts"));
  folder.write("../support/mail/passwords", passwords.replace(passwords.rfind("secret"), 6, "before"));

  const ProgramResult result = mail({"sync"}, options());
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_THAT(result.errors,
              AllOf(HasSubstr("Give it anew with vesk mail add " + address(user)), Not(HasSubstr("before"))));
  EXPECT_THAT(mail({"add", address(user), "--password-stdin"}, options("secret\n")).output,
              HasSubstr("its password is renewed"));
  EXPECT_THAT(mail({"sync"}), HasSubstr("nothing new."));
  EXPECT_EQ(Json::parse(mail({"accounts", "--json"})).find("accounts")->array()->size(), 1u);
}

// ---- The secret service

TEST_F(MailSession, LeavesThePasswordToTheSecretService) {
  for (const char* program : {"/usr/bin/dbus-run-session", "/usr/bin/gnome-keyring-daemon"})
    if (::access(program, X_OK) != 0) GTEST_SKIP() << program << " is missing.";
  const std::string user = newUser();
  RunOptions session = options();
  session.environment["XDG_RUNTIME_DIR"] = folder.path();
  const std::string script = fmt::format(
      "printf '\\n' | gnome-keyring-daemon --unlock --components=secrets >/dev/null\n"
      "printf 'secret\\n' | \"$0\" mail add {} --user {} --imap {} --smtp {} --password-stdin\n"
      "\"$0\" mail sync && \"$0\" mail remove {} --yes",
      address(user), user, server_, submission_, address(user));
  const ProgramResult result =
      runProgram({"/usr/bin/dbus-run-session", "--", "/bin/sh", "-c", script, VESK_BIN_DIR "/vesk"}, session);
  EXPECT_EQ(result.exitStatus, 0) << result.errors;
  EXPECT_THAT(result.output, AllOf(HasSubstr("in your desktop's secret service"), HasSubstr("nothing new."),
                                   HasSubstr("Removed"), Not(HasSubstr("No password of it"))));
  EXPECT_FALSE(std::filesystem::exists(folder.supportDirectory() + "/mail/passwords"));
}

}  // namespace

}  // namespace vesk::test
