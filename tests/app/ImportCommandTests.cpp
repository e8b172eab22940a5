#include "tests/app/VeskProgram.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk::test {

namespace {

using testing::HasSubstr;

constexpr const char* trip = R"({"uuid": "a1", "name": "Trip", "created_at": "2026-07-01T10:00:00Z",
    "chat_messages": [{"sender": "human", "text": "Where to?"}, {"sender": "assistant", "text": "Lisbon."}]})";

TEST(ImportCommand, MakesNotesOfAnExport) {
  const TemporaryFolder vault;
  vesk({"open", vault.path()});
  const auto import = [&](const std::string& file, const RunOptions& options = {}) {
    return vesk({"import", "claude", file}, options);
  };
  const std::string file = vault.at("../export/conversations.json");
  vault.write("../export/conversations.json", std::string("[") + trip + ", {\"name\": \"no id\"}]");
  EXPECT_EQ(import(vault.at("../export")).output,
            "Imported 1 chat.\n  Resources/Chats\n"
            "Left out 1 conversation:\n  Number 2 in the file: It is no conversation.\n");
  EXPECT_THAT(vault.read("Resources/Chats/2026-07-01 Trip.md"), HasSubstr("\n## Claude\n\nLisbon.\n"));
  EXPECT_THAT(import(file, {.terminalColumns = 80}).output, HasSubstr("Imported 0 chats; 1 chat imported before."));

  vault.write("../export/conversations.json", std::string("[") + trip + ", {\"uuid\": \"b2\", \"name\": \"Ha");
  const ProgramResult cutOff = import(file);
  EXPECT_EQ(cutOff.output, "Imported 0 chats; 1 chat imported before.\n");
  EXPECT_THAT(cutOff.errors, HasSubstr("ends in the middle"));
  EXPECT_EQ(cutOff.exitStatus, 1);

  EXPECT_EQ(vesk({"import", "chatgpt", file}).errors, "vesk: This file was exported from Claude, not from ChatGPT.\n");
  vault.write("../export/conversations.json", "PK\x03\x04");
  EXPECT_THAT(import(file).errors, HasSubstr("This is a ZIP archive. Unpack it"));
  EXPECT_THAT(import(vault.path()).errors, HasSubstr("/conversations.json: No such file"));
}

}  // namespace

}  // namespace vesk::test
