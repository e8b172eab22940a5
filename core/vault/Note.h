#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/PackedStrings.h"
#include "core/base/Time.h"
#include "core/tasks/TaskItem.h"
#include "core/vault/Bucket.h"
#include "core/vault/MarkdownView.h"

namespace vesk {

// One Markdown file of the vault, as it was when it was scanned.
struct Note {
  std::string id = {};       // the path in the vault, with its extension: "Projects/Website/Plan.md"
  std::string url = {};      // the absolute path; empty in a survey
  std::string title = {};    // the front matter's title, else the first level-one heading, else the file's name
  std::string body = {};     // the text after the front matter
  std::size_t bodyLine = 0;  // the file's line, counted from 0, that the body begins with
  std::vector<std::string> tags = {};         // without "#", the front matter's first, each once
  PackedStrings links = {};                   // the targets of the wiki links, in order
  std::vector<std::string> linksInCode = {};  // those that stand in code only, each once, sorted
  Timestamp modified = distantPast;
  Timestamp created = distantPast;
  Bucket bucket = Bucket::other;  // the role of the top-level folder it lies under
  bool isVeskPage = false;        // made by Vesk itself (front matter "vesk: true")

  std::string_view fileName() const;    // the last component of the id, without its extension
  std::string_view folderPath() const;  // the id without its last component; "" in the root
  std::string_view preview() const;     // the first line of text

  // The task lines. Most notes hold none, so they are read from the body by those who ask.
  static bool mayHoldTasks(std::string_view text) { return text.find("- [") != text.npos; }  // false for most
  std::vector<TaskItem> tasks() const;
  std::vector<std::string> openTasks() const;  // the titles of those that aren't done
  std::size_t doneTaskCount() const;

  bool operator==(const Note&) const = default;
};

// Notes are shared by everything that holds them, never copied.
using NoteRef = std::shared_ptr<const Note>;

// The title and the tags of a file that is taken apart.
std::string noteTitle(const MarkdownView& file, std::string_view fileName);
std::vector<std::string> noteTags(const MarkdownView& file);

// Fills in what is read from a note's text: title, body, tags, links, isVeskPage. `note` knows its id.
void readNoteText(Note& note, std::string_view text);

// Says of a tag whether a note is to hold it, when it holds so many already.
using TagFilter = std::function<bool(std::string_view tag, std::size_t held)>;

// The same but for the body, which is returned: a part of `text`. An empty filter keeps every tag.
std::string_view readNoteWithoutBody(Note& note, std::string_view text, const TagFilter& keptTags = {});

}  // namespace vesk
