#include <filesystem>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "core/base/Text.h"
#include "core/toolserver/AIActionLog.h"
#include "core/toolserver/tools/AddedEmails.h"
#include "tests/toolserver/ServedVault.h"

namespace vesk {
namespace {

namespace fs = std::filesystem;
using test::repeated;
using test::ServedVault;
using testing::HasSubstr;

class EmailNotes : public testing::Test {
 protected:
  EmailNotes() { vault.allowAll(ApprovalLevel::trusted); }

  std::string add(std::string_view id, std::string_view more = "") const {
    return vault.text("add_email", fmt::format(R"({{"id":"{}"{}}})", id, more));
  }
  // The path that add_email gave.
  std::string pathOf(const std::string& answer) const { return *Json::parse(answer).find("path")->string(); }

  std::size_t notes() const { return files.scan().notes.size(); }

  const ServedVault vault;
  const Vault files{vault.folder.path()};
  const std::string support = vault.folder.supportDirectory();
};

TEST_F(EmailNotes, HoldWhatFindsTheEmailAgain) {
  const std::string path = pathOf(add("1", R"json(,"subject":"Compost","sender":"Rui <rui@x.org>","date":"2026-11-20",
      "snippet":"Is it\nready?","link":"https://mail.x.org/#all/1(2)")json"));
  EXPECT_EQ(path, "Inbox/Compost.md");
  EXPECT_EQ(vault.folder.read(path),
            "**Rui \\<rui@x.org>**, 2026-11-20\n\n“Is it ready?”\n\n<https://mail.x.org/#all/1(2)>\n");
  EXPECT_EQ(pathOf(add("2", R"(,"subject":"Compost")")), "Inbox/Compost 2.md");
  EXPECT_EQ(pathOf(add("3", R"(,"subject":"???","snippet":"Call me")")), "Inbox/Call me.md");
  EXPECT_EQ(pathOf(add("4", R"(,"sender":"Rui")")), "Inbox/Email.md");
  EXPECT_EQ(vault.folder.read(pathOf(add("6", R"(,"subject":"Re: a/b?","date":"2026-11-20")"))),
            "**Re: a/b?**\n\n2026-11-20\n")
      << "not all of it can be the name";
  const std::string longest = pathOf(add("5", fmt::format(R"(,"snippet":"{}")", repeated("é", 300))));
  EXPECT_EQ(vault.folder.read(longest), fmt::format("“{}”\n", repeated("é", 280)));

  const std::size_t before = notes();
  const std::pair<const char*, const char*> refusals[] = {
      {R"({"subject":"x"})", "The email's id is required."},
      {R"({"id":5})", "The email's id is required."},
      {R"({"id":"9","date":"2026-11-20","subject":" \u200b"})",
       "Give the email's subject, sender, snippet or link, to find it again by."},
      {R"({"id":"9","date":"20.11.2026"})", "Dates must be written as YYYY-MM-DD."},
      {R"({"id":"9","date":"2026-02-30"})", "Dates must be written as YYYY-MM-DD."},
      {R"({"id":"9","link":"http://x.org"})", "The link must be an https address."},
      {R"({"id":"9","link":"https://x.org/> [[Plan]]"})", "The link must be an https address."},
  };
  for (const auto& [arguments, sentence] : refusals) EXPECT_EQ(vault.failure("add_email", arguments), sentence);
  EXPECT_EQ(notes(), before);
}

// What strangers write stays words.
TEST_F(EmailNotes, TakeNoStructureFromTheEmail) {
  for (const char* hostile :
       {"# Title", "---", "---\\ntitle: T\\n---", "- [ ] Pay #due/2026-12-01", "![[Plan]] [[Plan]]", "`a` #work ```",
        "> # Title", "&lt;b&gt; &#35;tag", "__a__ ~~b~~ ==c== %%d%% $e$", "https://x.org/a_b Www.x.org",
        "<script>x</script>", "* a", "1. a", "\\\\[[Plan]]", "**"}) {
    SCOPED_TRACE(hostile);
    const std::string id = fmt::to_string(notes());
    const NoteRef note =
        files.note(pathOf(add(id, fmt::format(R"(,"subject":"{0}","sender":"{0}","snippet":"{0}")", hostile))));
    EXPECT_EQ(note->title, note->fileName());
    EXPECT_TRUE(note->tags.empty() && note->links.empty() && note->tasks().empty());
    EXPECT_EQ(note->bodyLine, 0u);
    for (const std::string_view line : text::split(note->body, '\n'))
      EXPECT_TRUE(line.empty() || line.starts_with("**") || line.starts_with("“")) << line;
  }
}

// What Vesk itself doesn't read as structure, other programs do.
TEST_F(EmailNotes, EscapeWhatOtherProgramsMark) {
  const std::pair<const char*, const char*> rows[] = {
      {"_a_ ~~b~~ ==c==", "\\_a\\_ \\~\\~b\\~\\~ \\=\\=c\\=\\="},
      {"%%d%% $e$ &amp;", "\\%\\%d\\%\\% \\$e\\$ \\&amp;"},
      {"See https://x.org or WWW.x.org.", "See https\\://x.org or WWW\\.x.org."},
      {"At 9:30. Wow.", "At 9:30. Wow."},
  };
  for (const auto& [snippet, text] : rows)
    EXPECT_EQ(vault.folder.read(pathOf(add(snippet, fmt::format(R"(,"snippet":"{}")", snippet)))),
              fmt::format("“{}”\n", text));
}

TEST_F(EmailNotes, AreAddedOnce) {
  const std::string path = pathOf(add("1", R"(,"subject":"Compost")"));
  const std::size_t logged = AIActionLog(support).recent(100).size();
  const std::string again = add("1", R"(,"subject":"Other")");
  EXPECT_THAT(again, HasSubstr("This email was added before, on "));
  EXPECT_EQ(pathOf(again), path);
  fs::remove(vault.folder.at(path));
  const char* compost = R"(,"subject":"Compost")";
  EXPECT_THAT(add("1", compost), HasSubstr("Its note was moved or deleted since."));
  EXPECT_EQ(notes(), 0u);
  EXPECT_EQ(AIActionLog(support).recent(100).size(), logged);

  const auto serve = [&](const std::string& root) {
    AIAccess access = AIAccess::load(support);
    access.vaultPath = root;
    access.save(support);
  };
  const std::string other = vault.folder.at("../other");
  fs::create_directory_symlink(vault.folder.path(), other);
  serve(other);
  EXPECT_THAT(add("1", compost), HasSubstr("Its note was moved or deleted since.")) << "the same vault by another path";

  fs::remove(other);
  fs::create_directory(other);
  EXPECT_EQ(pathOf(add("1", compost)), path) << "in another vault it is new";
  const std::string moved = vault.folder.at("../moved");
  fs::rename(other, moved);
  serve(moved);
  EXPECT_THAT(add("1", compost), HasSubstr("Nothing was changed."));
}

TEST_F(EmailNotes, AreAddedOnceByManyAtOnce) {
  std::vector<std::thread> clients;
  for (int client = 0; client < 8; ++client)
    clients.emplace_back([&] {
      for (int id = 0; id < 10; ++id)
        MCPServer(support).run("add_email", {{"id", fmt::to_string(id)}, {"subject", "Compost"}});
    });
  for (std::thread& client : clients) client.join();
  EXPECT_EQ(notes(), 10u);
}

// A process may be killed at any time: before its note is made, or before it could write down that it was.
TEST_F(EmailNotes, SurviveAKilledProcess) {
  const AddedEmail begun{
      .id = "1", .day = "2026-11-20", .note = "Inbox/A.md", .vaultPath = files.root(), .isPending = true};
  const AddedEmails added(support);
  added.append(begun);
  vault.folder.write("../support/added-emails.jsonl",
                     vault.folder.read("../support/added-emails.jsonl") + "[]\n{\"id\":\"1\",\"da");
  const std::string path = pathOf(add("1", R"(,"subject":"B")"));
  EXPECT_EQ(path, "Inbox/B.md") << "it was lost";
  EXPECT_EQ(added.find("1", files)->note, path);

  AddedEmail made = begun;
  made.id = "2";
  added.append(made);
  vault.folder.write("Inbox/A.md", "");
  EXPECT_EQ(pathOf(add("2", R"(,"subject":"B")")), "Inbox/A.md");
  EXPECT_EQ(notes(), 2u);
  fs::remove(vault.folder.at("Inbox/A.md"));
  add("2", R"(,"subject":"B")");
  EXPECT_EQ(notes(), 1u) << "it was deleted, not lost";
}

}  // namespace
}  // namespace vesk
