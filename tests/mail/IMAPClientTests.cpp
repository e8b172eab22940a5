#include <functional>

#include <fmt/format.h>

#include "core/mail/IMAPClient.h"
#include "core/mail/MailBuffer.h"
#include "core/mail/ModifiedUtf7.h"
#include "tests/mail/support/ScriptedConnection.h"

namespace vesk {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using Strings = std::vector<std::string>;

constexpr auto greeting = R"(
S: * OK ready
C: V1 LOGIN "ana" "secret"
S: V1 OK
C: V2 CAPABILITY
S: * CAPABILITY IMAP4rev1 IDLE Move uidplus
S: V2 OK
)";

using Session = test::ScriptedSession<IMAPClient, IMAPLimits>;
using test::mailFailure;

constexpr auto walk = R"(
C: V3 LIST "" "*"
S: * LIST (\HasNoChildren) "/" INBOX
S: * list (\HasChildren \NoSelect) "/" "[Mail]"
S: * LIST (\Sent) "/" "[Mail]/Sent \"A\" \\ Mail"
S: * LIST () "." {16}
s: Lixo.&AMk-l&AOk-
S:  ("x" ("y"))
S: V3 OK
C: V4 EXAMINE "[Mail]/Sent \"A\" \\ Mail"
S: * 172 exists
S: * OK [UNSEEN 12] text [UIDVALIDITY x]
S: * ok [uidvalidity 3857529045] UIDs valid
S: * OK [UIDNEXT 4392] [UIDNEXT 1]
S: V4 OK [READ-ONLY] done
C: V5 UID SEARCH SINCE 05-Nov-2026
S: * SEARCH 3 4
S: * SEARCH 4294967295 4294967296 (MODSEQ 5)
S: V5 OK
C: V6 UID SEARCH HEADER Message-ID "<a\"b@x>"
S: * SEARCH
S: V6 OK
C: V7 UID FETCH 3:5,9:10,12 (UID FLAGS)
S: * 1 FETCH (FLAGS (\SEEN $Junk) UID 3)
S: * 2 FETCH (FLAGS ())
S: * 3 FETCH (UID 5 FLAGS (\flagged))
S: V7 OK
C: V8 UID FETCH 3:4 (UID FLAGS BODY.PEEK[]<0.20>)
S: * 1 FETCH (UID 3 BODY[]<0> {17}
S: A: b)
S:
s: c) V8 OK
S:  FLAGS (\Seen))
S: * 9 EXISTS
S: * 2 FETCH (UID 4 FLAGS (\Deleted))
S: * 2 FETCH (UID 4 BODY[] {0}
S:  MODSEQ (7))
S: V8 OK
C: V9 UID STORE 3 -FLAGS.SILENT (\Seen)
S: V9 OK
C: V10 UID MOVE 3 "Old mail"
S: * OK [COPYUID 1 3 9] Moved
S: * 1 EXPUNGE
S: V10 OK
C: V11 APPEND "Drafts" (\Draft \Seen) {6}
S: + go on
C: a
C: )V;
S: V11 OK
C: V12 IDLE
S: + idling
S: * OK Still here
S: * 4 EXISTS
C: DONE
S: * 4 FETCH (FLAGS ())
S: V12 OK
C: V13 LOGOUT
)";

TEST(IMAPClient, WalksThroughAnAccountHoweverItsBytesAreCut) {
  using Role = MailFolderRole;
  for (const std::size_t chunk : {std::size_t{1}, std::size_t{3}, MailConnection::maximumChunk}) {
    SCOPED_TRACE(chunk);
    Session session(std::string(greeting) + walk);
    session.server->chunk = chunk;
    session.start();
    IMAPClient& client = session.client;
    EXPECT_EQ(client.capabilities(), (std::set<std::string>{"IMAP4REV1", "IDLE", "MOVE", "UIDPLUS"}));
    EXPECT_EQ(client.folders(),
              (std::vector<IMAPFolder>{{"INBOX", "INBOX", Role::inbox},
                                       {R"([Mail]/Sent "A" \ Mail)", R"(Sent "A" \ Mail)", Role::sent},
                                       {"Lixo.&AMk-l&AOk-", "Élé", Role::other}}));
    EXPECT_EQ(client.select(R"([Mail]/Sent "A" \ Mail)", true), (IMAPSelection{172, 3857529045, 4392}));
    EXPECT_EQ(client.uids(Day(std::chrono::year(2026), std::chrono::month(11), std::chrono::day(5))),
              (std::vector<std::uint32_t>{3, 4, 4294967295}));
    EXPECT_EQ(client.uids("<a\"b@x>"), std::vector<std::uint32_t>());
    const auto flags = client.flags({5, 3, 4, 9, 10, 12, 3});
    EXPECT_EQ(flags, (std::vector<IMAPMessage>{{3, {"\\SEEN", "$Junk"}, {}}, {5, {"\\flagged"}, {}}}));
    EXPECT_TRUE(flags[0].isRead() && !flags[0].isFlagged() && flags[1].isFlagged());
    EXPECT_EQ(client.bodies({4, 3}, 20),
              (std::vector<IMAPMessage>{{3, {"\\Seen"}, "A: b)\r\n\r\nc) V8 OK"}, {4, {}, ""}}));
    client.setFlag("\\Seen", false, {3});
    client.move({3}, "Old mail");
    client.append("a\r\n)V;", "Drafts", {"\\Draft", "\\Seen"});
    EXPECT_TRUE(client.idle(1min));
    EXPECT_TRUE(client.flags({}).empty());
    client.close();
    EXPECT_TRUE(session.server->isClosed);
    EXPECT_THAT(session.server->steps, testing::IsEmpty());
  }
}

// The steps of a script, the first of them those of the greeting.
Strings stepsOf(const std::string& script) {
  Strings steps;
  for (const auto line : text::split(script, '\n'))
    if (!line.empty()) steps.emplace_back(line);
  return steps;
}

TEST(IMAPClient, EndsWithAnErrorWhereverTheServerFails) {
  const std::string script = std::string(greeting) + R"(
C: V3 SELECT "a"
S: * 1 EXISTS
S: V3 OK
C: V4 UID FETCH 1 (UID FLAGS BODY.PEEK[])
S: * 1 FETCH (UID 1 BODY[] {4}
s: a
s: bc
s: d
S: )
S: V4 OK
C: V5 APPEND "b" () {1}
S: + go on
C: x
S: V5 OK
C: V6 IDLE
S: + idling
S: * 2 EXISTS
C: DONE
S: V6 OK
)";
  const auto play = [](const Strings& steps) {
    Session session(text::join(steps, "\n"));
    const std::string error = mailFailure([&] {
      session.start();
      session.client.select("a");
      session.client.bodies({1});
      session.client.append("x", "b", {});
      session.client.idle(1min);
    });
    EXPECT_EQ(session.server->isClosed, !error.empty());
    return error;
  };
  const Strings steps = stepsOf(script);
  EXPECT_EQ(play(steps), "");
  for (std::size_t i = 0; i < steps.size(); ++i) {
    if (steps[i].starts_with("C:")) continue;
    SCOPED_TRACE(steps[i]);
    Strings cut(steps.begin(), steps.begin() + static_cast<std::ptrdiff_t>(i));
    EXPECT_EQ(play(cut), "closed");
    cut.push_back("silence");  // which ends IDLE, as it should
    EXPECT_EQ(play(cut), steps[i] == "S: * 2 EXISTS" ? "closed" : "timedOut");
    cut.back() = i == 0 ? "S: * BYE Too \x1B many \xFF" : "S: * BYE";
    EXPECT_EQ(play(cut), i == 0 ? "The mail server refused: Too   many \uFFFD" : "closed");
  }
}

TEST(IMAPClient, TellsWhatTheServerSaidToACommand) {
  const std::pair<const char*, const char*> cases[] = {
      {"V3 NO [TRYCREATE] Mailbox doesn't exist ", "The mail server refused: [TRYCREATE] Mailbox doesn't exist"},
      {"V3 no [AUTHENTICATIONFAILED] Invalid credentials (Failure)", "wrongPassword"},
      {"V3 BAD invalid Credentials", "wrongPassword"},
      {"V3 BYE", "The mail server refused: it gives no reason."},
      {"V30 OK", "timedOut"},
      {"V3OK", "timedOut"},
      {"+ ", "timedOut"},
      {"", "timedOut"},
  };
  for (const auto& [reply, error] : cases) {
    SCOPED_TRACE(reply);
    Session session(fmt::format("{}C: V3 SELECT \"a\"\nS: {}\nsilence", greeting, reply));
    session.start();
    EXPECT_EQ(mailFailure([&] { session.client.select("a"); }), error);
    EXPECT_EQ(session.server->isClosed, std::string_view(error) == "timedOut");
  }
}

TEST(IMAPClient, TakesNoMoreThanItsLimits) {
  const auto shows = [](const std::string& reply, const IMAPLimits& limits = {}) {
    Session session(fmt::format("{}C: V3 UID FETCH 1 (UID FLAGS)\nS: {}\nS: V3 OK", greeting, reply), limits);
    const std::string error = mailFailure([&] {
      session.start();
      session.client.flags({1});
    });
    EXPECT_EQ(session.server->isClosed, !error.empty());
    return error;
  };
  const std::string many(100'000, '(');
  EXPECT_EQ(shows("* 1 FETCH (UID 1 FLAGS " + many),
            "The mail server refused: its answer has too many lists in lists, which Vesk doesn't read.");
  const auto repeated = [](std::string_view piece, int times) {
    std::string text;
    for (int i = 0; i < times; ++i) text += piece;
    return text;
  };
  EXPECT_THAT(shows("* 1 FETCH (UID 1 FLAGS (" + repeated("a ", 100'001)), testing::HasSubstr("too many parts"));
  EXPECT_THAT(shows("* 1 FETCH (X {4294967295}"), testing::HasSubstr("too large a piece"));
  EXPECT_THAT(shows("* 1 FETCH (X {99999999999999999999}"), testing::HasSubstr("too large a piece"));
  EXPECT_EQ(shows("* 1 FETCH (X {-1}"), "");
  EXPECT_EQ(shows("* 1 FETCH (X {}"), "");
  EXPECT_THAT(shows(std::string((16 << 20) + 1, 'a')), testing::HasSubstr("too long a line"));
  EXPECT_THAT(shows(repeated("* 1 EXISTS\nS: ", 101), {.responses = 100}), testing::HasSubstr("too many responses"));
  EXPECT_THAT(shows(repeated("{0}\nS: ", 101), {.answer = 6400}), testing::HasSubstr("too many bytes"));
  EXPECT_THAT(shows(repeated("x\nS: ", 101), {.answer = 6400}), testing::HasSubstr("too many bytes"));
  EXPECT_EQ(shows(std::string(1 << 20, 'a'), {.silence = 0ms}), "timedOut");
}

TEST(IMAPClient, LosesPatienceWithAServerThatDrips) {
  struct Dripping final : MailConnection {
    void send(std::string_view) override {}
    std::optional<std::string_view> receive(std::chrono::milliseconds) override { return "a"; }
    void startTLS() override {}
    bool isPrivate() const override { return true; }
    void close() noexcept override {}
  };
  IMAPClient client(std::make_unique<Dripping>(), {.silence = 20ms, .perByte = 0us});
  EXPECT_EQ(mailFailure([&] { client.start("ana", "secret", MailSecurity::tls); }), "timedOut");
}

TEST(IMAPClient, SaysOneCommandWhateverAnArgumentHolds) {
  const std::pair<std::string, std::string> cases[] = {
      {"", R"("")"},
      {"a b", R"("a b")"},
      {R"(a" "b\)", R"("a\" \"b\\")"},
      {"{5}", R"("{5}")"},
      {"a\r\nV9 DELETE x", "{14}\r\na\r\nV9 DELETE x"},
      {"a\rb", "{3}\r\na\rb"},
      {"a\nb", "{3}\r\na\nb"},
      {"é\x7F", "{3}\r\né\x7F"},
  };
  for (const auto& [value, written] : cases) {
    SCOPED_TRACE(value);
    Session session("S: * OK\nS: +\nS: +\nS: V1 OK\nS: V2 OK\nS: +\nS: V3 OK\nS: + \nS: V4 OK");
    session.client.start(value, value, MailSecurity::tls);
    session.client.select(value, true);
    session.client.uids(value);
    std::string expected = fmt::format("V1 LOGIN {0} {0}\r\nV2 CAPABILITY\r\nV3 EXAMINE {0}\r\n", written);
    const bool wouldMatchAll = std::string_view(value).empty();
    if (!wouldMatchAll) expected += fmt::format("V4 UID SEARCH HEADER Message-ID {}\r\n", written);
    EXPECT_EQ(session.server->sent, expected);
  }
  Session session(greeting);
  session.start();
  const std::string before = session.server->sent;
  EXPECT_THAT(mailFailure([&] { session.client.select("a\0b"s); }), testing::HasSubstr("NUL"));
  for (const char* flag : {"", "\\", "a b", "\\Seen)", "a\r\n", "\\\\Seen", "é"})
    EXPECT_THAT(mailFailure([&] { session.client.setFlag(flag, true, {1}); }), testing::HasSubstr("flag")) << flag;
  EXPECT_EQ(session.server->sent, before);
}

TEST(IMAPClient, SendsThePasswordOnlyInPrivateAndNeverShowsIt) {
  const std::pair<const char*, const char*> failing[] = {
      {"S: * OK\nC: V1 STARTTLS\nS: V1 BAD Unknown command", "insecureServer"},
      {"S: * OK\nC: V1 STARTTLS\nS: V1 NO AUTH first", "insecureServer"},
      {"S: * OK\nC: V1 STARTTLS\nS: V1 OK\nS: * CAPABILITY LOGIN", "insecureServer"},
      {"S: * PREAUTH\nC: V1 STARTTLS\nS: V1 OK go\ns: V", "insecureServer"},
      {"S: 220 mail.example.org ESMTP", "The mail server refused: 220 mail.example.org ESMTP"},
  };
  for (const auto& [script, error] : failing) {
    SCOPED_TRACE(script);
    Session session(script);
    EXPECT_EQ(mailFailure([&] { session.start(MailSecurity::startTLS); }), error);
    EXPECT_TRUE(session.server->isClosed);
    EXPECT_THAT(session.server->sent, testing::Not(testing::HasSubstr("secret")));
  }
  Session upgraded(
      "S: * OK\nC: V1 STARTTLS\nS: V1 OK\nTLS\nC: V2 LOGIN \"ana\" \"secret\"\nS: V2 OK\nC: V3 CAPABILITY\n"
      "S: V3 OK");
  upgraded.server->isPrivateAlready = false;
  upgraded.start(MailSecurity::startTLS);
  EXPECT_THAT(upgraded.server->steps, testing::IsEmpty());

  for (const MailSecurity security : {MailSecurity::none, MailSecurity::tls}) {
    Session open("S: * OK");
    open.server->isPrivateAlready = false;
    EXPECT_EQ(mailFailure([&] { open.start(security); }), "insecureServer");
    EXPECT_EQ(open.server->sent, "");
  }
  for (const char* reply : {"NO bad password se\"cret", R"(BAD Unknown: LOGIN "ana" "se\"cret")"}) {
    Session repeating(fmt::format("S: * OK\nC: V1 LOGIN \"ana\" \"se\\\"cret\"\nS: V1 {}", reply));
    EXPECT_EQ(mailFailure([&] { repeating.client.start("ana", "se\"cret", MailSecurity::tls); }),
              "The mail server refused: the login.");
  }
}

TEST(IMAPClient, MovesByCopyingWhereTheServerKnowsNoBetter) {
  for (const bool hasUidPlus : {false, true}) {
    Session session(
        fmt::format("S: * OK\nC: V1 LOGIN \"ana\" \"secret\"\nS: V1 OK\nC: V2 CAPABILITY\n"
                    "S: * CAPABILITY {}\nS: V2 OK\nC: V3 UID COPY 1:2 \"b\"\nS: V3 OK\n"
                    "C: V4 UID STORE 1:2 +FLAGS.SILENT (\\Deleted)\nS: V4 OK\nC: V5 {}\nS: V5 OK",
                    hasUidPlus ? "UIDPLUS" : "X", hasUidPlus ? "UID EXPUNGE 1:2" : "EXPUNGE"));
    session.start();
    session.client.move({2, 1}, "b");
    EXPECT_THAT(session.server->steps, testing::IsEmpty());
  }
  Session refusing(std::string(greeting) + "C: V3 UID MOVE 1 \"b\"\nS: V3 NO");
  refusing.start();
  EXPECT_EQ(mailFailure([&] { refusing.client.move({1}, "b"); }), "The mail server refused: it gives no reason.");

  // What wasn't copied is never removed; where something is only read, the rest is there.
  Session gone(
      "S: * OK\nC: V1 LOGIN \"ana\" \"secret\"\nS: V1 OK\nC: V2 CAPABILITY\nS: * CAPABILITY X\nS: V2 OK\n"
      "C: V3 UID COPY 1:2 \"b\"\nS: V3 NO [EXPUNGEISSUED] None copied\n"
      "C: V4 UID FETCH 1:2 (UID FLAGS)\nS: * 1 FETCH (UID 2 FLAGS ())\nS: V4 NO [EXPUNGEISSUED] Some are gone");
  gone.start();
  EXPECT_EQ(mailFailure([&] {
              gone.client.move({1, 2}, "b");
            }),
            "The mail server refused: [EXPUNGEISSUED] None copied");
  EXPECT_EQ(gone.client.flags({1, 2}).size(), 1u);
  EXPECT_THAT(gone.server->steps, testing::IsEmpty());
}

TEST(IMAPClient, WaitsForChangesWithIdleOrWithout) {
  struct Case {
    const char* description;
    const char* capabilities;
    const char* script;
    bool isChange;
  };
  const Case cases[] = {
      {"nothing", "IDLE", "C: V3 IDLE\nS: + \nS: * OK\nsilence\nC: DONE\nS: V3 OK", false},
      {"before it begins", "IDLE", "C: V3 IDLE\nS: * 1 EXPUNGE\nS: + \nC: DONE\nS: V3 OK", true},
      {"when it ends", "IDLE", "C: V3 IDLE\nS: +\nsilence\nC: DONE\nS: * 1 FETCH (UID 1)\nS: V3 OK", true},
      {"the server ends it", "IDLE", "C: V3 IDLE\nS: +\nS: * 1 RECENT\nS: V3 OK", false},
      {"nothing", "X", "silence\nC: V3 NOOP\nS: * OK EXISTS\nS: V3 OK", false},
      {"while waiting", "X", "S: * 4 exists\nC: V3 NOOP\nS: V3 OK", true},
      {"when asked", "X", "silence\nC: V3 NOOP\nS: * 4 EXPUNGE\nS: V3 OK", true},
  };
  for (const auto& [description, capabilities, script, isChange] : cases) {
    SCOPED_TRACE(fmt::format("{} ({})", description, capabilities));
    Session session(
        fmt::format("S: * OK\nC: V1 LOGIN \"ana\" \"secret\"\nS: V1 OK\nC: V2 CAPABILITY\n"
                    "S: * CAPABILITY {}\nS: V2 OK\n{}",
                    capabilities, script));
    session.start();
    EXPECT_EQ(session.client.idle(1h), isChange);
    EXPECT_THAT(session.server->steps, testing::IsEmpty());
  }
  Session refusing(std::string(greeting) + "C: V3 IDLE\nS: V3 NO not now");
  refusing.start();
  EXPECT_EQ(mailFailure([&] { refusing.client.idle(1h); }), "The mail server refused: not now");
}

TEST(IMAPClient, AsksForManyMessagesInSeveralCommands) {
  std::vector<std::uint32_t> all(25'000);
  std::vector<std::uint32_t> odd;
  for (std::uint32_t i = 0; i < all.size(); ++i) {
    all[i] = i + 1;
    if (i % 2 == 0) odd.push_back(1'000'000 + i);
  }
  EXPECT_EQ(imap::uidSets({5, 3, 4, 9, 10, 12}), Strings{"3:5,9:10,12"});
  EXPECT_EQ(imap::uidSets({4294967295, 7, 4294967294}), Strings{"7,4294967294:4294967295"});
  EXPECT_EQ(imap::uidSets(all), (Strings{"1:10000", "10001:20000", "20001:25000"}));
  std::string joined;
  for (const std::string& set : imap::uidSets(odd)) {
    EXPECT_LE(set.size(), 8100u);
    joined += set + ",";
  }
  EXPECT_EQ(joined.size(), odd.size() * 8);
}

TEST(IMAPClient, ReadsFoldersForPeople) {
  using Role = MailFolderRole;
  struct Case {
    const char* line;
    IMAPFolder folder;
  };
  const Case cases[] = {
      {R"(() "/" "Inbox")", {"Inbox", "Inbox", Role::inbox}},
      {R"((\HasNoChildren \SENT) "/" "[Gmail]/Sent Mail")", {"[Gmail]/Sent Mail", "Sent Mail", Role::sent}},
      {R"(() "/" "Itens Enviados")", {"Itens Enviados", "Itens Enviados", Role::sent}},
      {R"(() "." INBOX.Trash)", {"INBOX.Trash", "Trash", Role::other}},
      {R"(() "/" "Pastas/Lixo Eletr&APQ-nico")", {"Pastas/Lixo Eletr&APQ-nico", "Lixo Eletrônico", Role::spam}},
      {R"(() NIL "a/b")", {"a/b", "a/b", Role::other}},
      {R"(() "/" "a/")", {"a/", "a/", Role::other}},
  };
  std::string script = std::string(greeting) + "C: V3 LIST \"\" \"*\"\n";
  for (const Case& each : cases) script += fmt::format("S: * LIST {}\n", each.line);
  Session session(script + "S: * LIST () \"/\" \"\xFF\"\nS: * LIST (\nS: * LIST\nS: *\nS: V3 OK");
  session.start();
  const auto folders = session.client.folders();
  ASSERT_EQ(folders.size(), std::size(cases));
  for (std::size_t i = 0; i < folders.size(); ++i) EXPECT_EQ(folders[i], cases[i].folder) << cases[i].line;
}

TEST(ModifiedUtf7, DecodesWhatItCanAndKeepsTheRest) {
  const std::pair<const char*, const char*> cases[] = {
      {"&AMk-l&AOk-ments", "Éléments"},
      {"plain - text", "plain - text"},
      {"a &- b", "a & b"},
      {"&U,BTFw-&ZeVnLIqe-", "台北日本語"},
      {"&2D3eAA-!", "😀!"},
      {"&2D0-", "&2D0-"},
      {"&3gA-", "&3gA-"},
      {"&A-", "&A-"},
      {"&AMl-", "&AMl-"},
      {"&AM é-", "&AM é-"},
      {"&AMk", "&AMk"},
      {"a & b &AOk- c", "a & b &AOk- c"},
  };
  for (const auto& [encoded, decoded] : cases) EXPECT_EQ(decodedModifiedUtf7(encoded), decoded);
}

TEST(MailBuffer, CutsLinesAndPieces) {
  MailBuffer buffer;
  EXPECT_EQ(buffer.takeLine(), std::nullopt);
  buffer.append("a\rb\nc\r");
  EXPECT_EQ(buffer.takeLine(), std::nullopt);
  buffer.append("\n\r\nde");
  EXPECT_EQ(buffer.takeLine(), "a\rb\nc\r\n");
  EXPECT_EQ(buffer.takeLine(), "\r\n");
  EXPECT_EQ(buffer.take(3), std::nullopt);
  EXPECT_EQ(buffer.take(1), "d");
  buffer.append("\r\n");
  EXPECT_EQ(buffer.takeLine(), "e\r\n");
  EXPECT_TRUE(buffer.isEmpty());
}

}  // namespace
}  // namespace vesk
