#include "tests/app/FakeClaude.h"

namespace vesk::test {

namespace {

using testing::AllOf;
using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

class MeetingAssistant : public WithClaude {
 protected:
  void begin() const {
    run({"meeting", "start", "Weekly sync"});
    run({"meeting", "say", "--others", "We ship on Tuesday."});
  }

  std::size_t turns() const { return folder().has("home/turns") ? folder().read("home/turns").size() / 2 : 0; }
};

constexpr const char* twoProposals =
    R"(say 'I could.\n<prop'; say 'osal skill=\"mail\">Send\u001b the deck</proposal>\n<proposal>Call Ana</proposal>')";

TEST_F(MeetingAssistant, AnswersInPrivateAndDoesNothingUnasked) {
  EXPECT_THAT(run({"meeting", "ask", "x"}).errors, HasSubstr("No meeting is being transcribed"));
  begin();
  claudeAnswers(twoProposals);
  const ProgramResult asked = run({"meeting", "ask", "What", "now?"});
  EXPECT_EQ(asked.output,
            "I could.\n\nClaude asks to: Send\uFFFD the deck  (skill: mail)\n\nClaude asks to: Call Ana\n");
  EXPECT_EQ(asked.errors, "Nothing was done: there is no terminal to say yes on.\n");
  EXPECT_THAT(prompt(), MatchesRegex("Meeting: Weekly sync\n\n<transcript>\n\\[..:..\\] Others: We ship on Tuesday.\n"
                                     "</transcript>\n\nThe user asks you privately:\nWhat now\\?"));

  // Each turn tells what is new; what was answered isn't asked again, and only a yes is carried out. What was typed
  // before the question is none.
  runAtTerminal("meeting ask More?",
                "echo y; await 1 'Yes or'; echo what; echo 'Not now'; await 3 'Yes or'; echo y; await 2 'I could'");
  EXPECT_THAT(prompt(), EndsWith("Do this now, then say in one line what happened:\nCall Ana"));
  EXPECT_THAT(fake().arguments(), IsSupersetOf({"--resume", "s-1", "bypassPermissions"}));
  EXPECT_EQ(turns(), 3U);
  EXPECT_EQ(run({"meeting", "ask", "Well?"}).output, "I could.\n");
  EXPECT_THAT(prompt(), HasSubstr("<transcript>\n(nothing new)\n</transcript>"));

  run({"access", "off", "allowsClaude"});
  EXPECT_EQ(run({"meeting", "ask", "x"}).errors,
            "vesk: Claude is turned off. Turn it on with vesk access on allowsClaude.\n");
  run({"access", "on", "allowsClaude"});

  // A conversation that Claude has forgotten is begun anew.
  claudeAnswers("echo gone >&2; exit 1");
  EXPECT_EQ(run({"meeting", "ask", "x"}).errors, "vesk: gone\n");
  claudeAnswers("say Yes.");
  EXPECT_EQ(run({"meeting", "ask", "x"}).output, "Yes.\n");
  EXPECT_THAT(prompt(), HasSubstr("We ship on Tuesday."));
}

TEST_F(MeetingAssistant, WatchesAndSpeaksUpWhenThereIsSomething) {
  begin();
  claudeAnswers(R"(case $(cat "$HOME/prompt") in *weather*) say 'It rains.';; *) say '<nothing/>';; esac)");
  RunningProgram watch(veskCommand({"meeting", "watch", "--every", "1"}), {.environment = environment()});
  ASSERT_TRUE(watch.waitForOutput("We ship on Tuesday.\n"));
  run({"meeting", "say", "Mind the weather."});
  ASSERT_TRUE(watch.waitForOutput("Me: Mind the weather.\n"));
  ASSERT_TRUE(watch.waitForOutput("Claude: It rains.\n"));
  EXPECT_THAT(prompt(), HasSubstr("Is there something useful you could do right now"));
  run({"meeting", "stop"});
  const ProgramResult ended = watch.finish();
  EXPECT_EQ(ended.exitStatus, 0);
  EXPECT_THAT(ended.output, AllOf(EndsWith("The meeting is over.\n"), Not(HasSubstr("nothing"))));
}

TEST_F(MeetingAssistant, IsAskedAndAnsweredWhileItWatches) {
  begin();
  claudeAnswers(R"(case $(cat "$HOME/prompt") in *'Do this now'*) say 'It is done.'; touch "$HOME/done";;
      *) say '<proposal>Call Ana</proposal>';; esac)");
  const std::string shown = runAtTerminal("meeting watch", R"(echo 'What now?'
      until [ -e "$HOME/done" ]; do sleep 0.3; [ -s "$HOME/turns" ] && echo y; done; sleep 1; printf '\003')");
  EXPECT_THAT(shown, AllOf(HasSubstr("Claude asks to: \x1b[1mCall Ana"), HasSubstr("Yes or Not now? (y/n)"),
                           HasSubstr("It is done.")));
  EXPECT_EQ(run({"meeting", "show"}).exitStatus, 0);
}

TEST_F(MeetingAssistant, BriefsBeforeAndSumsUpAfterwards) {
  claudeAnswers("say 'See [[Plan]].'");
  EXPECT_EQ(run({"meeting", "brief", "Weekly", "sync"}).output, "See Plan.\n");
  EXPECT_THAT(prompt(), StartsWith("The user is about to join a meeting called \"Weekly sync\"."));
  EXPECT_THAT(run({"meeting", "summary"}).errors, HasSubstr("There is no transcript in the vault."));
  begin();
  EXPECT_THAT(run({"meeting", "summary"}).errors, HasSubstr("Weekly sync is still being transcribed. Stop it first"));
  run({"meeting", "stop"});

  claudeAnswers("say 'Half a'; echo broken >&2; exit 1");
  EXPECT_EQ(run({"meeting", "summary", "weekly sync"}).exitStatus, 1);
  EXPECT_THAT(run({"meeting", "list"}).output, Not(HasSubstr("Summary")));
  claudeAnswers(R"(say '## Summary\n\nWe ship.\n\n<ta'; say 'sks>\n- [ ] Call Ana\n* Send the deck\n</tasks>')");
  const std::string shown = runAtTerminal("meeting summary", "await 1 'Yes or'; echo y");
  EXPECT_THAT(prompt(), HasSubstr("Others: We ship on Tuesday.\n</transcript>"));
  EXPECT_THAT(shown, AllOf(HasSubstr("We ship.\r\n"), HasSubstr("Summary.md"), HasSubstr("  Call Ana\r\n"),
                           Not(HasSubstr("tasks>")), HasSubstr("Added 2 tasks.")));
  EXPECT_THAT(contentsOf(folder().at("vault/Resources/Meetings")),
              Contains(testing::Pair(EndsWith(" Weekly sync - Summary.md"),
                                     MatchesRegex("---\ntags: \\[meeting\\]\n---\n## Summary\n\nWe ship.\n\n---\n\n"
                                                  "\\[\\[.* Weekly sync - Transcript\\]\\]\n"))));
  EXPECT_THAT(run({"tasks"}).output, AllOf(HasSubstr("Call Ana"), HasSubstr("Send the deck")));
  EXPECT_THAT(run({"meeting", "summary"}).errors, HasSubstr("Weekly sync has a summary: Resources/Meetings/2"));
}

}  // namespace

}  // namespace vesk::test
