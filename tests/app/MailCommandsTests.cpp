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
  EXPECT_THAT(vesk({"mail", "attachment", id, "1"}).errors, HasSubstr("set VESK_MAIL_PASSWORD"));
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

}  // namespace

}  // namespace vesk::test
