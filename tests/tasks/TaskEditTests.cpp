#include <algorithm>
#include <array>
#include <atomic>
#include <thread>

#include "core/tasks/TaskEdit.h"
#include "core/tasks/TaskList.h"
#include "tests/vault/VaultTesting.h"

namespace vesk {
namespace {

using namespace std::string_literals;
using test::refusal;
using testing::ThrowsMessage;

constexpr auto conflict = VaultError::Kind::conflict;

class TaskEdits : public test::VaultTest {
 protected:
  // The task of that line, as it is now.
  TaskItem task(const std::string& noteID, std::size_t line) const {
    for (TaskItem& item : TaskLine::tasks(folder.read(noteID), {.noteID = noteID}))
      if (item.line == line) return std::move(item);
    throw Error("There is no task in that line.");
  }
};

std::size_t countOf(std::string_view text, char c) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), c));
}

std::vector<std::string> namesOf(const std::vector<NoteRef>& notes) {
  std::vector<std::string> names;
  for (const NoteRef& note : notes) names.emplace_back(note->fileName());
  return names;
}

TEST_F(TaskEdits, ChangeOnlyTheTasksLine) {
  const std::string front = "---\r\ntags: [x]\r\n---\r\n- [ ] other  #dur/5 \u00A0\r\n";
  const std::array<std::string, 3> surroundings[] = {
      // before the line, behind it, and both once it is removed
      {"", "", ""},
      {"a\n", "", "a"},
      {"a\r\n", "", "a"},
      {"", "\r\n- [X]  b\t\n", "- [X]  b\t\n"},
      {front, "\r\n\r\n\xFF \t", front + "\r\n\xFF \t"},
      {"\uFEFF---\ntitle: a\n---\n\n\n", "\n\nend\n\n", "\uFEFF---\ntitle: a\n---\n\n\n\nend\n\n"},
  };
  struct Case {
    std::string line;
    TaskChange change;
    std::string written;
  };
  const Case cases[] = {
      {"  - [X]  Pay \t rent #at/08:00#due/2026-11-05", [](auto&) {}, "  - [x] Pay rent #due/2026-11-05 #at/08:00"},
      {"- [ ] Outline #status/doing #home #block/0123abcd", [](auto& edit) { edit.status = TaskStatus::done; },
       "- [x] Outline #home #block/0123abcd"},
      {"\u3000- [x] ",
       [](auto& edit) { edit = TaskEdit(*TaskLine::task("- [ ] a #status/doing #dur/5 #prio/low #at/08:00")); },
       "\u3000- [ ] a #status/doing #prio/low #dur/5 #at/08:00"},
      // Tags in a new text count, but for those whose field was changed as well.
      {"- [ ] a #due/2026-11-05 #dur/5 #at/08:00 #prio/low",
       [](auto& edit) {
         edit.text = " b\r\n #due/2026-12-01 c #dur/6 #at/09:00 #status/doing";
         edit.duration = 7;
         edit.start.reset();
       },
       "- [ ] b c #status/doing #due/2026-12-01 #prio/low #dur/7"},
      {"- [x] a", [](auto& edit) { edit.text = "b #status/doing"; }, "- [x] b"},
  };
  for (const auto& [before, after, together] : surroundings)
    for (const Case& c : cases) {
      const TextChange changed{before + c.line + after, before + c.written + after};
      SCOPED_TRACE(testing::PrintToString(changed.before));
      folder.write("List.md", changed.before);
      const std::size_t line = countOf(before, '\n');
      EXPECT_EQ(update(vault, task("List.md", line), c.change), changed);
      EXPECT_EQ(folder.read("List.md"), changed.after);
      remove(vault, task("List.md", line));
      EXPECT_EQ(folder.read("List.md"), together);
    }
}

TEST_F(TaskEdits, LeaveANoteAloneThatIsNotAsItWas) {
  const std::string text = "# List\n- [ ] Call Ana #due/2026-11-05\n- [ ] b\n";
  folder.write("Inbox/List.md", text);
  const TaskItem item = task("Inbox/List.md", 1);
  const auto files = folder.everything();
  for (const std::string& now : {"new\n" + text, "# List\n- [x] Call Ana #due/2026-11-05\n"s, "# List\n- [ ] b\n"s,
                                 "# List\n- [ ] Call Ana #due/2026-11-05\r\n"s, "# List\n"s, "# List"s, ""s}) {
    SCOPED_TRACE(testing::PrintToString(now));
    folder.write("Inbox/List.md", now);
    EXPECT_EQ(refusal([&] { update(vault, item, [](auto& edit) { edit.due.reset(); }); }), conflict);
    EXPECT_EQ(refusal([&] { remove(vault, item); }), conflict);
    EXPECT_EQ(refusal([&] { attachNote(vault, item); }), conflict);
    EXPECT_EQ(folder.read("Inbox/List.md"), now);
    EXPECT_EQ(folder.everything(), files) << "the new note is taken back";
  }
  EXPECT_TRUE(std::filesystem::exists(folder.trash() + "/files/Call Ana.md"));

  folder.write("Inbox/List.md", text);
  const TaskChange unwritable[] = {
      [](auto& edit) { edit.due = "tomorrow"; },   [](auto& edit) { edit.due = "2026-11-05\n- [x] b"; },
      [](auto& edit) { edit.reminder = "8:00"; },  [](auto& edit) { edit.duration = 10'000; },
      [](auto& edit) { edit.duration = -1; },      [](auto& edit) { edit.start = ""; },
      [](auto& edit) { edit.block = "0123ABCD"; },
  };
  for (const TaskChange& change : unwritable)
    EXPECT_THAT([&] { update(vault, item, change); }, ThrowsMessage<Error>("That can't be written in a task's line."));
  EXPECT_EQ(folder.read("Inbox/List.md"), text);
}

TEST_F(TaskEdits, GiveATaskANoteThatReadsLikeIt) {
  const std::array<std::string, 3> cases[] = {
      {"- [ ] Call Ana #home #due/2026-11-05", "Call Ana home",
       "- [ ] [[Call Ana home|Call Ana #home]] #due/2026-11-05"},
      {"- [ ] Plan", "Plan 2", "- [ ] [[Plan 2|Plan]]"},
      {"\t- [X] a [b] | c/d? #prio/low", "a b c d", "\t- [x] [[a b c d|a b c/d?]] #prio/low"},
      {"- [ ] ", "Untitled", "- [ ] [[Untitled|]]"},
  };
  folder.write("Inbox/Plan.md", "");
  for (const auto& [line, name, written] : cases) {
    SCOPED_TRACE(line);
    folder.write("Inbox/List.md", line + "\r\nend");
    const TaskItem item = task("Inbox/List.md", 0);
    EXPECT_EQ(attachNote(vault, item), "Inbox/" + name + ".md");
    EXPECT_EQ(folder.read("Inbox/" + name + ".md"), "");
    EXPECT_EQ(folder.read("Inbox/List.md"), written + "\r\nend");
    const TaskItem linked = task("Inbox/List.md", 0);
    EXPECT_EQ(linked.linkedNote, name);
    EXPECT_EQ(linked.tags, item.tags);
    EXPECT_THAT([&] { attachNote(vault, linked); }, ThrowsMessage<Error>("This task already has a note."));
    EXPECT_THAT(namesOf(vault.scan().unsorted()), testing::Not(testing::Contains(name)));
  }
  folder.write("Inbox/List.md", "- [x] See [[Lists/plan|it]], [[Untitled]]\n- [ ] .git");
  EXPECT_EQ(refusal([&] { attachNote(vault, task("Inbox/List.md", 1)); }), VaultError::Kind::invalidName);
  EXPECT_THAT(namesOf(vault.scan().unsorted()),
              testing::UnorderedElementsAre("Call Ana home", "List", "Plan 2", "Untitled", "a b c d"));
}

TEST_F(TaskEdits, AddATaskToTheEndOfItsList) {
  using Text = std::optional<std::string>;
  struct Case {
    Text list;
    const char* typed;
    Text due;
    std::string after;
  };
  const Case cases[] = {
      {{}, "\n Buy \t milk #due/2026-11-05 #home\n", {}, "- [ ] Buy milk #home #due/2026-11-05\n"},
      {"", "a #due/2026-11-05 #status/doing", "2026-12-01", "- [ ] a #status/doing #due/2026-12-01\n"},
      {"---\ntags: [x]\n---", "- [x] a", {}, "---\ntags: [x]\n---\n- [ ] - [x] a\n"},
      {"b\r\nc\n", "a", {}, "b\r\nc\n- [ ] a\r\n"},
      {"b\r\nc", "a", {}, "b\r\nc\r\n- [ ] a\r\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.after));
    if (c.list) folder.write("In/Tasks.md", *c.list);
    const AddedTask added = addTask(vault, newTask(c.typed, c.due), taskListName, "In");
    EXPECT_EQ(folder.read(added.noteID), c.after);
    EXPECT_EQ(added.noteID, "In/Tasks.md");
    EXPECT_EQ(added.madeNote, !c.list);
    EXPECT_EQ(added.change, (TextChange{c.list.value_or(""), c.after}));
    EXPECT_EQ(added.line, countOf(c.after, '\n') - 1);
  }
  EXPECT_EQ(addTask(vault, {}, "a/b", "").noteID, "a b.md");
  EXPECT_EQ(refusal([&] { addTask(vault, {}, "?", "New"); }), VaultError::Kind::invalidName);
  EXPECT_EQ(refusal([&] { addTask(vault, {}, taskListName, "../New"); }), VaultError::Kind::outsideVault);
  EXPECT_FALSE(folder.has("New"));
}

TEST_F(TaskEdits, LoseNothingToEachOther) {
  constexpr std::size_t threads = 6;
  constexpr std::size_t times = 12;
  folder.write("List.md", "- [ ] everyone's\n- [ ] 1\n- [ ] 2\n- [ ] 3\n- [ ] 4\n- [ ] 5\n- [ ] 6\n");
  std::atomic<std::size_t> shared = 0;
  std::vector<std::jthread> running;
  for (std::size_t own = 1; own <= threads; ++own)
    running.emplace_back([&, own] {
      const TaskChange more = [](TaskEdit& edit) { edit.text += "+"; };
      for (std::size_t k = 0; k < times; ++k) {
        update(vault, task("List.md", own), more);
        const TaskItem everyones = task("List.md", 0);
        if (!refusal([&] { update(vault, everyones, more); })) ++shared;
        addTask(vault, newTask("new"), "List", "");
      }
    });
  running.clear();
  EXPECT_EQ(countOf(task("List.md", 0).text, '+'), shared);
  for (std::size_t own = 1; own <= threads; ++own) EXPECT_EQ(countOf(task("List.md", own).text, '+'), times);
  EXPECT_EQ(countOf(folder.read("List.md"), '\n'), 1 + threads + threads * times);
}

TEST_F(TaskEdits, AreFoundWithoutASnapshotToo) {
  const std::pair<const char*, const char*> notes[] = {
      {"Note 2.md", "- [ ] root\r\n```\n- [ ] code\n```\n- [ ] after code #due/2026-11-05\n"},
      {"Archive.md", "---\ntitle: In the root\n---\n- [x] done #due/2026-01-01"},
      {"Inbox/Note 10.md", "# Ten\n- [ ] ten"},
      {"Inbox/note 9.md", "- [ ] nine #ai-conversation/x\n`#ai-conversation`\n"},
      {"Inbox/a#b|c (ü).md", "---\ntags: [AI-Conversation]\n---\n- [ ] odd name #due/2026-11-04"},
      {"Inbox/Chat.md", "---\ntags: ['ai-conversation']\n---\n- [ ] listed chat"},
      {"Inbox/Chat 2.md", "- [ ] tagged chat #ai-conversation"},
      {"Inbox/Bad.md", "- [ ] \xFF"},
      {"04 Archive/Old/Deep.md", "- [ ] archived"},
      {"Keep/Deep/Kept.md", "- [ ] kept"},
  };
  for (const auto& [id, text] : notes) folder.write(id, text);
  const auto tasks = [&](const TaskFilter& filter = {}) {
    TaskList list(vault, filter);
    std::vector<std::string> ids;
    for (const TaskItem& item : list.page(0, list.size())) ids.push_back(item.id());
    EXPECT_EQ(ids.size(), list.size());
    return ids;
  };
  const auto everyTask = [&] {
    TaskList list(vault, {});
    auto found = list.page(0, 100);
    auto listed = vault.scan().tasks();
    const auto byID = [](const TaskItem& a, const TaskItem& b) { return a.id() < b.id(); };
    std::sort(listed.begin(), listed.end(), byID);
    std::sort(found.begin(), found.end(), byID);
    return found == listed;
  };
  EXPECT_TRUE(everyTask());
  EXPECT_THAT(tasks(),
              testing::ElementsAre("Inbox/a#b|c (ü).md#3", "Note 2.md#4", "Inbox/note 9.md#0", "Inbox/Note 10.md#1",
                                   "Keep/Deep/Kept.md#0", "Note 2.md#0", "Archive.md#3"));
  vault.save(Organization{.method = Organization::Method::custom, .places = {{Bucket::archive, "keep"}}});
  EXPECT_THAT(tasks(), testing::Contains("04 Archive/Old/Deep.md#0"));
  EXPECT_THAT(tasks(), testing::Not(testing::Contains("Keep/Deep/Kept.md#0")));
  EXPECT_TRUE(everyTask());
  using testing::ElementsAre;
  EXPECT_THAT(tasks({.status = TaskStatus::done}), ElementsAre("Archive.md#3"));
  EXPECT_THAT(tasks({.folder = "Inbox", .dueBy = "2026-11-04"}), ElementsAre("Inbox/a#b|c (ü).md#3"));
  EXPECT_THAT(tasks({.dueBy = "2026-11-05", .openOnly = true}), ElementsAre("Inbox/a#b|c (ü).md#3", "Note 2.md#4"));
  TaskList list(vault, {});
  EXPECT_EQ(list.page(1, 2).at(0).id(), "Note 2.md#4");
  EXPECT_TRUE(list.page(100, 200).empty());
}

}  // namespace
}  // namespace vesk
