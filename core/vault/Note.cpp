#include "core/vault/Note.h"

#include <algorithm>
#include <cstddef>

#include "core/platform/Folder.h"
#include "core/vault/MarkdownFile.h"
#include "core/vault/MarkdownScanner.h"

namespace vesk {

namespace {

std::string titleOf(const MarkdownFile& file, const Note& note) {
  if (auto title = file.value("title"); title && !title->empty()) return *title;
  if (auto heading = markdown::firstHeading(file.body); heading && !heading->empty()) return *heading;
  return std::string(note.fileName());
}

// Tags by which the planner schedules a task; they say nothing of the note.
bool isSchedulingTag(std::string_view tag) { return tag.starts_with("remind/") || tag.starts_with("at/"); }

void addTag(std::vector<std::string>& tags, std::string_view tag) {
  if (std::find(tags.begin(), tags.end(), tag) == tags.end()) tags.emplace_back(tag);
}

std::vector<std::string> tagsOf(const MarkdownFile& file) {
  std::vector<std::string> tags;
  for (const std::string& tag : file.frontmatterTags())
    if (!isSchedulingTag(tag)) addTag(tags, tag);
  if (file.body.find('#') == std::string::npos) return tags;
  // Most notes hold no code, and their text is their prose.
  const auto pieces = markdown::prosePieces(file.body);
  const std::string joined = pieces.size() > 1 ? markdown::prose(file.body) : std::string();
  const std::string_view prose = pieces.size() > 1 ? joined : pieces.empty() ? std::string_view() : pieces.front();
  for (const auto& match : markdown::inlineTags(prose))
    if (!isSchedulingTag(match.tag)) addTag(tags, match.tag);
  return tags;
}

}  // namespace

std::string_view Note::fileName() const {
  const std::string_view name = lastComponent(id);
  return name.substr(0, name.rfind('.'));
}

std::string_view Note::folderPath() const { return parentPath(id); }

std::string_view Note::preview() const { return markdown::preview(body); }

void readNoteText(Note& note, std::string_view text) {
  MarkdownFile file(text);
  note.title = titleOf(file, note);
  note.tags = tagsOf(file);
  note.links = markdown::links(file.body);
  note.isVeskPage = file.value("vesk") == "true";
  note.body = std::move(file.body);
}

}  // namespace vesk
