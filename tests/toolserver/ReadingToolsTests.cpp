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
    for (const Json& entry : *page.find("notes")->array()) {
      const std::string& path = *entry.find("path")->string();
      found.push_back(path.substr(0, path.size() - 3));
    }
    return text::join(found, ", ");
  }

  const ServedVault vault;
};

TEST_F(ReadingTools, SearchNotesByTitleTextAndTags) {
  const auto check = [&](std::string_view query, std::string_view expected) {
    EXPECT_EQ(paths("search_notes", fmt::format(R"({{"query":"{}"}})", query)), expected) << query;
  };
  check("ana", "Inbox/Ana, Areas/People/Ana, Projects/Site/Plan");  // titles first
  check(R"(  LAUNCH\n)", "Projects/Site/Plan");
  check("site/w", "Projects/Site/Plan");
  check("tomorrow #work", "Inbox/Ana");
  check("   ", "");
  check("vesk: true", "");  // front matter is no text
  for (const char* arguments : {"{}", R"({"query":""})", R"({"query":7})", R"({"query":null})"})
    EXPECT_EQ(vault.failure("search_notes", arguments), "A search query is required.");
  EXPECT_EQ(vault.json("search_notes", R"({"query":"budget","preview":true})").compact(),
            R"({"notes":[{"match":"Call [[Ana]] about the #budget.","modified":"2023-11-14T22:18:20Z",)"
            R"("path":"Projects/Site/Plan.md","preview":"First line.","role":"Projects",)"
            R"("tags":["work","site/web","budget"],"title":"Launch plan"}],"total":1})");
  EXPECT_EQ(vault.failure("search_notes", R"({"query":"a","preview":"yes"})"),
            "The argument preview must be true or false.");
}

TEST_F(ReadingTools, ListNotesByFolderTagAndCount) {
  const auto check = [&](std::string_view members, std::string_view expected) {
    EXPECT_EQ(paths("list_notes", fmt::format("{{{}}}", members)), expected) << members;
  };
  check(R"("folder":"Projects")", "Projects/Site/Plan");
  check(R"("folder":"Areas/People/")", "Areas/People/Ana");
  check(R"("folder":"Archive")", "");  // a place that isn't there yet
  check(R"("tag":"work")", "Inbox/Ana, Projects/Site/Plan");
  check(R"("tag":"#site/web")", "Projects/Site/Plan");
  check(R"("tag":"site")", "");
  check(R"("unsorted":true)", "Inbox/Ana");  // Vesk's own page is not waiting
  check(R"("unsorted":true,"folder":"Projects")", "");
  check(R"("tag":"work","folder":"Inbox","unsorted":false)", "Inbox/Ana");
  check(R"("limit":0)", "Inbox/Ana");
  check(R"("limit":-3)", "Inbox/Ana");
  check(R"("limit":1,"offset":1)", "Projects/Site/Plan");
  check(R"("offset":4)", "");
  check(R"("offset":9223372036854775807,"limit":200)", "");
  for (const char* members : {"", R"("folder":"","tag":null)", R"("limit":"2")", R"("limit":2.5)", R"("limit":true)",
                              R"("offset":-1)", R"("offset":"3")"})
    check(members, "Inbox/Ana, Projects/Site/Plan, Areas/People/Ana, Loose");
  for (const char* folder : {"Nowhere", "Proj", "/Projects", "projects/site", "..", "Projects/../Inbox", ".hidden"})
    EXPECT_EQ(vault.failure("list_notes", fmt::format(R"({{"folder":"{}"}})", folder)),
              "That folder doesn't exist. Use list_folders to see the options.");
  EXPECT_EQ(vault.failure("list_notes", R"({"folder":["Inbox"]})"), "The argument folder must be a string.");
  EXPECT_EQ(vault.failure("list_notes", R"({"unsorted":"true"})"), "The argument unsorted must be true or false.");

  for (int i = 0; i < 250; ++i) vault.folder.write(fmt::format("Inbox/{}.md", i), "Many\n");
  for (const auto& [limit, count] : {std::pair("50", 50u), {"201", 200u}, {"\"20\"", 50u}, {"1e2", 100u}}) {
    const Json page = vault.json("search_notes", fmt::format(R"({{"query":"many","limit":{}}})", limit));
    EXPECT_EQ(page.find("notes")->array()->size(), count) << limit;
  }
}

TEST_F(ReadingTools, FindNotesByPathOrTitle) {
  const std::string longTitle(300, 'x');  // no file could have that name
  vault.folder.write("Long.md", "# " + longTitle + "\n");
  const std::pair<std::string, const char*> found[] = {{"Inbox/Ana.md", "Inbox/Ana.md"}, {longTitle, "Long.md"}};
  for (const auto& [note, path] : found)
    EXPECT_EQ(*vault.json("read_note", fmt::format(R"({{"note":"{}"}})", note)).find("path")->string(), path);
  EXPECT_EQ(vault.failure("read_note", R"({"note":"Ana"})"),
            "Several notes match. Use one of these paths: Areas/People/Ana.md, Inbox/Ana.md");
  for (const char* note : {"ana", "Plan", "Inbox/Ana", "inbox/Ana.md", "/etc/passwd", "../support/ai-access.json",
                           ".hidden/Ana.md", "AGENTS.md", "Attachments/pump.txt"})
    EXPECT_EQ(vault.failure("read_note", fmt::format(R"({{"note":"{}"}})", note)),
              fmt::format("No note matches \"{}\"", note));
  for (const char* arguments : {"{}", R"({"note":""})", R"({"note":["Ana"]})"})
    EXPECT_EQ(vault.failure("read_note", arguments), "A note path or title is required.");
}

TEST_F(ReadingTools, ReadANoteWithWhatLeadsThere) {
  EXPECT_EQ(vault.json("read_note", R"({"note":"Launch plan"})").compact(),
            R"({"backlinks":["Areas/People/Ana.md"],"front_matter":"title: Launch plan\ntags: [work, site/web]\n",)"
            R"("links":["Ana"],"modified":"2023-11-14T22:18:20Z","path":"Projects/Site/Plan.md","role":"Projects",)"
            R"("tags":["work","site/web","budget"],)"
            R"("text":"First line.\n\nCall [[Ana]] about the #budget.\n","title":"Launch plan"})");
  const auto part = [](const char* number) { return fmt::format(R"({{"note":"Loose","part":{}}})", number); };
  for (const char* first : {"1", "1.0", "null"}) EXPECT_NE(vault.text("read_note", part(first)), "") << first;
  for (const char* none : {"0", "-5", "1.5", R"("2")"})
    EXPECT_EQ(vault.failure("read_note", part(none)), "The argument part must be a number from 1.");
  EXPECT_EQ(vault.failure("read_note", part("2")), "This note has only 1 part.");
}

}  // namespace
}  // namespace vesk
