#include <cstdlib>
#include <functional>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "core/platform/FileError.h"
#include "core/sync/GitSync.h"
#include "core/sync/ICloudDrive.h"
#include "core/sync/RemoteAddress.h"
#include "core/vault/VaultError.h"
#include "tests/support/RunProgram.h"
#include "tests/support/TemporaryFolder.h"

namespace fs = std::filesystem;

namespace vesk {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Kind = GitError::Kind;

// An empty repository to sync with, and the vaults A and B.
class GitSyncTest : public testing::Test {
 protected:
  GitSyncTest() {
    ::setenv("GIT_CONFIG_NOSYSTEM", "1", 1);
    ::unsetenv("XDG_CONFIG_HOME");
    configure("[user]\nname = Ana\nemail = ana@example.org\n");
    git("", "init -q --bare -b main origin.git");
    for (const char* vault : {"A", "B"}) fs::create_directory(folder.at(vault));
  }

  void configure(const std::string& text) { folder.write("../home/.gitconfig", text); }

  // Runs git in a folder; returns what it prints. `line` is for a shell.
  std::string git(const std::string& where, const std::string& line) const {
    const std::string script = fmt::format("cd '{}' && env -u GIT_DIR git {} 2>&1", folder.at(where), line);
    return test::runProgram({"/bin/sh", "-c", script}).output;
  }

  GitSync vault(const std::string& name, const GitProgram& program = {}) const {
    return GitSync(folder.at(name), program);
  }

  // A vault with a note, in step with the empty repository.
  GitSync connected(const std::string& name) const {
    GitSync sync = vault(name);
    sync.connect(folder.at("origin.git"));
    sync.sync();
    return sync;
  }

  // A git of ours, made of a shell script.
  GitProgram program(const std::string& script, std::chrono::milliseconds timeout = 60s) const {
    folder.write("git.sh", "#!/bin/sh\n" + script);
    fs::permissions(folder.at("git.sh"), fs::perms::owner_all);
    return {.executable = folder.at("git.sh"), .timeout = timeout};
  }

  const test::TemporaryFolder folder;
};

std::optional<Kind> refusal(const std::function<void()>& action, std::string* text = nullptr) {
  try {
    action();
  } catch (const GitError& error) {
    if (text) *text = error.what();
    return error.kind();
  }
  return std::nullopt;
}

TEST_F(GitSyncTest, CommitsPullsAndPushes) {
  const GitSync a = vault("A");
  EXPECT_EQ(a.status(), GitStatus{});
  a.connect(" " + folder.at("elsewhere.git") + " ");
  a.connect(folder.at("origin.git"));
  EXPECT_EQ(a.remote(), folder.at("origin.git"));
  EXPECT_EQ(folder.read("A/.gitignore"), ".DS_Store\n.trash/\n.obsidian/workspace*\n");
  EXPECT_TRUE(a.history(5).empty());
  EXPECT_EQ(a.sync(), (SyncResult{.committed = 1, .pushed = true})) << "the remote is empty";
  EXPECT_EQ(a.sync(), (SyncResult{.pulled = true, .pushed = true}));
  EXPECT_EQ(git("A", "rev-parse --abbrev-ref '@{u}'"), "origin/main\n");

  // As git writes them in its lists, these names are quoted or look like options.
  const std::string longName(200, 'n');
  for (const std::string_view name : {"-rf", "line\nbreak.md", "\"quoted\" é.md", longName.c_str()})
    folder.write(fmt::format("A/{}", name), "text");
  folder.write("A/New/1.md", ""), folder.write("A/New/2.md", "");
  git("A", "mv .gitignore moved");
  EXPECT_EQ(a.pendingChanges(), 6u);
  EXPECT_EQ(a.sync(), (SyncResult{.committed = 7, .pulled = true, .pushed = true}));
  const auto commits = a.history(10);
  ASSERT_EQ(commits.size(), 2u);
  EXPECT_EQ(commits[0].message, "Update 7 notes");
  EXPECT_EQ(commits[1].message, "Update 1 note");
  EXPECT_EQ(commits[0].hash + "\n", git("A", "rev-parse --short HEAD"));
  EXPECT_GT(commits[0].date, *time::parseIso8601("2024-01-01T00:00:00Z"));

  git("", "clone -q origin.git C");
  folder.write("C/Note.md", "from C");
  vault("C").sync();
  folder.write("A/New/1.md", "changed");
  git("A", "fetch -q");
  GitStatus status = {
      .isRepository = true, .remote = a.remote(), .branch = "main", .pendingChanges = 1, .ahead = 0, .behind = 1};
  EXPECT_EQ(a.status(), status);
  a.sync();
  EXPECT_EQ(folder.read("A/Note.md"), "from C");
  EXPECT_EQ(git("A", "status -sb"), "## main...origin/main\n");
  EXPECT_EQ(git("A", "log --merges"), "") << "one line of history";
}

TEST_F(GitSyncTest, KeepsBothSidesOfAConflict) {
  folder.write("A/Plan.md", "one\n");
  const GitSync a = connected("A");
  git("", "clone -q origin.git C");
  folder.write("A/Plan.md", "two, A\n");
  a.sync();
  folder.write("C/Plan.md", "two, C\n");
  std::string text;
  EXPECT_EQ(refusal([&] { vault("C").sync(); }, &text), Kind::conflict);
  EXPECT_EQ(text, "The same notes changed in two places. Nothing was lost, but this needs fixing in Git.");
  EXPECT_THAT(folder.read("C/Plan.md"), AllOf(HasSubstr("two, A"), HasSubstr("two, C")));
  const auto before = test::contentsOf(folder.at("C"));
  EXPECT_EQ(refusal([&] { vault("C").sync(); }), Kind::conflict);
  EXPECT_EQ(vault("C").status().unfinished, "rebase");
  EXPECT_TRUE(vault("C").status().hasConflicts);
  EXPECT_TRUE(test::contentsOf(folder.at("C")) == before);

  folder.write("C/Plan.md", "both\n");
  git("C", "add -A"), git("C", "-c core.editor=true rebase --continue");
  EXPECT_EQ(vault("C").sync(), (SyncResult{.pulled = true, .pushed = true}));
  a.sync();
  EXPECT_EQ(folder.read("A/Plan.md"), "both\n");
}

// A note that is written between the commit and the rebase, and one that is while the rebase goes on.
TEST_F(GitSyncTest, TakesInWhatIsWrittenMeanwhile) {
  const GitSync a = connected("A");
  git("", "clone -q origin.git C");
  folder.write("C/Note.md", "first\n");
  vault("C").sync();
  folder.write("A/a.md", "from A");
  a.sync();

  folder.write("C/c.md", "from C");
  folder.write("C/.git/hooks/post-checkout", "#!/bin/sh\necho third >>.gitignore; rm \"$0\"");
  fs::permissions(folder.at("C/.git/hooks/post-checkout"), fs::perms::owner_all);
  const GitProgram written = program(
      "case \"$*\" in *'rebase -q'*) [ -e \"$0.once\" ] || echo second >>\"$2/Note.md\"; "
      ">\"$0.once\";; esac; exec git \"$@\"");
  EXPECT_EQ(vault("C", written).sync().committed, 3u);
  EXPECT_EQ(git("origin.git", "show main:Note.md main:a.md main:c.md"), "first\nsecond\nfrom Afrom C");
  EXPECT_THAT(git("origin.git", "show main:.gitignore"), EndsWith("\nthird\n"));
  EXPECT_EQ(git("C", "status -s"), "");
}

// Whatever became of the repository meanwhile, what stands in the vault stays.
TEST_F(GitSyncTest, KeepsEveryNote) {
  const GitSync a = connected("A");
  for (const char* note : {"one", "two"}) {
    folder.write(fmt::format("A/{}.md", note), note);
    a.sync();
  }
  git("origin.git", "update-ref refs/heads/main main~1");  // a backup was restored
  folder.write("A/three.md", "three");
  a.sync();
  EXPECT_EQ(git("origin.git", "ls-tree --name-only main"), ".gitignore\none.md\nthree.md\ntwo.md\n");

  // A merge made by hand, with a note that was written in it.
  const GitSync b = vault("B");
  b.connect(folder.at("origin.git"));
  folder.write("B/b.md", "b");
  b.sync(true);
  folder.write("A/a.md", "a");
  git("A", "add -A && git commit -q -m a && git fetch -q && git merge -q --no-commit origin/main");
  folder.write("A/merged.md", "merged");
  git("A", "add -A && git commit -q -m merged");
  folder.write("B/b.md", "b again");
  b.sync();
  a.sync();
  EXPECT_EQ(folder.read("A/merged.md") + folder.read("A/a.md") + folder.read("A/b.md"), "mergedab again");

  // What Git ignores here, and the repository holds.
  folder.write("A/.gitignore", "Private\n");
  a.sync();
  b.sync();
  folder.write("B/.gitignore", "");
  folder.write("B/Private/d.md", "theirs");
  b.sync();
  folder.write("A/Private/d.md", "mine");
  std::string text;
  EXPECT_EQ(refusal([&] { a.sync(); }, &text), Kind::failed);
  EXPECT_THAT(text,
              StartsWith("The repository holds Private/d.md, and here Git ignores Private/d.md, which would be lost."));
  EXPECT_EQ(folder.read("A/Private/d.md"), "mine");
  fs::remove_all(folder.at("A/Private"));
  folder.write("A/Private", "mine");
  EXPECT_EQ(refusal([&] { a.sync(); }, &text), Kind::failed);
  EXPECT_THAT(text, HasSubstr("here Git ignores Private, which"));
}

// Git takes in no more of a repository within the vault than the name of its last commit.
TEST_F(GitSyncTest, LeavesNoFolderOutUnsaid) {
  const GitSync a = connected("A");
  folder.write("A/Work/App/Note.md", "text");
  folder.write("A/Note.md", "text");
  git("A/Work/App", "init -q");
  std::string text;
  EXPECT_EQ(refusal([&] { a.sync(); }, &text), Kind::failed);
  EXPECT_THAT(text, HasSubstr("'Work/App/' does not have a commit")) << "in Git's words, as Git refuses";
  git("A/Work/App", "add -A && git commit -qm App");
  EXPECT_EQ(refusal([&] { a.sync(); }, &text), Kind::failed);
  EXPECT_THAT(text, StartsWith("Work/App is a Git repository of its own"));

  folder.write("A/.gitignore", "/Work/App/\n");
  EXPECT_EQ(a.sync().committed, 2u);
  fs::remove(folder.at("A/.gitignore")), fs::remove_all(folder.at("A/Work/App/.git"));
  EXPECT_EQ(a.sync().committed, 2u);
  EXPECT_EQ(git("origin.git", "show main:Work/App/Note.md"), "text");

  // A submodule is committed by hand.
  git("A", "-c protocol.file.allow=always submodule add -q ../origin.git Sub && git commit -qm Sub");
  EXPECT_EQ(a.sync(), (SyncResult{.pulled = true, .pushed = true}));
}

TEST_F(GitSyncTest, MergesUnrelatedHistoriesWhenAllowedTo) {
  folder.write("A/Note.md", "from A");
  connected("A");
  configure("");  // and nobody is known to git
  folder.write("B/Other.md", "from B");
  folder.write("B/.gitignore", ".DS_Store\n.trash/\n.obsidian/workspace*\n");
  const GitSync b = vault("B");
  b.connect(folder.at("origin.git"));
  EXPECT_EQ(b.sync(true), (SyncResult{.committed = 2, .pulled = true, .pushed = true}));
  EXPECT_EQ(folder.read("B/Note.md"), "from A");
  EXPECT_EQ(git("B", "log -1 --format='%an <%ae>' Other.md"), "Vesk <vesk@localhost>\n");
  // The same when commits have to be made anew on top of others.
  folder.write("B/Other.md", "more"), folder.write("A/Note.md", "more");
  vault("A").sync();
  EXPECT_EQ(b.sync(), (SyncResult{.committed = 1, .pulled = true, .pushed = true}));
}

TEST_F(GitSyncTest, TouchesNothingWhileTheRepositoryIsNotReady) {
  folder.write("A/Plan.md", "one\n");
  connected("A");
  git("A", "checkout -q -b side"), folder.write("A/Plan.md", "side\n"), git("A", "commit -qam side");
  git("A", "checkout -q main"), folder.write("A/Plan.md", "main\n"), git("A", "commit -qam main");
  struct Case {
    const char* commands;
    Kind kind;
    const char* says;
    const char* unfinished = "";
  };
  const Case cases[] = {
      {"git merge side", Kind::conflict, "Nothing was lost", "merge"},
      {"git merge -s ours --no-commit side", Kind::conflict, "Nothing was lost", "merge"},
      {"git cherry-pick side", Kind::conflict, "Nothing was lost", "cherry-pick"},
      {"git revert HEAD~1", Kind::conflict, "Nothing was lost", "revert"},
      {"git revert HEAD~1 HEAD; git rm -qf Plan.md; git commit -qm x", Kind::conflict, "Nothing was lost", "revert"},
      {"git rebase side", Kind::conflict, "Nothing was lost", "rebase"},
      {"git format-patch -q -1 side; git am *.patch", Kind::conflict, "Nothing was lost", "am"},
      {"git rebase side; touch .git/index.lock", Kind::failed, "/.git/index.lock and sync again."},
      {"git merge side; rm .git/MERGE_*", Kind::conflict, "Nothing was lost"},  // only the index knows
      {"git checkout -q --detach", Kind::failed, "No branch is checked out"},
      {"touch .git/index.lock", Kind::failed, "/.git/index.lock and sync again."},
      {"git config core.bare true", Kind::failed, "work tree"},
      {"rm .git/HEAD", Kind::failed, "not a git repository"},
      {"rm -r .git && git -C .. init -q", Kind::failed, "isn't connected"},
      {"rm -r .git && mkdir .git && git -C .. init -q", Kind::failed, "not a git repository"},
      {"mv .git ../gone && echo 'gitdir: nowhere' > .git", Kind::failed, "not a git repository"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.commands);
    git("", "init -q && rm -rf .git X && cp -a A X && cd X && " + std::string(c.commands));
    folder.write("X/New.md", "not to be staged");
    const auto before = test::contentsOf(folder.at("X"));
    std::string text;
    EXPECT_EQ(refusal([&] { vault("X").sync(); }, &text), c.kind);
    EXPECT_THAT(text, HasSubstr(c.says));
    EXPECT_TRUE(test::contentsOf(folder.at("X")) == before);
    EXPECT_EQ(c.kind == Kind::conflict ? vault("X").status().unfinished : "", c.unfinished);
  }
}

TEST_F(GitSyncTest, SaysWhatGitSaysWithoutCredentials) {
  folder.write("A/Note.md", "");
  const GitSync a = connected("A");
  std::string text;
  git("A", "remote set-url origin 'https://ana:s3cret/x@localhost:1/notes.git'");
  EXPECT_EQ(a.status().remote, "https://…@localhost:1/notes.git");
  EXPECT_EQ(refusal([&] { a.sync(); }, &text), Kind::failed);
  EXPECT_THAT(text, AllOf(HasSubstr("://…@localhost"), Not(HasSubstr("s3cret")), Not(HasSubstr("ana:"))));
  for (const auto& [said, shown] : {std::pair("a 'ssh://git@h:1/x' b", "a 'ssh://git@h:1/x' b"),
                                    {"https://TOKEN@h\tx", "https://…@h\tx"},
                                    {"file:///a@b //x:y@", "file:///a@b //…@"}})
    EXPECT_EQ(remoteAddress::withoutCredentials(said), shown);

  // A hook that fails is git's own failure; it sees none of this process's repository and keys.
  ::setenv("GIT_DIR", folder.at("origin.git").c_str(), 1);
  ::setenv("GIT_INDEX_FILE", "/nowhere", 1);
  ::setenv("OPENAI_API_KEY", "s3cret", 1);
  ::setenv("LC_ALL", "de_DE.UTF-8", 1);
  folder.write("A/.git/hooks/pre-commit", "#!/bin/sh\nenv; printf 'caf\\351 https://a:b@c\\n'; (: </dev/tty); exit 1");
  fs::permissions(folder.at("A/.git/hooks/pre-commit"), fs::perms::owner_all);
  folder.write("A/Note.md", "changed");
  EXPECT_EQ(refusal([&] { a.sync(); }, &text), Kind::failed);
  for (const char* variable : {"GIT_DIR", "GIT_INDEX_FILE", "OPENAI_API_KEY", "LC_ALL"}) ::unsetenv(variable);
  EXPECT_THAT(text, AllOf(HasSubstr("LC_ALL=C\n"), HasSubstr("GIT_TERMINAL_PROMPT=0\n"), HasSubstr("BatchMode"),
                          HasSubstr("PATH=/usr/lib/git-core:/opt/homebrew/bin:"), HasSubstr("caf\uFFFD https://…@c"),
                          HasSubstr("No such device"), Not(HasSubstr("s3cret")), Not(HasSubstr("origin.git"))));
  EXPECT_EQ(git("A", "diff --cached --name-only"), "Note.md\n") << "for the next sync";
}

TEST_F(GitSyncTest, OutlivesAnyGit) {
  fs::create_directory(folder.at("A/.git"));
  const auto textOf = [&](const GitProgram& program) {
    std::string text;
    EXPECT_EQ(refusal([&] { vault("A", program).sync(); }, &text), Kind::failed);
    return text;
  };
  EXPECT_THAT(textOf(program("echo waiting >&2; sleep 300", 500ms)), StartsWith("Git didn't finish within 1 seconds"));
  EXPECT_EQ(textOf(program("head -c 3000000 /dev/zero | tr '\\0' '\\n'; head -c 100000000 /dev/zero >&2; exit 1")),
            "Git failed with exit status 1.");
  EXPECT_THAT(textOf(program("seq 200000 >&2; echo fatal: last >&2; exit 1")),
              AllOf(StartsWith("…\n198833\n"), EndsWith("200000\nfatal: last")));
  EXPECT_EQ(textOf(program("(sleep 300) & echo fatal: early; exit 128")), "fatal: early");
  EXPECT_THAT(textOf(program("read answer </dev/tty || exit 5")), HasSubstr("/dev/tty"));
  EXPECT_EQ(textOf(program("kill -9 $$")), "Git was ended by signal 9.");
  EXPECT_THROW(vault("A", {.executable = folder.at("missing")}).sync(), FileError);
}

TEST_F(GitSyncTest, LetsOnlySafeAddressesReachGit) {
  const char* safe[] = {"git@github.com:ana/notes.git",
                        "  ssh://git@host:22/~ana/notes  ",
                        "ssh://host/a-b/-c",
                        "https://github.com/ana/notes.git",
                        "/srv/my notes.git",
                        "file:///srv/my notes"};
  for (const char* address : safe) EXPECT_TRUE(GitSync::isSafe(address)) << address;
  std::vector<std::string> unsafe = {
      "",          "notes",       "./x",           "http://h/x",      "HTTPS://h/x",  "Ssh://h/x",     "git://h/x",
      "-x",        "~/x",         "https://u@h/x", "https://u:p@h/x", "https://h/@x", "https://h/a b", "ssh://u:p@h/x",
      "git@h:a b", "ssh://h/a b", "ext::sh -c x",  "fd::7",           "file::/x",     "\thttps://h/x"};
  // Everything that could be an option, a line of its own or a command, in every place of an address.
  for (const char* start : {"git@", "git@h:", "ssh://", "ssh://u@", "ssh://h:", "ssh://[", "https://", "file://"})
    for (const char* trick : {"-oProxyCommand=touch${IFS}canary", "--upload-pack=touch${IFS}canary", "-x\n", "h/\n",
                              "h\r/", "h/\x7f", "\x1bh", "\th", "-"})
      unsafe.push_back(fmt::format("{}{}", start, trick));
  for (const std::string& address : unsafe) {
    EXPECT_EQ(refusal([&] { vault("A").connect(address); }), Kind::unsafeRemote) << address;
    EXPECT_FALSE(folder.has("A/.git")) << address;
  }

  // What passes can only fail.
  vault("A").connect("/");
  for (const char* start : {"git@", "ssh://", "ssh://u@", "file://", "/"})
    for (const char* trick :
         {"$(touch canary)", "`touch canary`", ";touch canary", "|touch canary", "h:$(touch${IFS}canary)",
          "h/../ext::touch canary", "%2DoProxyCommand=touch${IFS}canary/x", "h:'touch${IFS}canary'"})
      if (const std::string address = fmt::format("{}{}", start, trick); GitSync::isSafe(address)) {
        vault("A").connect(address);
        EXPECT_EQ(refusal([&] { vault("A", {.timeout = 20s}).sync(); }), Kind::failed) << address;
      }
  EXPECT_FALSE(folder.has("A/canary") || folder.has("canary"));
}

TEST_F(GitSyncTest, GivesUpARepositoryOfItsOwnOnly) {
  folder.write("A/Note.md", "");
  const GitSync a = connected("A");
  git("A", "worktree add -q ../W -b other");
  folder.write("W/More.md", "");
  EXPECT_EQ(vault("W").sync(), (SyncResult{.committed = 1, .pushed = true})) << "its .git is a file";
  EXPECT_EQ(refusal([&] { vault("W").removeRepository(); }), Kind::failed);
  EXPECT_TRUE(folder.has("W/.git"));

  EXPECT_EQ(a.removeRepository(), folder.trash() + "/files/.git");
  EXPECT_FALSE(a.isRepository());
  EXPECT_TRUE(folder.has("A/Note.md") && fs::exists(folder.trash() + "/files/.git/HEAD"));
  EXPECT_EQ(refusal([&] { a.removeRepository(); }), Kind::failed);
}

TEST_F(GitSyncTest, LeavesGitForICloudDriveOrStaysWhole) {
  folder.write("A/Note.md", "");
  const GitSync a = connected("A");
  const ICloudDrive drive(folder.at("home"));
  EXPECT_THROW(drive.moveIn(a), Error);
  fs::create_directories(drive.folder() + "/A");
  EXPECT_THROW(drive.moveIn(a), VaultError) << "the name is taken";
  EXPECT_TRUE(folder.has("A/Note.md") && a.isRepository()) << "it still syncs";
  EXPECT_THROW(ICloudDrive::move(a.root(), a.root()), VaultError);

  fs::remove(drive.folder() + "/A");
  EXPECT_FALSE(drive.contains(a.root()));
  const std::string moved = drive.moveIn(a);
  EXPECT_EQ(moved, drive.folder() + "/A");
  EXPECT_TRUE(drive.contains(moved) && fs::exists(moved + "/Note.md") && !GitSync(moved).isRepository());
  fs::create_directory(drive.documents());
  EXPECT_EQ(drive.moveOut(moved), folder.at("home/Documents/A"));
  EXPECT_FALSE(drive.contains(drive.documents() + "/A"));

  folder.write("../home/Library/Mobile Documents/V/Note.md", "");
  const GitSync kept(folder.at("../home/Library/Mobile Documents/V"));
  for (const auto& step : {std::function([&] { kept.connect("/x"); }), std::function([&] { kept.sync(); })}) {
    std::string text;
    EXPECT_EQ(refusal(step, &text), Kind::failed);
    EXPECT_THAT(text, StartsWith("This vault is in iCloud Drive. Use one at a time."));
    git("../home/Library/Mobile Documents/V", "init -q");
  }
}

}  // namespace
}  // namespace vesk
