#include <algorithm>
#include <chrono>
#include <random>
#include <unistd.h>

#include <sys/fsuid.h>
#include <sys/stat.h>

#include "core/mail/MailError.h"
#include "tests/mail/MailStoreTesting.h"
#include "tests/vault/VaultTesting.h"

namespace vesk {
namespace {

using test::MailFolders;
using test::record;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr MailFolderRole inbox = MailFolderRole::inbox;
constexpr MailFolderRole sent = MailFolderRole::sent;

MailAccount account(const std::string& id) {
  return {.id = id,
          .address = "ana@example.org",
          .name = "Ana",
          .user = "ana",
          .incoming = {.host = "imap.example.org", .port = 993},
          .outgoing = {.host = "smtp.example.org", .port = 587, .security = MailSecurity::startTLS}};
}

std::vector<std::string> subjects(const std::vector<MailSummary>& messages) {
  std::vector<std::string> found;
  for (const MailSummary& message : messages) found.push_back(message.subject);
  return found;
}

TEST(MailStore, MakesADatabaseForTheUserAlone) {
  MailFolders mail;
  const std::string elsewhere = mail.folder().at("not/there");
  EXPECT_EQ(MailStore::openIfThere(elsewhere), nullptr);
  EXPECT_FALSE(mail.folder().has("not"));

  EXPECT_THAT(MailStore(elsewhere + "/").accounts(), IsEmpty());
  EXPECT_TRUE(mail.folder().has("not/there/mail/mail.sqlite"));

  mail.store().save(account("a"));
  const auto mode = [](const std::string& path) {
    struct stat attributes = {};
    return ::stat(path.c_str(), &attributes) == 0 ? attributes.st_mode & 0777 : 0;
  };
  EXPECT_EQ(mode(mail.directory() + "/mail"), 0700u);
  for (const char* end : {"", "-wal", "-shm"}) EXPECT_EQ(mode(mail.file() + end), 0600u) << end;
  EXPECT_EQ(mail.text("PRAGMA journal_mode"), "wal");
  EXPECT_THAT(MailStore::openIfThere(mail.directory())->accounts(), ElementsAre(account("a")));
}

TEST(MailStore, KeepsWhatOthersWroteIntoTheJson) {
  MailFolders mail;
  MailStore& store = mail.store();
  MailDraft draft{.id = "d1",
                  .accountID = "a",
                  .to = {{"Bo", "bo@example.org"}},
                  .cc = {{"", "cy@example.org"}},
                  .bcc = {{"Di \"D\"", "di@example.org"}},
                  .subject = "Re: Plan",
                  .body = std::string("one\n\0two \xFF", 10),
                  .inReplyTo = "<1@x>",
                  .references = "<0@x> <1@x>",
                  .byAI = true,
                  .updated = std::chrono::sys_days(std::chrono::year(2026) / 11 / 21) + std::chrono::milliseconds(1)};
  store.save(account("b"));
  store.save(account("a"));
  store.save(draft);
  EXPECT_EQ(mail.text("SELECT json FROM accounts WHERE id = 'a'"),
            R"({"address":"ana@example.org","id":"a",)"
            R"("incoming":{"host":"imap.example.org","port":993,"security":"tls"},"name":"Ana",)"
            R"("outgoing":{"host":"smtp.example.org","port":587,"security":"startTLS"},"user":"ana"})");
  EXPECT_EQ(mail.text("SELECT updated = 816912000.001 AND json ->> 'updated' = updated FROM drafts"), "1");

  for (const char* table : {"accounts", "drafts"})
    mail.run(std::string("UPDATE ") + table + " SET json = json_set(json, '$.colour', 'red')");
  mail.run("INSERT INTO drafts VALUES ('d0', 'a', '{}', 0), ('d2', 'a', 'rubbish', 0)");
  mail.run("INSERT INTO accounts VALUES ('c', json_set((SELECT json FROM accounts), '$.incoming.port', 65536))");
  store.save(account("b"));
  draft.body = "new";
  store.save(draft);
  EXPECT_EQ(mail.text("SELECT (json ->> 'colour') || (json ->> 'body') FROM drafts WHERE id = 'd1'"), "rednew");
  EXPECT_EQ(mail.number("SELECT COUNT(*) FROM accounts WHERE id <> 'c' AND json ->> 'colour' = 'red'"), 2);

  EXPECT_THAT(store.accounts(), ElementsAre(account("a"), account("b")));
  EXPECT_THAT(store.drafts(), ElementsAre(draft));
  EXPECT_EQ(store.skipped(), 3u);
  EXPECT_EQ(store.draft("d1"), draft);
  EXPECT_EQ(store.draft("d2"), std::nullopt);
  store.removeDraft("d1");
  EXPECT_EQ(store.draft("d1"), std::nullopt);
}

TEST(MailStore, StoresAMessageOnceAndGivesAllOfItBack) {
  MailFolders mail;
  MailStore& store = test::withInbox(mail.store());
  MailRecord first = record(7, "Plan", "bo@example.org", 1);
  first.isFlagged = true;
  first.mail.to = {{"Ana", "ana@example.org"}};
  first.mail.cc = {{"", "cy@example.org"}, {"D", "d@example.org"}};
  first.mail.replyTo = {{"List", "list@example.org"}};
  first.mail.messageID = "<7@x>";
  first.mail.inReplyTo = "<6@x>";
  first.mail.references = "<5@x> <6@x>";
  first.mail.text = "See <b>you</b>\n at  noon.\n";
  first.mail.html = "<p>See you</p>";
  first.mail.attachments = {{"a.png", "image/png", 12}};
  MailRecord second = record(8, std::string("bad \xC3(\0) end", 12), "");
  second.mail.from = MailAddress{.name = std::string("N\0", 2)};
  second.mail.date = std::nullopt;
  second.mail.html = "<p>only <i>shown</i></p><p style=\"display:none\">secret</p>";
  MailRecord third = record(9, "far", "x@y", 0);
  third.mail.date = Timestamp::max();

  EXPECT_EQ(store.insert({first, second, third, first}, "a", "INBOX"), 3u);
  EXPECT_EQ(store.insert({first}, "a", "INBOX"), 0u);
  EXPECT_EQ(mail.number("SELECT COUNT(*) FROM message_search"), 3);
  EXPECT_TRUE(mail.isSound());
  EXPECT_THAT(store.storedUIDs("a", "INBOX"), ElementsAre(7u, 8u, 9u));
  EXPECT_EQ(mail.text("SELECT date || ' ' || recipients || attachments FROM messages WHERE uid = 7"),
            R"(788922000.0 {"cc":[{"address":"cy@example.org","name":""},{"address":"d@example.org","name":"D"}],)"
            R"("replyTo":[{"address":"list@example.org","name":"List"}],)"
            R"("to":[{"address":"ana@example.org","name":"Ana"}]}[{"name":"a.png","size":12,"type":"image/png"}])");

  const auto list = store.messages({});
  ASSERT_THAT(subjects(list), ElementsAre("far", "Plan", "bad \uFFFD(\uFFFD) end"));
  EXPECT_GT(list[0].date, Timestamp::max() - std::chrono::seconds(2));
  const MailDetail detail = store.message(list[1].id).value();
  const MailDetail expected{.summary = {.id = list[1].id,
                                        .accountID = "a",
                                        .folder = "INBOX",
                                        .uid = 7,
                                        .messageID = "<7@x>",
                                        .subject = "Plan",
                                        .from = {.address = "bo@example.org"},
                                        .date = *first.mail.date,
                                        .snippet = "See you at noon.",
                                        .isFlagged = true,
                                        .hasAttachments = true},
                            .to = first.mail.to,
                            .cc = first.mail.cc,
                            .replyTo = first.mail.replyTo,
                            .text = first.mail.text,
                            .html = first.mail.html,
                            .attachments = first.mail.attachments,
                            .inReplyTo = "<6@x>",
                            .references = "<5@x> <6@x>"};
  EXPECT_EQ(detail, expected);
  EXPECT_EQ(detail.summary, list[1]);
  EXPECT_EQ(list[2].date, distantPast);
  EXPECT_EQ(list[2].from.name, "N\uFFFD");
  EXPECT_EQ(list[2].snippet, "only shown");
  EXPECT_EQ(store.message(99), std::nullopt);

  mail.run("UPDATE messages SET recipients = '[]', attachments = '{', folder = 'Sent'");
  EXPECT_EQ(store.message(list[1].id)->text, first.mail.text);
  EXPECT_EQ(store.skipped(), 2u);
}

TEST(MailStore, FollowsTheServersFolders) {
  MailFolders mail;
  MailStore& store = mail.store();
  store.saveFolders({{"INBOX", "Inbox", inbox}, {"Sent", "Sent", sent}, {"Old", "Old", MailFolderRole::other}}, "a");
  store.saveFolders({{"INBOX", "Inbox", inbox}}, "b");
  MailRecord read = record(1, "read", "x@y");
  read.isRead = true;
  store.insert({read, record(2, "new", "x@y")}, "a", "INBOX");
  store.insert({record(1, "old", "x@y")}, "a", "Old");
  store.insert({record(1, "other", "x@y")}, "b", "INBOX");

  EXPECT_EQ(store.syncState("a", "INBOX", 5), 0u);  // its first UIDVALIDITY empties it, as any new one does
  EXPECT_THAT(store.storedUIDs("a", "INBOX"), IsEmpty());
  store.insert({read, record(2, "new", "x@y")}, "a", "INBOX");
  for (const std::uint32_t uid : {9u, 4'000'000'000u, 3u}) store.setLastUID(uid, "a", "INBOX");
  EXPECT_EQ(store.syncState("a", "INBOX", 5), 4'000'000'000u);
  EXPECT_EQ(store.syncState("a", "nowhere", 5), 0u);

  store.saveFolders({{"INBOX", "Postfach", inbox}, {"Sent", "Sent", MailFolderRole::other}}, "a");
  EXPECT_THAT(store.folders("a"), ElementsAre(MailFolder{"a", "INBOX", "Postfach", inbox, 1},
                                              MailFolder{"a", "Sent", "Sent", MailFolderRole::other, 0}));
  EXPECT_EQ(store.folders().size(), 3u);
  EXPECT_EQ(store.folder("a", inbox)->name, "Postfach");
  EXPECT_EQ(store.folder("a", sent), std::nullopt);
  EXPECT_EQ(store.syncState("a", "INBOX", 5), 4'000'000'000u);  // kept
  EXPECT_EQ(store.syncState("a", "INBOX", 6), 0u);
  EXPECT_EQ(store.syncState("a", "INBOX", 6), 0u);
  EXPECT_THAT(subjects(store.messages({})), ElementsAre("other"));
  EXPECT_TRUE(mail.isSound());
}

TEST(MailStore, ListsWhatIsAskedFor) {
  MailFolders mail;
  MailStore& store = mail.store();
  store.saveFolders({{"INBOX", "Inbox", inbox}, {"Sent", "Sent", sent}}, "a");
  store.saveFolders({{"INBOX", "Inbox", sent}}, "b");  // the same path in another role
  MailRecord invoice = record(1, "Invoice Q3", "bo@example.org", 1);
  invoice.mail.text = "The café pays. Cafe\u0301 too.";
  invoice.isRead = true;
  store.insert({invoice, record(2, "Inventory", "Zoë@example.org", 2)}, "a", "INBOX");
  store.insert({record(1, "To Bo", "ana@example.org", 3)}, "a", "Sent");
  store.insert({record(1, "Invoice q3", "bo@example.org", 4)}, "b", "INBOX");

  struct Case {
    MailQuery query;
    std::vector<std::string> found;
  };
  const Case cases[] = {
      {{}, {"Invoice q3", "To Bo", "Inventory", "Invoice Q3"}},
      {{.limit = 2, .offset = 1}, {"To Bo", "Inventory"}},
      {{.limit = 0}, {}},
      {{.limit = static_cast<std::size_t>(-1), .offset = 3}, {"Invoice Q3"}},
      {{.accountID = "a"}, {"To Bo", "Inventory", "Invoice Q3"}},
      {{.accountID = "' OR 1 --"}, {}},
      {{.folder = "INBOX"}, {"Invoice q3", "Inventory", "Invoice Q3"}},
      {{.role = inbox}, {"Inventory", "Invoice Q3"}},
      {{.accountID = "b", .role = sent}, {"Invoice q3"}},
      {{.unreadOnly = true}, {"Invoice q3", "To Bo", "Inventory"}},
      {{.accountID = "a", .folder = "INBOX", .role = inbox, .unreadOnly = true, .words = "inv"}, {"Inventory"}},
      {{.words = "inv \"q3"}, {"Invoice q3", "Invoice Q3"}},
      {{.words = "CAFE"}, {"Invoice Q3"}},
      {{.words = "caf\u00E9"}, {"Invoice Q3"}},
      {{.words = "zoe"}, {"Inventory"}},
      {{.words = "bo@exam"}, {"Invoice q3", "Invoice Q3"}},
      {{.words = "inv voice"}, {}},
      {{.words = " \t\u00A0 "}, {"Invoice q3", "To Bo", "Inventory", "Invoice Q3"}},
      {{.words = "inv - \" \xFF q3"}, {"Invoice q3", "Invoice Q3"}},  // marks alone say nothing
      {{.words = "\""}, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE("words: " + c.query.words + ", account: " + c.query.accountID.value_or("any"));
    EXPECT_EQ(subjects(store.messages(c.query)), c.found);
    const bool isWhole = c.query.limit == MailQuery().limit;
    EXPECT_TRUE(!isWhole || store.count(c.query) == c.found.size());
  }
}

TEST(MailStore, IndexesAndShowsWhatReadersSee) {
  MailFolders mail;
  MailStore& store = test::withInbox(mail.store());
  MailRecord plain = record(1, "Rasp\u00ADberry", "x@y", 1);
  plain.mail.text = "Straw\u00ADberry and goose\u200Bberry";
  MailRecord html = record(2, "Markup", "x@y");
  html.mail.html = "<p>Use &lt;b&gt; or a &lt; b, vector&lt;int&gt; &amp;amp;</p><p hidden>blackberry</p>";
  store.insert({plain, html}, "a", "INBOX");
  for (const char* words : {"raspberry", "strawberry", "gooseberry"})
    EXPECT_EQ(store.messages({.words = words}).size(), 1u) << words;
  EXPECT_THAT(store.messages({.words = "blackberry"}), IsEmpty());
  EXPECT_EQ(store.messages({}).back().snippet, "Use <b> or a < b, vector<int> &amp;");
}

TEST(MailStore, ReadsTheLogBesideALinksTarget) {
  namespace fs = std::filesystem;
  MailFolders mail;
  test::withInbox(mail.store());
  const test::TemporaryFolder linked;
  linked.write("mail/none", "");
  fs::create_symlink(mail.file(), linked.at("mail/mail.sqlite"));
  fs::permissions(linked.at("mail"), fs::perms(0555));
  fs::permissions(fs::path(linked.path()).parent_path(), fs::perms(0755));
  fs::permissions(fs::path(mail.directory()).parent_path(), fs::perms(0755));
  fs::permissions(mail.directory() + "/mail", fs::perms(0777));
  for (const auto& file : fs::directory_iterator(mail.directory() + "/mail")) fs::permissions(file, fs::perms(0666));
  ::setfsuid(65'534);  // root may write anywhere
  const auto store = MailStore::openIfThere(linked.path());
  ::setfsuid(::geteuid());
  mail.store().insert({record(1, "new", "x@y")}, "a", "INBOX");
  EXPECT_THAT(subjects(store->messages({})), ElementsAre("new"));
  fs::permissions(linked.at("mail"), fs::perms(0755));
}

TEST(MailStore, TakesAnyWordsToLookFor) {
  EXPECT_EQ(MailStore::searchExpression("inv \"q3"), R"("inv"* "q3"*)");
  EXPECT_EQ(MailStore::searchExpression("  \n"), "");
  EXPECT_EQ(MailStore::searchExpression("\"\""), R"(""*)");

  MailFolders mail;
  std::string many;
  for (int i = 0; i < 10'000; ++i) many += "a ";
  std::vector<std::string> words = {many,
                                    std::string(10'000'000, 'a'),
                                    std::string("a\0b\0", 4),
                                    "NEAR(a b, 2)",
                                    "subject : a",
                                    "{subject body} : a",
                                    "^a",
                                    "a AND",
                                    "OR",
                                    "NOT",
                                    "a + b",
                                    "a*",
                                    "*"};
  std::mt19937 random(7);
  const std::vector<std::string_view> pieces = {"a", "\"",     "*",      "(",    ")",  "-",    "NEAR", " ",      "^",
                                                ":", "AND ",   "\xC3",   "\xFF", "\n", "\x01", "'",    "\\",     "{",
                                                "é", "\u0301", "\u2028", "+",    "?",  ";",    "--",   "subject"};
  for (int i = 0; i < 300; ++i) words.push_back(test::randomText(random, pieces, 12));
  words.push_back(std::string(2, '\0'));
  MailRecord matching = record(1, "a b near and or not subject", "x@y");
  test::withInbox(mail.store()).insert({matching}, "a", "INBOX");
  for (const std::string& each : words) {
    SCOPED_TRACE(each.substr(0, 100));
    EXPECT_LE(mail.store().messages({.words = each}).size(), 1u);
  }
}

TEST(MailStore, TellsWhoIsWaiting) {
  MailFolders mail;
  MailStore& store = mail.store();
  store.saveFolders({{"INBOX", "Inbox", inbox}, {"Sent", "Sent", sent}, {"Old", "Old", MailFolderRole::other}}, "a");
  MailRecord toBo = record(1, "To Bo", "ana@example.org");
  toBo.mail.to = {{"Bo", "BO@Example.org"}};
  toBo.mail.cc = {{"", "cy@example.org"}};
  toBo.mail.replyTo = {{"", "ana@example.org"}};
  store.insert({toBo}, "a", "Sent");
  std::vector<MailRecord> received;
  for (const char* from :
       {"bo@example.org", "Cy@example.org", "ana@example.org", "stranger@example.org", "bo@example.org"})
    received.push_back(
        record(static_cast<std::uint32_t>(received.size() + 1), from, from, static_cast<int>(received.size())));
  received[0].isRead = true;
  received[4].isRead = received[4].isFlagged = true;
  received.push_back(record(6, "again", "bo@example.org", 9));
  store.insert(received, "a", "INBOX");
  store.insert({record(1, "elsewhere", "bo@example.org", 10)}, "a", "Old");

  EXPECT_THAT(store.correspondents(), UnorderedElementsAre("bo@example.org", "cy@example.org"));
  EXPECT_THAT(subjects(store.waitingOnYou(10)), ElementsAre("again", "bo@example.org", "Cy@example.org"));
  EXPECT_THAT(subjects(store.waitingOnYou(1)), ElementsAre("again"));
}

TEST(MailStore, ChangesItsCopyAndQueuesTheChange) {
  MailFolders mail;
  MailStore& store = test::withInbox(mail.store());
  store.insert({record(1, "one", "x@y", 2), record(2, "two", "x@y", 1), record(3, "three", "x@y")}, "a", "INBOX");
  const auto list = store.messages({});
  using Kind = MailChange::Kind;
  const MailChange read{
      .accountID = "a", .folder = "INBOX", .uid = 1, .messageID = "<1@x>", .kind = Kind::read, .isOn = true};
  MailChange flagged = read;
  flagged.kind = Kind::flagged;
  MailChange move{.accountID = "a",
                  .folder = "INBOX",
                  .kind = Kind::move,
                  .target = MailFolderRole::archive,
                  .targetPath = "Old \"x\""};
  store.apply(read, list[0].id);
  store.apply(flagged, list[0].id);
  store.apply(move, list[1].id);
  for (const MailChange& change : {read, flagged, move}) store.queue(change);
  EXPECT_EQ(mail.text("SELECT json FROM changes WHERE id = 1"),
            R"({"accountID":"a","folder":"INBOX","isOn":true,"kind":"read","messageID":"<1@x>","uid":1})");

  EXPECT_THAT(subjects(store.messages({})), ElementsAre("one", "three"));
  EXPECT_TRUE(store.message(list[0].id)->summary.isRead && store.message(list[0].id)->summary.isFlagged);
  EXPECT_TRUE(mail.isSound());
  mail.run("UPDATE changes SET json = json_remove(json, '$.kind') WHERE id = 2");
  EXPECT_THAT(store.pendingChanges("a"), ElementsAre(std::pair(1, read), std::pair(3, move)));
  store.finishChange(1);
  EXPECT_THAT(store.pendingChanges("a"), ElementsAre(std::pair(3, move)));
  EXPECT_THAT(store.pendingChanges("b"), IsEmpty());

  store.updateFlags({{.uid = 1}, {.uid = 3, .isRead = true, .isFlagged = true}, {.uid = 8}}, "a", "INBOX");
  EXPECT_FALSE(store.message(list[0].id)->summary.isRead || store.message(list[0].id)->summary.isFlagged);
  EXPECT_TRUE(store.message(list[2].id)->summary.isRead && store.message(list[2].id)->summary.isFlagged);
  store.remove(std::vector<std::uint32_t>{1, 8}, "a", "INBOX");
  EXPECT_THAT(subjects(store.messages({})), ElementsAre("three"));
  EXPECT_TRUE(mail.isSound());
}

TEST(MailStore, LeavesNothingOfARemovedAccount) {
  MailFolders mail;
  MailStore& store = mail.store();
  for (const std::string id : {"a", "b"}) {
    store.save(account(id));
    store.saveFolders({{"INBOX", "Inbox", inbox}}, id);
    store.insert({record(1, "one", "x@y")}, id, "INBOX");
    store.save(MailDraft{.id = id, .accountID = id});
    store.queue({.accountID = id});
  }
  store.remove("a");
  for (const char* table : {"accounts", "folders", "messages", "message_search", "drafts", "changes"})
    EXPECT_EQ(mail.number(std::string("SELECT COUNT(*) FROM ") + table), 1) << table;
  EXPECT_THAT(store.accounts(), ElementsAre(account("b")));
  EXPECT_TRUE(mail.isSound());
}

}  // namespace
}  // namespace vesk
