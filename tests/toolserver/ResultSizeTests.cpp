#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "core/base/Text.h"
#include "core/toolserver/ToolResult.h"
#include "tests/toolserver/ServedVault.h"

namespace vesk {
namespace {

using test::repeated;
using test::ServedVault;

// Reads results as a client does that is told how to go on.
class LongResults : public testing::Test {
 protected:
  std::string textWithin(std::string_view tool, const std::string& arguments) const {
    std::string text = vault.text(tool, arguments);
    EXPECT_LE(text::unitCount(text), toolResult::maximumUnits) << tool << arguments;
    return text;
  }

  // Every value of `key` in the pages of a list, in order. `arguments` are members of an object.
  std::vector<std::string> paged(std::string_view tool, std::string_view list, std::string_view key,
                                 std::string_view arguments = R"("limit":200)") const {
    std::vector<std::string> values;
    for (;;) {
      const Json page = Json::parse(textWithin(tool, fmt::format(R"({{{},"offset":{}}})", arguments, values.size())));
      const Json::Array& entries = *page.find(list)->array();
      for (const Json& entry : entries) values.push_back(*entry.find(key)->string());
      const Json* next = page.find("next_offset");
      EXPECT_EQ(page.find("total")->integer() != static_cast<std::int64_t>(values.size()), next != nullptr);
      if (!next) return values;
      EXPECT_EQ(next->integer(), static_cast<std::int64_t>(values.size()));
      if (entries.empty() || testing::Test::HasFailure()) return values;
    }
  }

  // A note's text, read part by part.
  std::string wholeText(std::string_view note) const {
    std::string text;
    for (int part = 1;; ++part) {
      const Json result =
          Json::parse(textWithin("read_note", fmt::format(R"({{"note":{},"part":{}}})", Json(note).compact(), part)));
      text += *result.find("text")->string();
      if (!result.find("to_read_on") || testing::Test::HasFailure()) return text;
      EXPECT_TRUE(result.find("to_read_on")->string()->ends_with(fmt::format("part {} to read on.", part + 1)));
    }
  }

  const ServedVault vault;
};

TEST_F(LongResults, OfThreeThousandNotes) {
  std::vector<std::string> ids;
  for (int i = 0; i < 3000; ++i) {
    ids.push_back(fmt::format("Areas/{:04}.md", i));
    vault.note(ids.back(),
               fmt::format("# {:04} {}\n[[Hub]] {} #{}\n", i, repeated(i % 3 ? "😀" : "\\\"", 120),
                           i % 20 ? "" : "rarely", repeated("tag/", 60)),
               1'700'000'000 - i);
  }
  EXPECT_EQ(paged("list_notes", "notes", "path"), ids);
  EXPECT_EQ(paged("search_notes", "notes", "path", R"("query":"RARELY","preview":true,"limit":200)").size(), 150u);

  vault.folder.write("Hub.md", repeated("See [[A note with a name]].\n", 5000));
  const Json hub = Json::parse(textWithin("read_note", R"({"note":"Hub"})"));
  EXPECT_EQ(hub.find("links_total")->compact(), "5000");
  EXPECT_EQ(hub.find("backlinks_total")->compact(), "3000");
  EXPECT_GT(hub.find("backlinks")->array()->size(), 50u);
}

TEST_F(LongResults, OfManyTagsAndFolders) {
  std::vector<std::string> tags;
  for (int i = 0; i < 10'000; ++i) tags.push_back(fmt::format("tag{:04}-{}", i, repeated("ã", 20)));
  for (std::size_t note = 0; note < 100; ++note) {
    const auto first = tags.begin() + static_cast<std::ptrdiff_t>(note * 100);
    vault.folder.write(fmt::format("Inbox/Folder {:03}/Note.md", note), "#" + text::join({first, first + 100}, " #"));
  }
  EXPECT_EQ(paged("list_tags", "tags", "tag"), tags);
  EXPECT_EQ(paged("list_folders", "folders", "path").size(), 105u);  // and the five places

  std::string places;
  for (int i = 0; i < 2000; ++i)
    places += fmt::format(R"({{"folder":"{:04}{}","role":"Other"}},)", i, repeated("x", 90));
  places += fmt::format(R"({{"folder":"{}","role":"Inbox"}})", repeated("long ", 20'000));
  vault.folder.write(".vesk/organization.json", fmt::format(R"({{"method":"custom","places":[{}]}})", places));
  EXPECT_EQ(paged("get_organization", "places", "folder").size(), 2001u);
}

TEST_F(LongResults, OfLongNotesReadPartByPart) {
  for (const std::string& text :
       {repeated("Água, \"quotes\" and a \\ in every line; \t😀👨‍👩‍👧 e\u0301\r\n", 5'000),
        repeated(std::string("\x01\x1F\0\x7F\"", 5), 12'000), repeated("word ", 60'000), repeated("\n", 100'000),
        repeated("👩🏽‍🚀", 20'000), "a" + repeated("\u0301", 40'000), repeated("x", 29'000)}) {
    vault.folder.write("Note.md", text);
    EXPECT_TRUE(wholeText("Note") == text) << text.substr(0, 60);  // too long to print
  }
  EXPECT_FALSE(vault.json("read_note", R"({"note":"Note"})").find("part"));  // 29,000 characters are just one
}

TEST_F(LongResults, OfNamesMadeToFillThem) {
  const std::string marks = repeated("\u0301", 60'000);
  std::string deep = "Inbox";
  while (deep.size() < 3'700) deep += "/" + repeated("\x01", 200);
  std::string links;
  for (int i = 0; i < 500; ++i) links += fmt::format("[[{}]]", repeated("\x02", 100));
  for (int i = 0; i < 12; ++i)
    vault.note(fmt::format("{}/{}.md", deep, i), fmt::format("---\ntags: [\"{}\"]\ntitle: Same\n---\n{}", marks, links),
               1'700'000'000 - i);
  vault.note("Marked.md", fmt::format("# a{}\n\na{}\n", marks, marks), 1'600'000'000);

  EXPECT_EQ(paged("list_notes", "notes", "title").size(), 13u);
  EXPECT_EQ(paged("search_notes", "notes", "title", R"("query":"same","preview":true)").size(), 12u);
  EXPECT_EQ(paged("list_tags", "tags", "tag").size(), 1u);
  EXPECT_EQ(paged("list_folders", "folders", "path").back(), "Archive");
  EXPECT_EQ(wholeText(deep + "/7.md"), links);

  const std::string several = vault.failure("read_note", R"({"note":"Same"})");
  EXPECT_LE(text::unitCount(several), toolResult::maximumUnits);
  EXPECT_TRUE(several.ends_with(", and 10 more"));
  EXPECT_LE(vault.failure("read_note", fmt::format(R"({{"note":"a{}"}})", marks + marks)).size(), 3'000u);
  EXPECT_LE(vault.failure("a" + marks).size(), 3'000u);
}

}  // namespace
}  // namespace vesk
