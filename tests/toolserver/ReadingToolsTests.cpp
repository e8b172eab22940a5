#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "core/base/Text.h"
#include "tests/toolserver/ServedVault.h"

namespace vesk {
namespace {

using test::ServedVault;

// Four notes, the newest first: Inbox/Ana, Projects/Site/Plan, Areas/People/Ana, Loose.
class ReadingTools : public testing::Test {
 protected:
  ReadingTools() {
    vault.note("Inbox/Ana.md", "Ring ANA tomorrow #work\n", 1'700'000'400);
    vault.note("Projects/Site/Plan.md",
               "---\ntitle: Launch plan\ntags: [work, site/web]\n---\nFirst line.\n\nCall [[Ana]] about the #budget.\n",
               1'700'000'300);
    vault.note("Areas/People/Ana.md", "# Ana\nHer office: see [[plan|the plan]] and [[Missing]].\n", 1'700'000'200);
    vault.note("Loose.md", "---\nvesk: true\n---\nNothing filed.\n", 1'700'000'100);
    vault.folder.write("Attachments/pump.txt", "ana");
    vault.folder.write(".hidden/Ana.md", "ana");
    vault.folder.write("AGENTS.md", "ana");
  }

  // The paths that a call lists, without their endings.
  std::string paths(std::string_view tool, std::string_view arguments) const {
    std::vector<std::string> found;
    const Json page = vault.json(tool, arguments);
    for (const Json& entry : *page.find("notes")->array())
      found.push_back(entry.find("path")->string()->substr(0, entry.find("path")->string()->size() - 3));
    return text::join(found, ", ");
  }

  const ServedVault vault;
};

struct Case {
  const char* arguments;
  const char* paths;
};

constexpr const char* allNotes = "Inbox/Ana, Projects/Site/Plan, Areas/People/Ana, Loose";

TEST_F(ReadingTools, SearchNotesByTitleTextAndTags) {
  const Case cases[] = {
      {R"({"query":"ana"})", "Inbox/Ana, Areas/People/Ana, Projects/Site/Plan"},  // titles first
      {R"({"query":"  LAUNCH\n"})", "Projects/Site/Plan"},
      {R"({"query":"site/w"})", "Projects/Site/Plan"},
      {R"({"query":"tomorrow #work"})", "Inbox/Ana"},
      {R"({"query":"no such words"})", ""},
      {R"({"query":"   "})", ""},
      {R"({"query":"vesk: true"})", ""},  // front matter is no text
  };
  for (const Case& c : cases) EXPECT_EQ(paths("search_notes", c.arguments), c.paths) << c.arguments;
  for (const char* arguments : {"{}", R"({"query":""})", R"({"query":7})", R"({"query":null})", R"({"query":["ana"]})"})
    EXPECT_EQ(vault.failure("search_notes", arguments), "A search query is required.");

  EXPECT_EQ(vault.json("search_notes", R"({"query":"budget","preview":true})").compact(),
            R"({"notes":[{"match":"Call [[Ana]] about the #budget.","modified":"2023-11-14T22:18:20Z",)"
            R"("path":"Projects/Site/Plan.md","preview":"First line.","role":"Projects",)"
            R"("tags":["work","site/web","budget"],"title":"Launch plan"}],"total":1})");
  EXPECT_EQ(vault.failure("search_notes", R"({"query":"a","preview":"yes"})"),
            "The argument preview must be true or false.");
}

TEST_F(ReadingTools, ListNotesByFolderAndTag) {
  const Case cases[] = {
      {"{}", allNotes},
      {R"({"folder":"Projects"})", "Projects/Site/Plan"},
      {R"({"folder":"Areas/People/"})", "Areas/People/Ana"},
      {R"({"folder":"Archive"})", ""},  // a place that isn't there yet
      {R"({"folder":"","tag":null})", allNotes},
      {R"({"tag":"work"})", "Inbox/Ana, Projects/Site/Plan"},
      {R"({"tag":"#site/web"})", "Projects/Site/Plan"},
      {R"({"tag":"site"})", ""},
      {R"({"unsorted":true})", "Inbox/Ana"},  // Vesk's own page is not waiting
      {R"({"unsorted":true,"folder":"Projects"})", ""},
      {R"({"tag":"work","folder":"Inbox","unsorted":false})", "Inbox/Ana"},
  };
  for (const Case& c : cases) EXPECT_EQ(paths("list_notes", c.arguments), c.paths) << c.arguments;
  for (const char* folder :
       {"Nowhere", "Proj", "/Projects", "projects/site", "..", "Projects/../Inbox", ".hidden", "/"})
    EXPECT_EQ(vault.failure("list_notes", fmt::format(R"({{"folder":"{}"}})", folder)),
              "That folder doesn't exist. Use list_folders to see the options.");
  EXPECT_EQ(vault.failure("list_notes", R"({"folder":["Inbox"]})"), "The argument folder must be a string.");
  EXPECT_EQ(vault.failure("list_notes", R"({"tag":5})"), "The argument tag must be a string.");
  EXPECT_EQ(vault.failure("list_notes", R"({"unsorted":"true"})"), "The argument unsorted must be true or false.");
}

TEST_F(ReadingTools, CountLimitsAndOffsets) {
  const Case cases[] = {
      {R"({"limit":2})", "Inbox/Ana, Projects/Site/Plan"},
      {R"({"limit":0})", "Inbox/Ana"},
      {R"({"limit":-3})", "Inbox/Ana"},
      {R"({"limit":"2"})", allNotes},
      {R"({"limit":2.5})", allNotes},
      {R"({"limit":true})", allNotes},
      {R"({"limit":1,"offset":1})", "Projects/Site/Plan"},
      {R"({"offset":3})", "Loose"},
      {R"({"offset":4})", ""},
      {R"({"offset":9223372036854775807,"limit":200})", ""},
      {R"({"offset":-1})", allNotes},
      {R"({"offset":"3"})", allNotes},
  };
  for (const Case& c : cases) EXPECT_EQ(paths("list_notes", c.arguments), c.paths) << c.arguments;

  for (int i = 0; i < 250; ++i) vault.folder.write(fmt::format("Inbox/{}.md", i), "Many\n");
  const std::pair<const char*, int> counts[] = {{"50", 50}, {"500", 200}, {"201", 200}, {"\"20\"", 50}, {"1e2", 50}};
  for (const auto& [limit, count] : counts) {
    const Json page = vault.json("search_notes", fmt::format(R"({{"query":"many","limit":{}}})", limit));
    EXPECT_EQ(page.find("notes")->array()->size(), static_cast<std::size_t>(count)) << limit;
  }
}

TEST_F(ReadingTools, FindNotesByPathOrTitle) {
  EXPECT_EQ(*vault.json("read_note", R"({"note":"Inbox/Ana.md"})").find("path")->string(), "Inbox/Ana.md");
  EXPECT_EQ(*vault.json("read_note", R"({"note":"Launch plan"})").find("path")->string(), "Projects/Site/Plan.md");
  const std::string longTitle(300, 'x');  // no file could have that name
  vault.folder.write("Long.md", "# " + longTitle + "\n");
  EXPECT_EQ(*vault.json("read_note", fmt::format(R"({{"note":"{}"}})", longTitle)).find("path")->string(), "Long.md");
  EXPECT_EQ(vault.failure("read_note", R"({"note":"Ana"})"),
            "Several notes match. Use one of these paths: Areas/People/Ana.md, Inbox/Ana.md");
  for (const char* note : {"ana", "Plan", "Inbox/Ana", "inbox/Ana.md", "/etc/passwd", "../support/ai-access.json",
                           ".hidden/Ana.md", "AGENTS.md", "Attachments/pump.txt"})
    EXPECT_EQ(vault.failure("read_note", fmt::format(R"({{"note":"{}"}})", note)),
              fmt::format("No note matches \"{}\"", note));
  for (const char* arguments : {"{}", R"({"note":""})", R"({"note":null})", R"({"note":["Ana"]})"})
    EXPECT_EQ(vault.failure("read_note", arguments), "A note path or title is required.");
}

TEST_F(ReadingTools, ReadANoteWithWhatLeadsThere) {
  EXPECT_EQ(vault.json("read_note", R"({"note":"Launch plan"})").compact(),
            R"({"backlinks":["Areas/People/Ana.md"],"links":["Ana"],"modified":"2023-11-14T22:18:20Z",)"
            R"("path":"Projects/Site/Plan.md","role":"Projects","tags":["work","site/web","budget"],)"
            R"("text":"First line.\n\nCall [[Ana]] about the #budget.\n","title":"Launch plan"})");
  for (const char* part : {"1", "0", "-5", "null", R"("2")"})
    EXPECT_EQ(vault.text("read_note", fmt::format(R"({{"note":"Loose","part":{}}})", part)),
              vault.text("read_note", R"({"note":"Loose"})"));
  EXPECT_EQ(vault.failure("read_note", R"({"note":"Loose","part":2})"), "This note has only 1 part.");
}

}  // namespace
}  // namespace vesk
