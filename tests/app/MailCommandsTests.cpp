#include "core/base/Json.h"
#include "core/mail/IMAPClient.h"
#include "core/mail/MailStore.h"
#include "tests/app/VeskProgram.h"
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

}  // namespace

}  // namespace vesk::test
