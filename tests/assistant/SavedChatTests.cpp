#include "core/assistant/SavedChat.h"
#include "tests/vault/VaultTesting.h"

namespace vesk {
namespace {

constexpr auto user = ChatSpeaker::user;
constexpr auto assistant = ChatSpeaker::assistant;

class SavedChats : public test::VaultTest {
 protected:
  std::string save() const { return saveChat(vault, chat, chatsFolder(vault), lisbon); }
  SavedChat read(const std::string& noteID) const { return SavedChat::parse(vault.read(noteID)).value(); }
  // "title (session)" of each chat found, and its note.
  std::vector<std::string> found(std::optional<ChatProvider> provider = {}) const {
    std::vector<std::string> texts;
    for (const SavedChatNote& each : savedChats(vault, provider))
      texts.push_back(each.chat.title + " (" + each.chat.session + ") " + each.noteID);
    return texts;
  }

  const Calendar lisbon{"Europe/Lisbon"};
  SavedChat chat{.provider = ChatProvider::claude,
                 .title = "Lemon / tree?",
                 .session = "6d3f-1",
                 .started = *time::parseIso8601("2026-07-01T23:30:00Z"),
                 .turns = {{user, "Where to plant it?\n- [ ] ask Ana"}, {assistant, "In the sun."}}};
};

TEST_F(SavedChats, AreNotesThatReadBack) {
  folder.write("Resources/Inks.md", "");
  const std::string noteID = save();
  EXPECT_EQ(noteID, "Resources/Chats/2026-07-02 Lemon tree.md");
  EXPECT_EQ(folder.read(noteID),
            "---\nprovider: claude\nsession: 6d3f-1\nstarted: 2026-07-01T23:30:00Z\ntags: [ai-conversation]\n---\n"
            "# Lemon / tree?\n\n## You\n\nWhere to plant it?\n- [ ] ask Ana\n\n## Claude\n\nIn the sun.\n");
  EXPECT_TRUE(vault.scan().tasks().empty());

  // What other editors do to the note stays, and does no harm.
  const std::string edited =
      "---\r\ntags: [garden, ai-conversation]\r\nprovider: claude\r\n---\r\n# Lemons\r\n"
      "My remark\r\n## you \r\n\r\nWhere?\r\nHere?";
  folder.write(noteID, edited);
  appendTurn(vault, noteID, {assistant, "There.\r\n"}, ChatProvider::claude);
  setChatSession(vault, noteID, "two");
  setChatSession(vault, noteID, "three");
  const SavedChat now{.title = "Lemons", .session = "three", .turns = {{user, "Where?\nHere?"}, {assistant, "There."}}};
  EXPECT_EQ(read(noteID), now);
  EXPECT_TRUE(folder.read(noteID).starts_with(
      "---\r\ntags: [garden, ai-conversation]\r\nprovider: claude\r\nsession: three\r\n---\r\n# Lemons\r\nMy remark"));
  EXPECT_THROW(setChatSession(vault, noteID, "--resume me"), Error);
  folder.write(noteID, "A plain note now.");
  setChatSession(vault, noteID, "four");
  EXPECT_EQ(folder.read(noteID), "A plain note now.");
}

TEST_F(SavedChats, AreFoundWhereverTheyLie) {
  folder.write("03 resources/chats/.keep", "");
  EXPECT_EQ(chatsFolder(vault), "03 resources/chats");
  save();
  chat.provider = ChatProvider::codex;
  chat.title = ".. \n\x01", chat.started = distantPast;
  vault.move(save(), "Archive/Old");
  chat.title = "Later", chat.session = "-rf", chat.started = *time::parseIso8601("2026-07-03T00:00:00Z");
  save();
  folder.write("Told.md", "---\nprovider: claude\n---\nAbout #ai-conversation");
  folder.write("Other.md", "---\nprovider: other\ntags: [ai-conversation]\n---\n");
  EXPECT_EQ(found(), (std::vector<std::string>{"Later () 03 resources/chats/2026-07-03 Later.md",
                                               "Lemon / tree? (6d3f-1) 03 resources/chats/2026-07-02 Lemon tree.md",
                                               ".. \x01 (6d3f-1) Archive/Old/Chat ...md"}));
  EXPECT_EQ(found(ChatProvider::codex).size(), 2u);
  EXPECT_EQ(chatOfSession(vault, ChatProvider::claude, "6d3f-1")->chat.title, "Lemon / tree?");
  for (const char* session : {"", "6d3f"}) EXPECT_FALSE(chatOfSession(vault, ChatProvider::claude, session));
}

// No turn passes for two, hides the next one or loses anything, whatever is said in it.
TEST(SavedChat, RoundTripsWhateverIsSaid) {
  using namespace std::string_view_literals;
  const std::vector<std::string_view> alphabet = {
      "\n",      "\n",  "\n",    " ",   "   ", "\t",  "\\",   "## You", "## Claude", "##",   "# ",
      "ChatGPT", "You", "codex", "---", "===", "```", "````", "~~~",    "`",         "<!--", "<SCRIPT>",
      "<p>",     "\r",  "\r\n",  "\f",  "- ",  "> ",  "ä",    "\xff",   "\0"sv};
  std::mt19937 random(23);
  for (int i = 0; i < 8'000; ++i) {
    SavedChat chat{.provider = chatProviders[random() % 3], .title = "T", .session = "s:1", .imported = "i_2"};
    std::string text = chat.noteText();
    for (std::size_t count = random() % 4; count > 0; --count) {
      const ChatTurn turn{random() % 2 ? user : assistant, test::randomText(random, alphabet, 12)};
      text = Vault::appended(text, ChatTurns::render(turn, chat.provider));
      chat.turns.push_back({turn.speaker, ChatTurns::kept(turn.text)});
    }
    SCOPED_TRACE(testing::PrintToString(text));
    ASSERT_EQ(SavedChat::parse(text), chat);
    ASSERT_EQ(chat.noteText(), text);
  }
}

TEST(SavedChat, KeepsWhatFollowsATurnInSight) {
  const std::pair<const char*, const char*> cases[] = {
      {"## Claude", "\\## Claude"},
      {"  ### *chatgpt* ##", "\\### *chatgpt* ##"},
      {"a\n  ## you", "a\n  \\## you"},
      {"\\## You", "\\\\## You"},
      {"You\n---", "You\n\\---"},
      {"```\n## You\n<!-- code -->", "```\n\\## You\n<!-- code -->\n```"},
      {"~~~~ c\n```\n~~~\n", "~~~~ c\n```\n~~~\n~~~~"},
      {"a\n <Script>\n<!-- b", "a\n \\<Script>\n\\<!-- b"},
      {"## Your plan\n---\n<p>\n    ## You", "## Your plan\n---\n<p>\n    ## You"},
  };
  for (const auto& [said, written] : cases)
    EXPECT_EQ(ChatTurns::render({user, said}, ChatProvider::codex), std::string("\n## You\n\n") + written + "\n");
}

}  // namespace
}  // namespace vesk
