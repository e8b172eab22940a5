#include <filesystem>

#include "tests/app/FakeClaude.h"

namespace vesk::test {

namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;
using testing::StartsWith;

class Chats : public WithClaude {
 protected:
  // The texts of the notes in the folder of chats.
  std::vector<std::string> notes(std::string_view where = "vault/Resources/Chats") const {
    std::vector<std::string> texts;
    if (!folder().has(where)) return texts;
    for (auto& [path, text] : contentsOf(folder().at(where)))
      if (path.ends_with(".md")) texts.push_back(text);
    return texts;
  }
};

TEST_F(Chats, ShowAnAnswerAsItComesAndKeepIt) {
  claudeAnswers(R"(say 'Look'; say 'ing.\n'; use search_notes 'lemon\u001b tree'
      say 'See [[Lem'; say 'on Tree]] and [[Plan'; say '|the plan]], `[[code]]`, [[no\n\n\n```sh\nif [[ -f x ]]; then\n'
      say '```\n<propos'; say 'al>x</proposal>[['; say 'Plan]]\u001b[2J['; say '[open')");
  const ProgramResult shown = run({"chat", "Will it", "stand?"});
  EXPECT_EQ(shown.output,
            "Looking.\n\nSee Lemon Tree and the plan, `[[code]]`, [[no\n\n```sh\nif [[ -f x ]]; then\n```\n"
            "<proposal>x</proposal>Plan\uFFFD[2J[[open\n");
  EXPECT_THAT(shown.errors, AllOf(StartsWith("  search_notes  lemon\uFFFD tree\nKept in Resources/Chats/2"),
                                  EndsWith(" Will it stand.md\n")));
  EXPECT_EQ(prompt(), "Will it stand?");
  EXPECT_THAT(notes(), ElementsAre(AllOf(HasSubstr("\nsession: s-1\n"), HasSubstr("\n## You\n\nWill it stand?\n"),
                                         HasSubstr("\n## Claude\n\nLooking.\n"), HasSubstr("[[Lemon Tree]]"))));

  // It goes on wherever its note is; an imported one, and another assistant's, don't.
  std::filesystem::rename(folder().at("vault/Resources/Chats"), folder().at("vault/Old"));
  folder().write("vault/Old/Imported.md",
                 "---\nprovider: claude\nimported: i\nstarted: 2099-01-01T00:00:00Z\ntags: [ai-conversation]\n---\n");
  claudeAnswers("say Yes.");
  EXPECT_EQ(run({"chat", "--continue"}, " And\nthe wind?\n").output, "Yes.\n");
  EXPECT_EQ(prompt(), "And\nthe wind?");
  EXPECT_THAT(fake().arguments(), IsSupersetOf({"--resume", "s-1"}));
  EXPECT_THAT(notes("vault/Old"), Contains(HasSubstr("\n## You\n\nAnd\nthe wind?\n\n## Claude\n\nYes.\n")));
  EXPECT_THAT(notes(), ElementsAre());
  EXPECT_EQ(run({"chat", "--continue", "--provider", "codex", "x"}).errors,
            "vesk: There is no chat with Codex to go on with. Begin one with vesk chat.\n");
  EXPECT_EQ(run({"chat"}, " \n").errors, "vesk: Write what you want to ask.\n");
}

TEST_F(Chats, AreHeldWithWhoIsReadyAndSayWhatElseIsMissing) {
  fake().install("claude", "exit 1");
  EXPECT_EQ(run({"chat", "x"}).errors,
            "vesk: Claude isn't signed in. Run claude auth login.\n"
            "Codex isn't installed: there is no command codex. Install it, then sign in with codex login.\n");
  fake().install("codex", R"([ "$1" = login ] && exit 0
      printf '%s\n' '{"type":"thread.started","thread_id":"t-1"}' '{"type":"error","message":"Reconnecting..."}'
      . "$HOME/answer")");
  folder().write("home/answer", R"(echo '{"type":"item.completed","item":{"type":"agent_message","text":"Yes."}}')");
  EXPECT_EQ(run({"chat", "x"}).output, "Yes.\n");
  EXPECT_THAT(notes(), ElementsAre(HasSubstr("## Codex\n\nYes.\n")));

  folder().write("home/answer", R"(echo '{"type":"error","message":"No network"}'; echo 'Reading' >&2; exit 1)");
  EXPECT_THAT(run({"chat", "x"}).errors, EndsWith("vesk: No network\n"));
  run({"access", "off", "allowsCodex"});
  EXPECT_EQ(run({"chat", "x", "--provider", "codex"}).errors,
            "vesk: Codex is turned off. Turn it on with vesk access on allowsCodex.\n");
}

TEST_F(Chats, KeepWhatFailed) {
  claudeAnswers(R"(say 'As I'; event '{"type":"result","is_error":true,"result":"Not logged in · Please run /login"}'
      echo 'Some other words.' >&2; exit 1)");
  const ProgramResult failed = run({"chat", "Hello"});
  EXPECT_EQ(failed.exitStatus, 1);
  EXPECT_THAT(failed.errors, EndsWith("vesk: Not logged in · Please run /login\nTo sign in, run claude auth login.\n"));
  EXPECT_THAT(notes(), ElementsAre(HasSubstr("## Claude\n\nAs I\n\n*Failed: Not logged in")));

  fake().install("claude", R"([ "$1" = auth ] && exit 0; cat >/dev/null
      echo '{"type":"result","is_error":true,"errors":["No conversation found"]}'; exit 1)");
  EXPECT_THAT(
      run({"chat", "--continue", "x"}).errors,
      HasSubstr("vesk: No conversation found\nIf Claude doesn't know this chat any more, begin a new one with"));
}

TEST_F(Chats, AreNotBegunWithoutAPlaceToKeepThem) {
  folder().write("vault/Resources", "a file");
  EXPECT_EQ(run({"chat", "x"}).exitStatus, 1);
  EXPECT_FALSE(folder().has("home/turns"));
}

TEST_F(Chats, GoOnAtATerminalUntilTheUserLeaves) {
  // The note is moved in the second turn, and thrown away in the last.
  claudeAnswers(R"(cd "$HOME/../vault"; turn=$(wc -l <"$HOME/turns"); say "Turn $turn: "; say 'see [[Plan]]'
      case $turn in 2) mv Resources/Chats Old;; 4) rm Old/*;; esac
      if grep -q wait "$HOME/prompt"; then sleep 60; fi)");
  const std::string shown = runAtTerminal("chat", R"(
      echo Hello; await 1 Plan; printf 'two\nlines\n'; await 2 Plan; echo wait; await 3 Plan
      printf '\003'; await 1 Stopped; printf '\003'; await 2 'Ctrl-D leaves'
      head -c 5000 /dev/zero | tr '\0' x; echo; await 1 'dropped the end'; echo Last; await 4 Plan)");
  EXPECT_THAT(shown, AllOf(HasSubstr("Turn 1: see \x1b[1mPlan\x1b[0m\r\n"), HasSubstr("Turn 2: "),
                           HasSubstr("Stopped."), HasSubstr("Turn 4: "), HasSubstr("Kept in Resources/Chats/2")));
  EXPECT_THAT(notes("vault/Old"), ElementsAre());
  EXPECT_THAT(notes(), ElementsAre(AllOf(HasSubstr("## You\n\nHello\n\n## Claude\n\nTurn 1: see [[Plan]]\n"),
                                         HasSubstr("## You\n\ntwo\nlines\n\n## Claude\n\nTurn 2: see"),
                                         HasSubstr("## Claude\n\nTurn 3: see [[Plan]]\n\n*Stopped.*\n\n## You\n\nLast"),
                                         HasSubstr("Turn 4: see [[Plan]]\n"))));
}

}  // namespace

}  // namespace vesk::test
