#include <fmt/format.h>

#include "core/assistant/ConversationExport.h"
#include "core/assistant/ConversationImport.h"
#include "tests/vault/VaultTesting.h"

namespace vesk {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

// A node of ChatGPT's: a message below another.
std::string node(std::string_view id, std::string_view parent, std::string_view role, std::string_view content,
                 std::string_view more = "") {
  return fmt::format(
      R"("{0}": {{"id": "{0}", "parent": "{1}", "children": ["{0}+"],
          "message": {{"author": {{"role": "{2}", "name": "python"}}, "content": {3}{4}}}}})",
      id, parent, role, content, more);
}

std::string text(std::string_view words) {
  return fmt::format(R"({{"content_type": "text", "parts": ["{}"]}})", words);
}

// "user: text" of each turn.
std::vector<std::string> turns(const std::string& conversation) {
  std::vector<std::string> texts;
  for (const auto& [speaker, text] : ConversationExport::read(Json::parse(conversation)).turns)
    texts.push_back((speaker == ChatSpeaker::user ? "user: " : "assistant: ") + text);
  return texts;
}

TEST(ConversationExport, FollowsTheBranchOfChatGPTThatWasSeenLast) {
  const std::string conversation =
      R"({"title": null, "create_time": 1732000000.75, "id": "abc", "mapping": {)" +
      std::string(R"("root": {"message": null, "parent": null, "children": ["s"]},)") +
      node("s", "root", "system", text("")) + "," +
      node("h", "s", "user", text("hidden"), R"(, "metadata": {"is_visually_hidden_from_conversation": true})") + "," +
      node("1", "h", "user",
           R"({"content_type": "multimodal_text", "parts": [{"content_type": "image_asset_pointer"}, "Look:\n```"]})",
           R"(, "metadata": {"attachments": [{"name": "[[a]].pdf"}]})") +
      "," + node("2a", "1", "assistant", text("first try")) + "," +
      node("2", "1", "assistant", R"({"content_type": "code", "language": "unknown", "text": "a ``` b"})") + "," +
      node("3", "2", "tool", R"({"content_type": "execution_output", "text": "long"})") + "," +
      node("4", "3", "assistant", R"({"content_type": "thoughts", "thoughts": []})") + "," +
      node("5", "4", "assistant", text("Done.")) + R"(}, "current_node": "5"})";
  EXPECT_THAT(turns(conversation),
              ElementsAre("user: [image asset pointer]\n\nLook:\n```\n```\n\n[file: a .pdf]",
                          "assistant: ````\na ``` b\n````\n\n[python: execution output]\n\n[thoughts]\n\nDone."));
  const SavedChat chat = ConversationExport::read(Json::parse(conversation));
  EXPECT_EQ(chat.title, "[image asset pointer] Look: ``` ``` [file: a .pdf]");
  EXPECT_EQ(time::iso8601(chat.started), "2024-11-19T07:06:40Z");
}

TEST(ConversationExport, ReadsWhatItCanOfForeignShapes) {
  const auto chatGPT = [](const std::string& nodes, const char* current = "null") {
    return fmt::format(R"({{"id": "a", "create_time": 1e300, "mapping": {{{}}}, "current_node": {}}})", nodes, current);
  };
  const std::string hello = node("1", "none", "user", text("Hello"));
  EXPECT_THAT(turns(chatGPT(hello + "," + node("1+", "1", "assistant", text("Hi")))),
              ElementsAre("user: Hello", "assistant: Hi"));  // nothing says where it ends
  const std::string claude = R"({"uuid": "u", "chat_messages": [
      {"sender": "human", "text": "Old form", "attachments": [{"file_name": "a.txt", "extracted_content": "long"}]},
      {"sender": "assistant", "text": "all", "content": [{"type": "thinking", "thinking": "…"},
        {"type": "text", "text": "New form"}, {"type": "tool_use", "name": "web_search"}, {"type": 5}, 7]}]})";
  EXPECT_THAT(turns(claude),
              ElementsAre("user: Old form\n\n[file: a.txt]",
                          "assistant: [thinking]\n\nNew form\n\n[tool use: web search]\n\n[something unnamed]\n\n"
                          "[something unnamed]"));
  const std::pair<std::string, const char*> refused[] = {
      {"7", "It is no conversation."},
      {R"({"mapping": {}})", "It has no id by which to know it again."},
      {R"({"mapping": {}, "id": "../../x"})", "It has no id by which to know it again."},
      {R"({"mapping": [], "id": "a"})", "Its messages can't be read."},
      {chatGPT(""), "Nothing is said in it."},
      {R"({"uuid": "u", "chat_messages": {}})", "Nothing is said in it."},
      {chatGPT(node("1", "2", "user", text("a")) + "," + node("2", "1", "user", text("b")), "\"1\""),
       "Its messages go round in a circle."},
  };
  for (const auto& [json, reason] : refused) {
    try {
      turns(json);
      ADD_FAILURE() << json;
    } catch (const Error& error) {
      EXPECT_STREQ(error.what(), reason) << json;
    }
  }
}

// The elements that are told apart when the text comes in pieces of that size, and whether it was whole.
std::vector<std::string> elements(std::string_view text, std::size_t size, std::size_t longest = 100) {
  JsonArrayReader reader(
      [&] {
        const std::string_view piece = text.substr(0, size);
        text.remove_prefix(piece.size());
        return piece;
      },
      longest);
  std::vector<std::string> found;
  while (const auto element = reader.next())
    found.push_back(element->isTooLong ? "too long" : std::string(element->text));
  if (!reader.isWhole()) found.emplace_back("cut off");
  return found;
}

TEST(JsonArrayReader, TellsElementsApartHoweverTheTextComes) {
  const std::pair<std::string, std::vector<std::string>> cases[] = {
      {"\uFEFF [ ] ", {}},
      {R"([1, {"a": "],}\\\"[\\"}, [[],[2]] ])", {"1", R"({"a": "],}\\\"[\\"})", "[[],[2]]"}},
      {"[1,,2]more", {"1", "", "2"}},
      {"[" + std::string(101, '1') + "," + std::string(100, '2') + "]", {"too long", std::string(100, '2')}},
      {R"([{"a": 1}, {"b": "])", {R"({"a": 1})", "cut off"}},
      {"[1, 2", {"1", "cut off"}},
      {"[1}, {]}, 2]", {"1}", "{]}", "2"}},
  };
  for (const auto& [text, expected] : cases)
    for (std::size_t size = 1; size <= text.size(); ++size)
      EXPECT_THAT(elements(text, size), ElementsAreArray(expected)) << text << " in pieces of " << size;
  for (const char* text : {"", "  ", "{}", "PK"}) EXPECT_THROW(elements(text, 2), Error) << text;
}

class ConversationImports : public test::VaultTest {
 protected:
  ConversationImport import(std::string_view file, ChatProvider provider = ChatProvider::claude) const {
    return importConversations(
        vault, provider, [&] { return std::exchange(file, {}); }, Calendar("UTC"));
  }

  static std::string conversation(std::string_view id, std::string_view title) {
    return fmt::format(R"({{"uuid": "{}", "name": "{}", "created_at": "2026-07-01T10:00:00.123456+00:00",
        "chat_messages": [{{"sender": "human", "text": "Hi"}}]}})",
                       id, title);
  }
};

TEST_F(ConversationImports, MakeANoteOfEachConversationOnce) {
  const std::string one = conversation("1", R"(../../a\u0000/b)");
  const std::string two = conversation("2", "Same");
  const ConversationImport first = import(fmt::format("[{},{},{{]}},{},7,{}", one, two, two, one));
  EXPECT_EQ(first.imported, 2u);
  EXPECT_EQ(first.alreadyThere, 1u);
  EXPECT_EQ(first.skipped, 2u);
  EXPECT_EQ(first.skips.at(0).number, 3u);
  EXPECT_EQ(first.skips.at(0).reason, "It can't be read as JSON.");
  EXPECT_TRUE(first.isCutOff);
  std::vector<std::string> notes;
  for (const NoteRef& note : vault.scan().notes) notes.push_back(note->id);
  EXPECT_THAT(notes, ElementsAre("Resources/Chats/2026-07-01 .. .. a b.md", "Resources/Chats/2026-07-01 Same.md"));

  vault.move("Resources/Chats/2026-07-01 Same.md", "Archive");
  const ConversationImport again = import(fmt::format("[{},{},{}]", one, two, conversation("3", "Same")));
  EXPECT_EQ(again.alreadyThere, 2u);
  EXPECT_EQ(again.imported, 1u);
  EXPECT_FALSE(again.isCutOff);
  EXPECT_TRUE(vault.exists("Resources/Chats/2026-07-01 Same.md"));

  const auto before = folder.contents();
  EXPECT_THROW(import(fmt::format("[{}]", one), ChatProvider::chatGPT), Error);
  EXPECT_THROW(import("{}"), Error);
  EXPECT_EQ(folder.contents(), before);
}

}  // namespace
}  // namespace vesk
