#include <asio/read_until.hpp>
#include <asio/write.hpp>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "core/base/Json.h"
#include "core/mail/IMAPClient.h"
#include "core/mail/MIME.h"
#include "core/mail/MailStore.h"
#include "tests/app/VeskProgram.h"
#include "tests/mail/support/LoopbackServer.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk::test {

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

TEST(MailCommands, ShowWhatIsStored) {
  const TemporaryFolder folder;
  EXPECT_THAT(vesk({"mail", "list"}).errors, HasSubstr("There is no mail yet"));

  MailStore store(folder.supportDirectory());
  store.save(MailAccount{.id = "ana", .address = "ana@example.org"});
  store.saveFolders({{"INBOX", "INBOX", MailFolderRole::inbox}}, "ana");
  store.insert({{.uid = 7,
                 .mail = {.subject = "Red\x1B[31m compost",
                          .from = MailAddress{"Rui", "rui@example.org"},
                          .to = {{"Ana", "ana@example.org"}},
                          .html = "<p>Ready.</p><p hidden>Not this</p><p>Rui</p>",
                          .attachments = {{"../plan.pdf", "application/pdf", 1234}}}},
                {.uid = 8, .isRead = true, .mail = {.subject = "Read already"}}},
               "ana", "INBOX");
  const Json listed = Json::parse(vesk({"mail", "list", "--unread", "--json"}).output);
  EXPECT_EQ(listed.find("total")->compact(), "1");
  const std::string id = listed.find("mails")->array()->at(0).find("id")->compact();
  EXPECT_THAT(vesk({"mail", "search", "comp", "rui"}).output,
              AllOf(StartsWith(id), HasSubstr("Red\uFFFD[31m compost")));
  EXPECT_THAT(vesk({"mail", "read", id}).output,
              AllOf(HasSubstr("From     Rui <rui@example.org>\n"), HasSubstr("\nReady.\n"), Not(HasSubstr("Not this")),
                    HasSubstr("1  ../plan.pdf  application/pdf  1234 bytes\n")));
  EXPECT_THAT(vesk({"mail", "read", "12345"}).errors, HasSubstr("There is no mail 12345."));
  EXPECT_THAT(vesk({"mail", "attachment", id, "2"}).errors, HasSubstr("This mail has 1 attachment."));
  const RunOptions withoutDesktop = {.environment = {{"DBUS_SESSION_BUS_ADDRESS", ""}, {"XDG_RUNTIME_DIR", ""}}};
  EXPECT_THAT(vesk({"mail", "attachment", id, "1"}, withoutDesktop).errors, HasSubstr("set VESK_MAIL_PASSWORD"));
}

// Without job control, as in this shell, nobody else would put the terminal right.
TEST(MailCommands, LeaveTheTerminalAsItWasWhenThePasswordIsInterrupted) {
  const TemporaryFolder folder;
  const std::string script =
      "trap : INT; (for i in $(seq 300); do stty -a </dev/tty | grep -q -- ' -echo ' && break; sleep 0.1; done; kill "
      "-INT 0) "
      "& " VESK_BIN_DIR "/vesk mail add ana@example.org --name Ana; stty -a | grep -o -- '-*echo '";
  // A pipe opened so never ends, as nobody ends what they type.
  const ProgramResult result = runProgram(
      {"/bin/sh", "-c", "mkfifo \"$0\" && script -qec \"$1\" /dev/null <>\"$0\"", folder.at("keys"), script});
  EXPECT_THAT(result.output, AllOf(HasSubstr("Password of ana@example.org:"), testing::EndsWith(": echo \r\n")));
}

// Answers whatever an IMAP client asks, and each FETCH with this message as number 7.
void serve(ServerSocket& socket, const std::string& message) {
  asio::write(socket, asio::buffer(std::string_view("* OK\r\n")));
  std::string read;
  while (true) {
    const std::size_t size = asio::read_until(socket, asio::dynamic_buffer(read), "\r\n");
    const std::string line = read.substr(0, size);
    read.erase(0, size);
    const auto has = [&](const char* name) { return line.find(name) != std::string::npos; };
    const std::string data = has("CAPABILITY") ? "* CAPABILITY IMAP4rev1\r\n"
                             : has("FETCH")
                                 ? fmt::format("* 1 FETCH (UID 7 BODY[] {{{}}}\r\n{})\r\n", message.size(), message)
                                 : "";
    asio::write(socket, asio::buffer(fmt::format("{}{} OK\r\n", data, line.substr(0, line.find(' ')))));
  }
}

TEST(MailCommands, SaveAttachmentsOfTheMailThatIsMeant) {
  const TemporaryFolder folder;
  const std::string message =
      "Subject: {}\nContent-Type: application/x-msdownload; name*=utf-8''invoice%20%E2%80%AEgpj.exe\n\nbytes";
  MailStore store(folder.supportDirectory());
  const auto fetch = [&](const std::string& served) {
    const LoopbackServer server([&](ServerSocket& socket) { serve(socket, served); });
    store.save(MailAccount{
        .id = "ana", .address = "ana@example.org", .incoming = {"127.0.0.1", server.port(), MailSecurity::none}});
    return runProgram(
        {"/bin/sh", "-c", R"(cd "$1" && exec "$0" mail attachment 1 1)", VESK_BIN_DIR "/vesk", folder.path()},
        {.environment = {{"VESK_MAIL_PASSWORD", "secret"}}});
  };
  const std::string scan = fmt::format(fmt::runtime(message), "Scan");
  store.saveFolders({{"INBOX", "INBOX", MailFolderRole::inbox}}, "ana");
  store.insert({{.uid = 7, .mail = MIME::parse(scan)}}, "ana", "INBOX");
  // Neither has a Message-ID: the folder was numbered anew.
  EXPECT_THAT(fetch(fmt::format(fmt::runtime(message), "Another")).errors, HasSubstr("must be synced again"));
  EXPECT_THAT(folder.everything(), testing::IsEmpty());
  EXPECT_EQ(fetch(scan).output, "Saved invoice \uFFFDgpj.exe.\n");
  EXPECT_EQ(folder.read("invoice \uFFFDgpj.exe"), "bytes");
  EXPECT_THAT(fetch(scan).errors, HasSubstr("is there already"));
}

// ---- What is done to mail, and written, without a server

class StoredMail : public testing::Test {
 protected:
  StoredMail() : store(folder.supportDirectory()) {
    store.save(MailAccount{.id = "ana", .address = "ana@example.org", .name = "Ana"});
    store.saveFolders({{"INBOX", "INBOX", MailFolderRole::inbox},
                       {"Lists/Bees", "Bees", MailFolderRole::other},
                       {"Trash", "Trash", MailFolderRole::trash}},
                      "ana");
    for (std::uint32_t uid = 1; uid <= 3; ++uid)
      store.insert({{.uid = uid,
                     .mail = {.subject = "Compost",
                              .from = MailAddress{"Rui", "rui@example.org"},
                              .to = {{"", "ana@example.org"}, {"", "eva@example.org"}},
                              .messageID = fmt::format("<{}@example.org>", uid),
                              .text = "It is ready."}}},
                   "ana", "INBOX");
  }

  std::vector<MailChange> queued() const {
    std::vector<MailChange> changes;
    for (const auto& [place, change] : store.pendingChanges("ana")) changes.push_back(change);
    return changes;
  }

  MailDraft onlyDraft() const {
    const auto drafts = store.drafts();
    EXPECT_EQ(drafts.size(), 1u);
    return drafts.empty() ? MailDraft() : drafts.front();
  }

  // On a terminal, with that command as the editor.
  std::string atTerminal(const std::string& arguments, const std::string& editor, const std::string& answers = "") {
    return runProgram({"/usr/bin/script", "-qec", VESK_BIN_DIR "/vesk mail " + arguments, "/dev/null"},
                      {.input = answers, .environment = {{"VISUAL", editor}}})
        .output;
  }

  TemporaryFolder folder;
  MailStore store;
};

TEST_F(StoredMail, IsChangedHereAtOnceAndQueuedForTheServer) {
  EXPECT_THAT(vesk({"mail", "mark", "1", "2", "--read"}).output, StartsWith("Marked 2 mails. The server is told"));
  EXPECT_THAT(vesk({"mail", "mark", "1", "3", "--read"}).output, StartsWith("Marked 1 mail."));
  EXPECT_THAT(vesk({"mail", "move", "1", "bees"}).output, StartsWith("Moved 1 mail to Bees."));
  EXPECT_THAT(vesk({"mail", "move", "3", "trash"}).output, StartsWith("Moved 1 mail to Trash."));
  const auto changes = queued();
  ASSERT_EQ(changes.size(), 5u);
  EXPECT_EQ(changes[3].targetPath, "Lists/Bees");
  EXPECT_EQ(changes[4].target, MailFolderRole::trash);
  EXPECT_FALSE(store.message(1));

  struct Case {
    std::vector<std::string> arguments;
    const char* sentence;
  };
  const Case refused[] = {
      {{"mark", "2"}, "Say how to mark it"},
      {{"mark", "2", "99", "--flagged"}, "There is no mail 99."},
      {{"move", "2", "99", "trash"}, "There is no mail 99."},
      {{"move", "2", "attic"}, "ana@example.org has no folder attic. It has Bees, INBOX, Trash."},
      {{"move", "two", "trash"}, "two is no number of a mail."},
      {{"move", "trash"}, "Say which mail"},
  };
  for (Case c : refused) {
    c.arguments.insert(c.arguments.begin(), "mail");
    EXPECT_THAT(vesk(c.arguments).errors, HasSubstr(c.sentence));
  }
  EXPECT_EQ(queued().size(), 5u);
  EXPECT_EQ(vesk({"mail", "move", "2", "inbox"}).output, "All of it is there already.\n");
}

TEST_F(StoredMail, IsWrittenFromTheInput) {
  const RunOptions input = {.input = "Hello\r\nRui\n\n"};
  vesk({"mail", "draft", "--to", "\"Silva, Rui\" <rui@example.org>, eva@example.org", "--bcc", "bo@example.org",
        "--subject", "Two\nlines"},
       input);
  const MailDraft draft = onlyDraft();
  EXPECT_EQ(draft.to, (std::vector<MailAddress>{{"Silva, Rui", "rui@example.org"}, {"", "eva@example.org"}}));
  EXPECT_EQ(draft.subject, "Two lines");
  EXPECT_EQ(draft.body, "Hello\nRui");
  const std::string id = draft.id.substr(0, 8);
  EXPECT_THAT(vesk({"mail", "drafts", "show", id}).output,
              AllOf(HasSubstr("From     Ana <ana@example.org>\n"), HasSubstr("Bcc      bo@example.org\n"),
                    HasSubstr("\nHello\nRui\n")));
  EXPECT_THAT(vesk({"mail", "drafts", "delete", id}).errors, HasSubstr("Add --yes"));
  vesk({"mail", "drafts", "delete", id, "--yes"});
  EXPECT_TRUE(store.drafts().empty());

  EXPECT_THAT(vesk({"mail", "draft", "--to", "rui"}, input).errors, HasSubstr("\"rui\" isn't an email address."));
  EXPECT_THAT(vesk({"mail", "draft"}, {.input = "a\xFF"}).errors, HasSubstr("isn't UTF-8"));
  EXPECT_THAT(vesk({"mail", "reply", "1"}, {}).errors, HasSubstr("needs some text"));
  EXPECT_TRUE(store.drafts().empty());

  vesk({"mail", "reply", "1", "--all"}, {.input = "Thanks"});
  const MailDraft answer = onlyDraft();
  EXPECT_EQ(answer.to.front().address, "rui@example.org");
  EXPECT_EQ(answer.cc, (std::vector<MailAddress>{{"", "eva@example.org"}}));
  EXPECT_EQ(answer.inReplyTo, "<1@example.org>");
  EXPECT_THAT(answer.body, AllOf(StartsWith("Thanks\n\n"), HasSubstr("> It is ready.")));
}

TEST_F(StoredMail, IsWrittenInAnEditor) {
  EXPECT_THAT(atTerminal("draft --to rui@example.org", "true"), HasSubstr("Nothing was written"));
  EXPECT_TRUE(store.drafts().empty());
  atTerminal("draft --to '\"Silva, Rui \\\"R\\\"\" <rui@example.org>'", "sed -i 's/^Subject:/& Bees/; $aThey fly.'");
  const MailDraft draft = onlyDraft();
  EXPECT_EQ(draft.to, (std::vector<MailAddress>{{"Silva, Rui \"R\"", "rui@example.org"}}));
  EXPECT_EQ(draft.subject, "Bees");
  EXPECT_EQ(draft.body, "They fly.");

  // What can't be read is kept, and the draft as it was.
  for (const char* wrong : {"s/^Cc:/& rui/", "s/^To:.*/To: a@b <c@d>/", "s/^From:.*/From: rui@example.org/",
                            "s/^Bcc:/Attach: x/", "1iHello"}) {
    const std::string output = atTerminal("drafts edit " + draft.id, fmt::format("sed -i '{}'", wrong), "n\n");
    EXPECT_THAT(output, HasSubstr("Your text is kept in ")) << wrong;
    EXPECT_EQ(onlyDraft(), draft);
  }
  // Somebody else's change stays.
  EXPECT_THAT(atTerminal("drafts edit " + draft.id,
                         VESK_BIN_DIR "/vesk mail drafts delete " + draft.id + " --yes; sed -i 's/fly/dig/'"),
              HasSubstr("The draft changed meanwhile. Your text is kept in "));
}

TEST_F(StoredMail, IsNotSentUnseen) {
  store.save(MailDraft{.id = "draft-1", .accountID = "ana", .subject = "Red\x1B[31m", .body = "text"});
  EXPECT_EQ(vesk({"mail", "send", "draft-1", "--yes"}).exitStatus, 1);  // to nobody
  store.save(MailDraft{
      .id = "draft-1", .accountID = "ana", .to = {{"", "rui@example.org"}}, .subject = "Red\x1B[31m", .body = "text"});
  const ProgramResult result = vesk({"mail", "send", "draft-1"});
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_THAT(result.output, AllOf(HasSubstr("To       rui@example.org\n"), HasSubstr("Red\uFFFD[31m")));
  EXPECT_THAT(result.errors, HasSubstr("Nothing was sent."));
  EXPECT_THAT(atTerminal("send draft-1", "true", "n\n"), HasSubstr("It stays a draft."));
}

}  // namespace

}  // namespace vesk::test
