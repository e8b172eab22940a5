#include <chrono>

#include "core/base/Error.h"
#include "core/mail/MIME.h"
#include "core/mail/MailPresets.h"
#include "core/mail/MailReply.h"
#include "core/mail/OutgoingMessage.h"

namespace vesk {
namespace {

using namespace std::chrono_literals;

const MailAccount ana{.id = "a", .address = "ana@example.org", .name = "Ana"};
const std::set<std::string> own = {"ana@example.org", "ana@work.example"};

MailDetail mail() {
  return {.summary = {.messageID = "<2@x>",
                      .subject = "re: RE: Compost",
                      .from = {"Rui", "rui@example.org"},
                      .date = std::chrono::sys_days(2026y / 11 / 5) + 10h + 19min},
          .to = {{"Ana", "ANA@example.org"}, {"Eva", "eva@example.org"}},
          .cc = {{"Rui", "rui@example.org"}, {"", "no address"}, {"bank@example.com", "eve@example.org"}},
          .text = "It is ready.\n\n> Is it?\n\n",
          .inReplyTo = "<1@x>"};
}

MailDraft reply(const MailDetail& answered, bool all = false) {
  return mailReply::draft(answered, ana, own, all, Calendar("UTC"));
}

TEST(MailReply, AnswersTheSenderOrEverybody) {
  MailDraft expected{.accountID = "a",
                     .to = {{"Rui", "rui@example.org"}},
                     .subject = "Re: Compost",
                     .body = "\n\nOn 2026-11-05 at 10:19, Rui wrote:\n> It is ready.\n>\n>> Is it?\n",
                     .inReplyTo = "<2@x>",
                     .references = "<1@x> <2@x>"};
  EXPECT_EQ(reply(mail()), expected);
  expected.cc = {{"Eva", "eva@example.org"}, {"", "eve@example.org"}};
  EXPECT_EQ(reply(mail(), true), expected);

  MailDetail byList = mail();
  byList.replyTo = {{"Garden", "garden@example.org"}, {"", "ana@work.example"}};
  EXPECT_EQ(reply(byList).to, (std::vector<MailAddress>{{"Garden", "garden@example.org"}}));
  MailDetail mine = mail();
  mine.summary.from = {"", "ana@work.example"};
  EXPECT_EQ(reply(mine).to, (std::vector<MailAddress>{{"Eva", "eva@example.org"}}));
  EXPECT_THROW(reply({}), Error);
}

TEST(MailReply, StaysHarmlessToAHostileMail) {
  MailDetail hostile = mail();
  hostile.summary.messageID = "<2@x>\r\nBcc: eve@example.org";
  hostile.references = "<a\r\nBcc: eve@example.org> <1@x> <ö@x>";
  hostile.summary.subject = "Hi\r\nBcc: eve@example.org\r\n\r\nText";
  hostile.summary.from = {"Rui\n\nwrote:\u202E boss@example.org", "rui@example.org"};
  hostile.text = std::string(1'000'000, '\n') + std::string(3'000'000, 'x') + "\u200B";
  const MailDraft draft = reply(hostile, true);
  EXPECT_EQ(draft.to, (std::vector<MailAddress>{{"", "rui@example.org"}}));
  EXPECT_EQ(draft.references, "<1@x> <2@x>");
  EXPECT_LT(draft.body.size(), 110'000u);
  EXPECT_TRUE(draft.body.ends_with("\n> […]\n"));
  const std::string text = outgoingMessage(draft, ana, "<3@x>", {}, Calendar("UTC")).text;
  EXPECT_EQ(text.find("\nBcc"), std::string::npos);
  EXPECT_EQ(MIME::parse(text).subject, "Re: Hi Bcc: eve@example.org Text");

  for (const char* address : {"", "rui", "rui@example.org\r\nBcc: eve@example.org", "a b@example.org"}) {
    MailDetail nobody = mail();
    nobody.to.clear();
    nobody.summary.from.address = address;
    EXPECT_THROW(reply(nobody), Error) << address;
  }
}

TEST(MailPresets, GoByTheDomain) {
  struct Case {
    const char* address;
    const char* incoming;
    const char* outgoing;
  };
  for (const Case& c : {Case{"ana@Gmail.com", "imap.gmail.com", "smtp.gmail.com"},
                        {"ana@hotmail.com.br", "outlook.office365.com", "smtp-mail.outlook.com"},
                        {"ana@live.co.uk", "outlook.office365.com", "smtp-mail.outlook.com"},
                        {"ana@uol.com.br", "imap.uol.com.br", "smtps.uol.com.br"},
                        {"a@b@yahoo.fr", "imap.mail.yahoo.com", "smtp.mail.yahoo.com"},
                        {"ana@pm.me", "127.0.0.1", "127.0.0.1"}}) {
    const auto preset = mailPresets::of(c.address);
    ASSERT_TRUE(preset) << c.address;
    EXPECT_EQ(preset->incoming.host, c.incoming);
    EXPECT_EQ(preset->outgoing.host, c.outgoing);
    EXPECT_EQ(preset->user, c.address);
  }
  for (const char* address : {"ana@example.org", "gmail.com", "", "ana@", "ana@yahoo.co.jp", "ana@live.example.org",
                              "ana@hotmail.evil", "ana@xgmail.com", "ana@live.com.evil"})
    EXPECT_FALSE(mailPresets::of(address)) << address;
  EXPECT_EQ(mailPresets::likelyIncoming("ana@example.org").front(),
            (MailServer{"imap.example.org", 993, MailSecurity::tls}));
  EXPECT_TRUE(mailPresets::likelyOutgoing("ana").empty());
}

}  // namespace
}  // namespace vesk
