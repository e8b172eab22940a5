#include "core/base/Json.h"
#include "core/toolserver/AIAccess.h"
#include "core/toolserver/SupportFile.h"
#include "tests/app/VeskProgram.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk::test {

namespace {

using testing::HasSubstr;

TEST(AccessCommand, TurnsSwitchesSetsTheLevelAndKeepsWhatItDoesNotKnow) {
  const TemporaryFolder folder;
  folder.write("../support/ai-access.json", R"({"canFly": true, "vaultPath": "/notes"})");
  const AIAccess expected = {.vaultPath = "/notes",
                             .canSearch = false,
                             .canFile = true,
                             .canTrash = true,
                             .canReadEmail = true,
                             .approval = ApprovalLevel::important,
                             .allowsCodex = false};
  EXPECT_EQ(vesk({"access", "on", "canFile", "TRASH", "canreademail"}).output,
            "canFile is on now.\ncanTrash is on now.\ncanReadEmail is on now.\n");
  EXPECT_EQ(vesk({"access", "off", "search", "allowsCodex"}).exitStatus, 0);
  EXPECT_EQ(vesk({"access", "level", "important"}).output, "Level: important (Ask for important changes)\n");
  EXPECT_EQ(vesk({"access", "off", "canFile", "canFly"}).exitStatus, 2);  // one wrong name, and nothing is changed
  EXPECT_EQ(AIAccess::load(folder.supportDirectory()), expected);
  EXPECT_EQ(*supportFile::read(folder.supportDirectory(), AIAccess::fileName)->find("canFly"), Json(true));
}

TEST(AccessCommand, ListsEverySwitchForPeopleAndForPrograms) {
  const TemporaryFolder folder;
  const std::string text = vesk({"access"}).output;
  const Json json = Json::parse(vesk({"access", "--json"}).output);
  EXPECT_EQ(json.find("switches")->array()->size(), accessSwitches().size());
  for (const AccessSwitch& each : accessSwitches())
    EXPECT_THAT(text, AllOf(HasSubstr(each.name), HasSubstr(each.allows)));
  EXPECT_THAT(text, HasSubstr("\non   canSearch         Search the vault\noff  canFile           "));
  EXPECT_EQ(*json.find("level"), Json("always"));
}

}  // namespace

}  // namespace vesk::test
