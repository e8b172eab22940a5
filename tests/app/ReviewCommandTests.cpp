#include "core/base/Json.h"
#include "core/toolserver/Proposal.h"
#include "tests/app/VeskProgram.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk::test {

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// What assistants do under approval and what they did, seen from the command line. The calls are those of `vesk call`.
class Assistants : public testing::Test {
 protected:
  Assistants() {
    vault.write("Inbox/Plan.md", "# Plan\n");
    vesk({"open", vault.path()});
    vesk({"access", "on", "append", "createNotes", "createFolders"});
  }

  ProgramResult append(const std::string& text) {
    return vesk({"call", "append_to_note", "--note", "Plan", "--text", text});
  }

  std::vector<Proposal> waiting() const { return ProposalStore(vault.supportDirectory()).all(); }

  TemporaryFolder vault;
};

// At a terminal, where the answers are typed.
std::string reviewed(const std::string& answers) {
  return runProgram({"/usr/bin/script", "-qec", VESK_BIN_DIR "/vesk review", "/dev/null"}, {.input = answers}).output;
}

TEST_F(Assistants, AreReviewedOneByOne) {
  append("\x1b[2Jfirst");
  vesk({"call", "create_note", "--title", "New", "--body", "new"});
  vesk({"call", "create_collection", "--kind", "project", "--name", "Roof"});
  EXPECT_THAT(vesk({"status"}).output, HasSubstr("3 changes for your approval: vesk review\n"));

  const std::string shown = reviewed("what?\na\nDecline\nq\n");

  EXPECT_THAT(shown, AllOf(HasSubstr("1 of 3"), HasSubstr("+ \uFFFD[2Jfirst"), HasSubstr("Approved  Add to \"Plan\""),
                           HasSubstr("Declined  Create the note \"New\""), HasSubstr("kind: project"),
                           HasSubstr("Still waiting: 1 change.")));
  EXPECT_THAT(vault.read("Inbox/Plan.md"), StartsWith("# Plan\n\x1b[2Jfirst"));
  EXPECT_FALSE(vault.has("Inbox/New.md"));
  EXPECT_EQ(waiting().size(), 1U);
}

TEST_F(Assistants, AreShownOnlyTheChangedPartOfALongNote) {
  std::string text;
  for (int line = 1; line <= 3000; ++line) text += "line " + std::to_string(line) + "\n";
  vault.write("Inbox/Plan.md", text);
  append("added");
  EXPECT_THAT(reviewed(""), AllOf(HasSubstr("…"), HasSubstr("  line 2998\r\n  line 2999\r\n  line 3000\r\n"),
                                  HasSubstr("+ added"), Not(HasSubstr("line 2997\r\n")), Not(HasSubstr("- line"))));
}

TEST_F(Assistants, AreDecidedOnByOptionsAndAConflictIsKept) {
  append("one");
  append("two");
  append("three");
  const auto proposals = waiting();
  EXPECT_THAT(vesk({"review"}).errors, HasSubstr("Use --approve ID and --decline ID"));
  for (const char* id : {"", "1", "zzzz"}) EXPECT_EQ(vesk({"review", "--approve", id}).exitStatus, 1);
  EXPECT_EQ(vesk({"review", "--approve", proposals[0].id, "--decline", proposals[0].id.substr(0, 8)}).exitStatus, 1);
  EXPECT_EQ(waiting(), proposals);

  ProgramResult result = vesk({"review", "--approve", "all", "--decline", proposals[0].id.substr(0, 8)});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.output, "Declined  Add to \"Plan\"\nApproved  Add to \"Plan\"\nApproved  Add to \"Plan\"\n");
  append("four");
  vault.write("Inbox/Plan.md", "typed meanwhile");
  result = vesk({"review", "--approve", "all"});
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.output,
            "Failed    Add to \"Plan\": "
            "The note changed since this was proposed. Decline it, or ask the assistant anew.\n");
  EXPECT_EQ(result.errors, "vesk: 1 change failed.\n");
  EXPECT_EQ(waiting().size(), 1U);
  EXPECT_EQ(vesk({"review", "--decline", "all"}).exitStatus, 0);
  EXPECT_EQ(vesk({"review"}).output, "Nothing waits for your approval.\n");
}

TEST_F(Assistants, AreUndoneWhileNothingChanged) {
  vesk({"access", "level", "trusted"});
  append("one");
  append("two");
  vesk({"call", "read_note", "--note", "Plan"});
  EXPECT_THAT(vesk({"actions"}).output, HasSubstr("  Read      Inbox/Plan.md\n"));

  const ProgramResult undone = vesk({"undo", "--last"});
  EXPECT_EQ(undone.exitStatus, 0) << undone.errors;
  EXPECT_THAT(undone.output, HasSubstr("Takes what was added off the end of Inbox/Plan.md.\n- \n- two\nUndone.\n"));
  EXPECT_THAT(vault.read("Inbox/Plan.md"), AllOf(HasSubstr("one"), Not(HasSubstr("two"))));
  const Json actions = Json::parse(vesk({"actions", "--changes", "--json"}).output);
  ASSERT_EQ(actions.find("actions")->array()->size(), 2U);
  EXPECT_EQ(*actions.find("actions")->array()->front().find("isUndone"), Json(true));

  vault.write("Inbox/Plan.md", "mine\n");
  const ProgramResult refused = vesk({"undo", "--last", "--yes"});
  EXPECT_EQ(refused.exitStatus, 1);
  EXPECT_EQ(refused.errors, "vesk: Inbox/Plan.md doesn't end any more with what was added.\n");
  EXPECT_EQ(vault.read("Inbox/Plan.md"), "mine\n");
  EXPECT_EQ(vesk({"undo"}).exitStatus, 2);
}

TEST_F(Assistants, AreCalledUnderTheUsersSwitches) {
  const auto check = [&](std::vector<std::string> arguments, int exitStatus, const char* said) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    arguments.insert(arguments.begin(), "call");
    const ProgramResult result = vesk(arguments);
    EXPECT_EQ(result.exitStatus, exitStatus);
    EXPECT_THAT(exitStatus == 0 ? result.output : result.errors, HasSubstr(said));
  };
  check({}, 0, " Add text to the end of a note.\n");
  check({"list_notes", "--help"}, 0, "--limit NUMBER\n");
  check({"trash_note", "--note", "Plan"}, 1, "vesk: Moving things to the Trash is turned off in Vesk.\n");
  check({"append_to_note", "--note", "Plan", "--text=--x"}, 0, "waiting_for_approval");
  check({"append_to_note", "--json", R"({"note":"Plan","text":"y"})"}, 0, "waiting_for_approval");
  check({"append_to_note", "--note", "Plan"}, 1, "vesk: ");
  check({"append_to_note", "--not", "Plan"}, 2, "It takes --note, --text.");
  check({"append_to_note", "Plan"}, 2, "Plan is out of place");
  check({"append_to_note", "--note"}, 2, "--note needs a value.");
  check({"append_to_note", "--note", "a", "--note", "b"}, 2, "--note is given twice.");
  check({"append_to_note", "--json", "[]"}, 2, "--json has to be an object");
  check({"list_notes", "--limit", "1x"}, 2, "--limit has to be a whole number.");
  check({"list_notes", "--limit", "1"}, 0, "Inbox/Plan.md");
  check({"no_tool"}, 2, "There is no tool no_tool.");

  vesk({"access", "level", "trusted"});
  vesk({"call", "create_note", "--title", "T", "--body", "t", "--tags", "a, b", "--tags", "c"});
  EXPECT_EQ(vault.read("Inbox/T.md"), "---\ntags: [a, b, c]\n---\nt");
}

}  // namespace

}  // namespace vesk::test
