#include <functional>
#include <string>

#include <fmt/format.h>

#include "core/mail/SMTPClient.h"
#include "tests/mail/support/ScriptedConnection.h"

namespace vesk {
namespace {

using namespace std::string_literals;

constexpr auto login = R"(
S: 220 mail.example.org ready
C: EHLO [127.0.0.1]
S: 250-mail.example.org
S: 250-size 1000
S: 250-8BITMIME
S: 250 AUTH LOGIN PLAIN
C: AUTH PLAIN AGFuYQBzZWNyZXQ=
S: 235 Welcome
)";

const OutgoingMessage note{
    .messageID = "<1@example.org>",
    .sender = "ana@example.org",
    .recipients = {"rui@example.org", "eva@example.org"},
    .text = "Subject: Note\r\n\r\n.\r\n..\r\nText\n.a\rb",
};

constexpr auto handing = R"(
C: MAIL FROM:<ana@example.org> SIZE=33
S: 250 OK
C: RCPT TO:<rui@example.org>
S: 250 OK
C: RCPT TO:<eva@example.org>
S: 251 Forwarded
C: DATA
S: 354 Go on
C: Subject: Note
C: )"
                         "\n"
                         R"(C: ..
C: ...
C: Text
C: ..a
C: b
C: .
S: 250-Taken
S: 250 as 4711
)";

using Session = test::ScriptedSession<SMTPClient, SMTPLimits>;

std::string failure(const std::function<void()>& action) {
  try {
    return test::mailFailure(action);
  } catch (const MaybeSentError&) {
    return "maybe sent";
  } catch (const Error& error) {
    return error.what();
  }
}

TEST(SMTPClient, HandsMailOverHoweverTheBytesAreCut) {
  for (const std::size_t chunk : {std::size_t{1}, std::size_t{3}, MailConnection::maximumChunk}) {
    SCOPED_TRACE(chunk);
    Session session(std::string(login) + handing + handing + "C: QUIT\n");
    session.server->chunk = chunk;
    session.start();
    session.client.send(note);
    bool isReady = false;
    session.client.send(note, [&] { isReady = !session.server->sent.ends_with("\r\n.\r\n"); });
    EXPECT_TRUE(isReady);
    session.client.close();
    EXPECT_TRUE(session.server->steps.empty());
    EXPECT_TRUE(session.server->isClosed);
  }
}

TEST(SMTPClient, LogsInOnlyWhereNobodyReadsAlong) {
  struct Case {
    const char* name;
    const char* script;
    const char* failure;
  };
  const std::string before = "S: 220 hi\nC: EHLO [127.0.0.1]\nS: 250-a\n";
  const Case cases[] = {
      {"upgraded",
       "S: 250-AUTH LOGIN\nS: 250 STARTTLS\nC: STARTTLS\nS: 220 go\nTLS\n"
       "C: EHLO [127.0.0.1]\nS: 250-a\nS: 250 AUTH PLAIN\nC: AUTH PLAIN AGFuYQBzZWNyZXQ=\nS: 235 in\n",
       ""},
      {"what was offered before doesn't count",
       "S: 250-AUTH PLAIN\nS: 250 STARTTLS\nC: STARTTLS\nS: 220 go\nTLS\nC: EHLO [127.0.0.1]\nS: 250 a\n",
       "The mail server refused: it offers no login by password."},
      {"not offered", "S: 250 AUTH PLAIN\n", "insecureServer"},
      {"refused", "S: 250 STARTTLS\nC: STARTTLS\nS: 454 no\n", "insecureServer"},
      {"said too much", "S: 250 STARTTLS\nC: STARTTLS\nS: 220 go\nS: 250-a\nS: 250 AUTH PLAIN\n", "insecureServer"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Session session(before + c.script);
    session.server->isPrivateAlready = false;
    EXPECT_EQ(failure([&] { session.start(MailSecurity::startTLS); }), c.failure);
    EXPECT_TRUE(session.server->steps.empty());
  }
  Session plain(login);
  plain.server->isPrivateAlready = false;
  EXPECT_EQ(failure([&] { plain.start(MailSecurity::none); }), "insecureServer");
  EXPECT_EQ(plain.server->sent, "EHLO [127.0.0.1]\r\n");
}

TEST(SMTPClient, TellsWhyTheLoginFailed) {
  struct Case {
    const char* offered;
    const char* script;
    const char* failure;
  };
  constexpr auto plain = "C: AUTH PLAIN AGFuYQBzZWNyZXQ=\n";
  const std::string tooLate = "The mail server refused: Not now (Try again later.)";
  const std::pair<Case, std::string> cases[] = {
      {{"AUTH LOGIN", "C: AUTH LOGIN\nS: 334 VXNlcg==\nC: YW5h\nS: 334 x\nC: c2VjcmV0\nS: 235 in\n", ""}, ""},
      {{"AUTH=PLAIN", "S: 235 in\n", ""}, plain},
      {{"AUTH CRAM-MD5", "", "The mail server refused: it offers no login by password."}, ""},
      {{"AUTH PLAIN", "S: 535-5.7.8 Username and Password not accepted.\nS: 535 5.7.8 See\n", "wrongPassword"}, plain},
      {{"AUTH PLAIN", "S: 534 5.7.9 Application-specific password required\n", "wrongPassword"}, plain},
      {{"AUTH PLAIN", "S: 538 5.7.11 Encryption required\n", "insecureServer"}, plain},
      {{"AUTH PLAIN", "S: 454 Not now\n", tooLate.c_str()}, plain},
      {{"AUTH LOGIN", "C: AUTH LOGIN\nS: 334 x\nC: YW5h\nS: 500 What is YW5h?\n",
        "The mail server refused: What is YW5h?"},
       ""},
      {{"AUTH PLAIN", "S: 500 What is AGFuYQBzZW?\n", "The mail server refused: the login."}, plain},
      {{"AUTH PLAIN", "S: 550 What is secret?\n", "The mail server refused: the login."}, plain},
  };
  for (const auto& [c, begin] : cases) {
    SCOPED_TRACE(c.script);
    Session session(
        fmt::format("S: 220 hi\nC: EHLO [127.0.0.1]\nS: 250-a\nS: 250 {}\n{}{}", c.offered, begin, c.script));
    EXPECT_EQ(failure([&] { session.start(); }), c.failure);
    EXPECT_TRUE(session.server->steps.empty());
  }
  Session session(login);
  EXPECT_THROW(session.client.start("ana", "a\0b"s, MailSecurity::tls), MailError);
  Session withLongPassword(
      "S: 220 hi\nC: EHLO [127.0.0.1]\nS: 250-a\nS: 250 AUTH PLAIN\nC: AUTH PLAIN\nS: 334\nS: 235\n");
  withLongPassword.client.start("ana", std::string(600, 'x'), MailSecurity::tls);
}

TEST(SMTPClient, SendsToAllOrNobody) {
  constexpr auto mail = "C: MAIL FROM:<ana@example.org> SIZE=33\n";
  struct Case {
    const char* script;
    const char* failure;
  };
  const Case cases[] = {
      {"S: 552 Full\nC: RSET\nS: 250\n", "The mail server refused: Full"},
      {"S: 250\nC: RCPT TO:<rui@example.org>\nS: 550 5.1.1 No Rui\nC: RCPT TO:<eva@example.org>\nS: 450 Busy\n"
       "C: RSET\nS: 250\n",
       "The mail server refused: to send to rui@example.org (5.1.1 No Rui), eva@example.org (Busy). Nothing was sent."},
      {"S: 250\nC: RCPT TO:<rui@example.org>\nS: 250\nC: RCPT TO:<eva@example.org>\nS: 451 Busy\nC: RSET\nS: 250\n",
       "The mail server refused: to send to eva@example.org (Busy). Nothing was sent; try again later."},
      {"S: 250\nC: RCPT TO:<rui@example.org>\nS: 250\nC: RCPT TO:<eva@example.org>\nS: 250\nC: DATA\n"
       "S: 554 No valid recipients\nC: RSET\nS: 250\n",
       "The mail server refused: No valid recipients"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.failure);
    Session session(std::string(login) + mail + c.script + handing);
    session.start();
    EXPECT_EQ(failure([&] { session.client.send(note); }), c.failure);
    session.client.send(note);  // the connection is as good as before
    EXPECT_TRUE(session.server->steps.empty());
  }
  Session full(std::string(login) + handing);
  full.server->steps.resize(full.server->steps.size() - 2);
  full.server->steps.emplace_back("S: 552 5.2.2 Over quota");
  full.start();
  EXPECT_EQ(failure([&] { full.client.send(note); }), "The mail server refused: 5.2.2 Over quota");
}

TEST(SMTPClient, AsksOfAServerOnlyWhatItOffers) {
  const auto without = [](const std::function<void(OutgoingMessage&)>& change) {
    OutgoingMessage message = note;
    change(message);
    Session session(login);
    session.start();
    const std::string told = failure([&] { session.client.send(message); });
    EXPECT_EQ(session.server->sent.find("MAIL"), std::string::npos);
    return told;
  };
  EXPECT_EQ(without([](auto& m) { m.text += std::string(2000, 'x'); }),
            "The mail has 0.0 MB, and the mail server takes 0.0 MB at most.");
  EXPECT_THAT(without([](auto& m) { m.recipients.push_back("rúi@example.org"); }), testing::HasSubstr("plain ASCII"));
  EXPECT_THAT(without([](auto& m) { m.text = "Subject: é\r\n\r\n"; }), testing::HasSubstr("plain ASCII"));
  EXPECT_THAT(without([](auto& m) { m.sender = "ana@example.org>\r\nRCPT TO:<x@y"; }), testing::HasSubstr("sender"));

  Session offering(
      "S: 220 hi\nC: EHLO [127.0.0.1]\nS: 250-a\nS: 250-SMTPUTF8\nS: 250-8BITMIME\nS: 250 AUTH PLAIN\n"
      "C: AUTH PLAIN AGFuYQBzZWNyZXQ=\nS: 235 in\nC: MAIL FROM:<ana@example.org> BODY=8BITMIME SMTPUTF8\nS: 250\n"
      "C: RCPT TO:<rúi@example.org>\nS: 250\nC: DATA\nS: 354\nC: To: rúi@example.org\nC: .\nS: 250\n");
  offering.start();
  offering.client.send({.sender = "ana@example.org", .recipients = {"rúi@example.org"}, .text = "To: rúi@example.org"});

  Session injected(std::string(login) + "C: MAIL FROM:<ana@example.org> SIZE=33\nS: 250\nC: RSET\nS: 250\n");
  injected.start();
  OutgoingMessage message = note;
  message.recipients = {"rui@example.org>\r\nDATA"};
  EXPECT_THAT(failure([&] { injected.client.send(message); }), testing::HasSubstr("isn't an email address"));
}

// Wherever the connection breaks, what may have been sent is told from what wasn't.
TEST(SMTPClient, KnowsWhetherAMailMayHaveBeenSent) {
  const std::string script = std::string(login) + handing;
  const std::size_t lines = text::split(script, '\n').size();
  for (const char* end : {"", "silence"}) {
    bool mayBeSent = false;
    for (std::size_t cut = 0; cut < lines; ++cut) {
      Session session(script);
      auto& steps = session.server->steps;
      if (cut >= steps.size()) break;
      steps.resize(cut);
      if (*end) steps.emplace_back(end);
      SCOPED_TRACE(cut);
      bool isNoted = false;
      const std::string told = failure([&] {
        session.start();
        session.client.send(note, [&] { isNoted = true; });
      });
      EXPECT_TRUE(told == (isNoted ? "maybe sent" : *end ? "timedOut" : "closed")) << told;
      EXPECT_TRUE(session.server->isClosed);
      mayBeSent = mayBeSent || isNoted;
    }
    EXPECT_TRUE(mayBeSent);
  }
}

TEST(SMTPClient, SendsNothingWhenItIsHeldBackAtTheEnd) {
  Session session(std::string(login) + handing);
  session.start();
  EXPECT_EQ(failure([&] { session.client.send(note, [] { throw Error("Not yet."); }); }), "Not yet.");
  EXPECT_TRUE(session.server->isClosed);
  EXPECT_FALSE(session.server->sent.ends_with("\r\n.\r\n"));
}

TEST(SMTPClient, GivesUpOnWhatIsNoReply) {
  const SMTPLimits limits{.line = 50, .lines = 3};
  for (const std::string& said :
       {"hello"s, "22"s, "999 x"s, "120 x"s, "2200"s, "220-a\r\n221 b"s, "220-a\r\n220-b\r\n220-c\r\n220 d"s,
        "220 "s + std::string(60, 'x'), std::string(5000, 'x')}) {
    SCOPED_TRACE(said.substr(0, 20));
    Session session("s: x", limits);
    session.server->steps = {"s: " + said + (said.size() < 5000 ? "\r\n" : "")};
    EXPECT_EQ(failure([&] { session.start(); }), "The mail server refused: its reply is none that Vesk reads.");
    EXPECT_TRUE(session.server->isClosed);
  }
  Session refusing("S: 554-Go away\nS: 554 you \x1B[31m\x80\n");
  EXPECT_EQ(failure([&] { refusing.start(); }), "The mail server refused: Go away you  [31m\uFFFD");
}

}  // namespace
}  // namespace vesk
