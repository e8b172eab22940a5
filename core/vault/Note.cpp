#include "core/vault/Note.h"

#include <algorithm>
#include <cstddef>
#include <set>
#include <unordered_set>

#include "core/base/Ascii.h"
#include "core/platform/Folder.h"
#include "core/tasks/TaskLine.h"
#include "core/vault/MarkdownScanner.h"
#include "core/vault/MarkdownView.h"

namespace vesk {

namespace {

// Tags by which the planner schedules a task; they say nothing of the note.
bool isSchedulingTag(std::string_view tag) { return tag.starts_with("remind/") || tag.starts_with("at/"); }

// Tags in the order they are seen, each once. A few are compared one by one; thousands would take too long.
class TagList {
 public:
  explicit TagList(const TagFilter& isKept) : isKept_(isKept) {}

  void add(std::string_view tag) {
    if (isSchedulingTag(tag) || (isKept_ && !isKept_(tag, tags_.size())) || !isNew(tag)) return;
    tags_.push_back(tag);
  }

  std::vector<std::string> copied() const { return {tags_.begin(), tags_.end()}; }

 private:
  static constexpr std::size_t few = 32;

  bool isNew(std::string_view tag) {
    if (tags_.size() < few) return std::ranges::count(tags_, tag) == 0;
    if (known_.empty()) known_.insert(tags_.begin(), tags_.end());
    return known_.insert(tag).second;
  }

  const TagFilter& isKept_;
  std::vector<std::string_view> tags_;
  std::unordered_set<std::string_view> known_;  // all of them, when there are more than a few
};

using Pieces = std::vector<std::string_view>;  // of one text, in order

// Whether no tag runs from one piece of prose into the next, nor is kept from being one by what ends the piece before:
// so it is where code stands between blanks or brackets.
bool standAlone(const Pieces& prose) {
  const auto endsWords = [](std::string_view piece) {
    const char last = piece.back();
    const bool isLetterOrDigit = ascii::isLetter(last) || ascii::isDigit(last);
    return ascii::isAscii(last) && !isLetterOrDigit && std::string_view("_/-#").find(last) == std::string_view::npos;
  };
  return prose.empty() || std::all_of(prose.begin(), prose.end() - 1, endsWords);
}

void addTags(std::string_view prose, TagList& tags) {
  markdown::TagScanner scanner(prose);
  while (const auto match = scanner.next()) tags.add(match->tag);
}

std::vector<std::string> tagsOf(markdown::Lines frontmatter, const Pieces& prose, const TagFilter& isKept) {
  TagList tags(isKept);
  for (const std::string_view tag : markdown::tags(frontmatter)) tags.add(tag);
  if (standAlone(prose)) {
    for (const std::string_view piece : prose) addTags(piece, tags);
    return tags.copied();
  }
  const std::string joined = markdown::joined(prose);
  addTags(joined, tags);
  return tags.copied();
}

// Tells of places in a text, asked for in order, whether they lie in the prose.
class ProseWalk {
 public:
  explicit ProseWalk(const Pieces& prose) : piece_(prose.begin()), end_(prose.end()) {}

  bool passes(const char* place) {
    while (piece_ != end_ && piece_->data() + piece_->size() <= place) ++piece_;
    return piece_ != end_ && piece_->data() <= place;
  }

 private:
  Pieces::const_iterator piece_;
  Pieces::const_iterator end_;
};

// The targets that stand outside the prose, and nowhere in it. A link stands where its brackets do, of which one or a
// blank is before the target: that itself may be written as code.
std::vector<std::string> linksOutside(const Pieces& prose, const Pieces& links) {
  std::set<std::string_view> outside;
  ProseWalk looking(prose);
  for (const std::string_view target : links)
    if (!looking.passes(target.data() - 1)) outside.insert(target);
  if (outside.empty()) return {};
  ProseWalk lookingAgain(prose);
  for (const std::string_view target : links)
    if (lookingAgain.passes(target.data() - 1)) outside.erase(target);
  return {outside.begin(), outside.end()};
}

}  // namespace

std::string_view Note::fileName() const {
  const std::string_view name = lastComponent(id);
  return name.substr(0, name.rfind('.'));
}

std::string_view Note::folderPath() const { return parentPath(id); }

std::string_view Note::preview() const { return markdown::preview(body); }

std::vector<TaskItem> Note::tasks() const { return TaskLine::tasksOfBody(body, bodyLine, {id, title, bucket}); }

std::vector<std::string> Note::openTasks() const {
  std::vector<std::string> titles;
  for (TaskItem& task : tasks())
    if (task.status != TaskStatus::done) titles.push_back(std::move(task.title));
  return titles;
}

std::size_t Note::doneTaskCount() const {
  const auto all = tasks();
  return static_cast<std::size_t>(
      std::count_if(all.begin(), all.end(), [](const TaskItem& task) { return task.status == TaskStatus::done; }));
}

std::string noteTitle(const MarkdownView& file, std::string_view fileName) {
  if (const auto title = markdown::value(file.frontmatter, "title"); title && !title->empty())
    return std::string(*title);
  if (auto heading = markdown::firstHeading(file.body); heading && !heading->empty()) return *heading;
  return std::string(fileName);
}

std::vector<std::string> noteTags(const MarkdownView& file) {
  const bool holdsTags = file.body.find('#') != std::string_view::npos;
  return tagsOf(file.frontmatter, holdsTags ? markdown::prosePieces(file.body) : Pieces(), {});
}

void readNoteText(Note& note, std::string_view text) { note.body = readNoteWithoutBody(note, text); }

std::string_view readNoteWithoutBody(Note& note, std::string_view text, const TagFilter& keptTags) {
  const MarkdownView file(text);
  const Pieces prose = markdown::prosePieces(file.body);
  note.title = noteTitle(file, note.fileName());
  note.tags = tagsOf(file.frontmatter, prose, keptTags);
  const Pieces links = markdown::links(file.body);
  note.links = PackedStrings(links);
  note.linksInCode = linksOutside(prose, links);
  note.isVeskPage = markdown::value(file.frontmatter, "vesk") == "true";
  const std::string_view above = text.substr(0, text.size() - file.body.size());
  note.bodyLine = static_cast<std::size_t>(std::count(above.begin(), above.end(), '\n'));
  return file.body;
}

}  // namespace vesk
