#include "core/library/Library.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string>

#include <fmt/format.h>

#include "core/library/LibraryFiles.h"

namespace vesk {

namespace {

constexpr std::array<std::string_view, 4> guideIDs = {"para", "capture", "weekly-review", "layered-summaries"};
constexpr std::array<std::string_view, 5> skillIDs = {
    "vesk/weekly-review", "vesk/process-source", "vesk/prepare-meeting", "vesk/tidy-inbox", "vesk/project-summary"};

std::string_view folderOf(Language language) {
  switch (language) {
    case Language::english: return "en";
    case Language::portuguese: return "pt";
    case Language::spanish: return "es";
  }
  return {};
}

std::string_view textOf(std::string_view kind, Language language, std::string_view name) {
  const std::string path = fmt::format("{}/{}/{}.md", kind, folderOf(language), name);
  const auto files = libraryFiles();
  const auto found = std::ranges::find(files, path, &LibraryFile::path);
  if (found == files.end()) throw std::logic_error("Not compiled in: " + path);
  return found->text;
}

// Of the lines, the first is "# " and the title, the third the description of a skill.
std::string_view lineOf(std::string_view text, int number) {
  for (int i = 0; i < number; ++i) text.remove_prefix(text.find('\n') + 1);
  return text.substr(0, text.find('\n'));
}

std::string_view titleOf(std::string_view text) { return lineOf(text, 0).substr(std::string_view("# ").size()); }

}  // namespace

std::vector<Guide> guides(Language language) {
  std::vector<Guide> all;
  for (const std::string_view id : guideIDs) {
    const std::string_view text = textOf("guides", language, id);
    all.push_back({id, titleOf(text), text});
  }
  return all;
}

std::vector<Skill> builtInSkills(Language language) {
  std::vector<Skill> all;
  for (const std::string_view id : skillIDs) {
    const std::string_view text = textOf("skills", language, id.substr(id.find('/') + 1));
    all.push_back({id, titleOf(text), lineOf(text, 2), text});
  }
  return all;
}

}  // namespace vesk
