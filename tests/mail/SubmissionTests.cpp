#include <chrono>
#include <cstdlib>
#include <thread>
#include <unistd.h>

#include <fmt/format.h>

#include "core/mail/MIME.h"
#include "core/mail/MailError.h"
#include "core/mail/MailOutbox.h"
#include "core/mail/network/MailStream.h"
#include "tests/mail/MailStoreTesting.h"

namespace vesk {
namespace {

using namespace std::chrono_literals;

std::uint16_t port(const char* variable) { return static_cast<std::uint16_t>(std::stoul(std::getenv(variable))); }

std::unique_ptr<MailStream> connect(const char* variable, MailSecurity security) {
  return MailStream::open({"localhost", port(variable), security},
                          {.extraAuthorities = std::getenv("VESK_IMAP_AUTHORITY")});
}

// Mail that is sent to a real server, which scripts/with-mail-servers starts, and received from another one.
class Submission : public testing::Test {
 protected:
  void SetUp() override {
    if (!std::getenv("VESK_SUBMISSION_PORT"))
      GTEST_SKIP() << "No SMTP server: run the tests with scripts/with-mail-servers.";
    folders_.store().save(account());
    logIn();
  }

  MailAccount account() const { return {.id = "a", .address = user_ + "@example.org", .name = "Ana", .user = user_}; }

  std::unique_ptr<IMAPClient> logIn() const {
    auto client = std::make_unique<IMAPClient>(connect("VESK_IMAPS_PORT", MailSecurity::tls));
    client->start(user_, "secret", MailSecurity::tls);
    client->folders();  // by now the user has a mailbox
    return client;
  }

  std::unique_ptr<SMTPClient> submission(MailSecurity security, std::string_view password = "secret") const {
    const bool isTLS = security == MailSecurity::tls;
    auto client =
        std::make_unique<SMTPClient>(connect(isTLS ? "VESK_SUBMISSIONS_PORT" : "VESK_SUBMISSION_PORT", security));
    client->start(user_, password, security);
    return client;
  }

  MailSent send(const MailDraft& draft, MailSecurity security = MailSecurity::tls) {
    folders_.store().save(draft);
    MailOutbox outbox(folders_.store(), folders_.directory(),
                      {.submission = [&](const MailAccount&) { return submission(security); },
                       .mailbox = [&](const MailAccount&) { return logIn(); }});
    return outbox.send(draft, std::chrono::system_clock::now(), Calendar("UTC"));
  }

  // The mails in a folder, once there are so many.
  std::vector<std::string> received(const std::string& folder, std::size_t count) const {
    std::vector<std::string> bodies;
    for (int tries = 0; tries < 100 && bodies.size() < count; ++tries) {
      bodies.clear();
      const auto client = logIn();
      const auto selection = client->select(folder, true);
      if (selection.exists > 0)
        for (const IMAPMessage& each : client->bodies({1, 2, 3, 4, 5})) bodies.push_back(*each.body);
      if (bodies.size() < count) std::this_thread::sleep_for(50ms);
    }
    return bodies;
  }

  const std::string user_ =
      fmt::format("ana-{}-{}", ::getpid(), std::chrono::system_clock::now().time_since_epoch().count());
  test::MailFolders folders_;
};

TEST_F(Submission, BringsADraftToTheInboxAndToTheSentFolder) {
  const MailDraft draft{.id = "d",
                        .accountID = "a",
                        .to = {{"Zé \"Silva\"", account().address}},
                        .subject = "Ação de graças, com um assunto que não cabe em só uma linha do cabeçalho",
                        .body = ".\n..\nOlá!\n" + std::string(3000, 'x') + "\n.\nFrom here\n",
                        .inReplyTo = "<1@example.org>"};
  EXPECT_EQ(send(draft), (MailSent{MailSent::State::filed, ""}));
  EXPECT_EQ(send(draft, MailSecurity::startTLS), (MailSent{MailSent::State::filed, ""}));
  const auto inbox = received("INBOX", 2);
  ASSERT_EQ(inbox.size(), 2u);
  ASSERT_EQ(received("Sent", 2).size(), 2u);
  for (const std::string& text : {inbox[0], inbox[1], received("Sent", 2)[0]}) {
    const ParsedMail mail = MIME::parse(text);
    EXPECT_EQ(mail.subject, draft.subject);
    EXPECT_EQ(mail.from, (MailAddress{"Ana", account().address}));
    EXPECT_EQ(mail.to, draft.to);
    EXPECT_EQ(mail.text, draft.body);
    EXPECT_EQ(mail.inReplyTo, draft.inReplyTo);
  }
  EXPECT_FALSE(folders_.store().draft("d"));
}

TEST_F(Submission, IsRefusedInTheServersWords) {
  MailDraft draft{.id = "d", .accountID = "a", .to = {{"", account().address}, {"", "nobody@example.org"}}};
  const auto failure = [&](const auto& action) {
    try {
      action();
    } catch (const Error& error) {
      return std::string(error.what());
    }
    return std::string();
  };
  EXPECT_THAT(failure([&] { send(draft); }),
              testing::AllOf(testing::HasSubstr("nobody@example.org"), testing::HasSubstr("Nothing was sent")));
  draft.to.pop_back();
  draft.body = std::string(1'200'000, 'x');
  EXPECT_THAT(failure([&] { send(draft); }), testing::HasSubstr("1.0 MB at most"));
  for (const MailSecurity security : {MailSecurity::tls, MailSecurity::startTLS})
    EXPECT_EQ(failure([&] { submission(security, "wrong"); }), MailError::wrongPassword().what());
  EXPECT_TRUE(folders_.store().draft("d"));
  draft.body = "Now it fits.";
  draft.bcc = {{"", account().address}};
  send(draft);
  EXPECT_EQ(received("INBOX", 1).size(), 1u);
}

}  // namespace
}  // namespace vesk
