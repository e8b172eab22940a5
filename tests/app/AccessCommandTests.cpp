#include "core/base/Json.h"
#include "core/toolserver/AIAccess.h"
#include "core/toolserver/SupportFile.h"
#include "tests/app/VeskProgram.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk::test {

namespace {

using testing::HasSubstr;

AIAccess accessOf(const TemporaryFolder& folder) { return AIAccess::load(folder.supportDirectory()); }

TEST(AccessCommand, TurnsSwitchesAndSetsTheLevel) {
  const TemporaryFolder folder;
  AIAccess expected;
  expected.canSearch = false;
  expected.canFile = expected.canTrash = expected.canReadEmail = true;
  expected.allowsCodex = false;
  expected.approval = ApprovalLevel::important;

  const ProgramResult on = vesk({"access", "on", "canFile", "TRASH", "canreademail"});
  EXPECT_EQ(on.output, "canFile is on now.\ncanTrash is on now.\ncanReadEmail is on now.\n");
  EXPECT_EQ(vesk({"access", "off", "search", "allowsCodex"}).exitStatus, 0);
  EXPECT_EQ(vesk({"access", "level", "important"}).output, "Level: important (Ask for important changes)\n");
  EXPECT_EQ(accessOf(folder), expected);

  // One wrong name, and nothing is changed.
  EXPECT_EQ(vesk({"access", "off", "canFile", "canFly"}).exitStatus, 2);
  EXPECT_EQ(accessOf(folder), expected);
}

TEST(AccessCommand, KeepsWhatItDoesNotKnow) {
  const TemporaryFolder folder;
  folder.write("../support/ai-access.json", R"({"canFly": true, "vaultPath": "/notes", "canSync": true})");
  ASSERT_EQ(vesk({"access", "on", "canAppend"}).exitStatus, 0);
  const Json json = supportFile::read(folder.supportDirectory(), AIAccess::fileName).value();
  EXPECT_EQ(*json.find("canFly"), Json(true));
  EXPECT_EQ(*json.find("vaultPath"), Json("/notes"));
  EXPECT_EQ(*json.find("canSync"), Json(true));
  EXPECT_EQ(*json.find("canAppend"), Json(true));
}

TEST(AccessCommand, ListsEverySwitchForPeopleAndForPrograms) {
  const TemporaryFolder folder;
  const std::string text = vesk({"access"}).output;
  const Json json = Json::parse(vesk({"access", "--json"}).output);
  EXPECT_EQ(json.find("switches")->array()->size(), accessSwitches().size());
  for (const AccessSwitch& each : accessSwitches()) {
    EXPECT_THAT(text, HasSubstr(each.name));
    EXPECT_THAT(text, HasSubstr(each.allows));
  }
  EXPECT_THAT(text, HasSubstr("\non   canSearch         Search the vault\noff  canFile           "));
  EXPECT_EQ(*json.find("level"), Json("always"));
}

}  // namespace

}  // namespace vesk::test
