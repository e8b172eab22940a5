#include "core/toolserver/tools/LibraryTools.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "core/base/Text.h"
#include "core/library/Library.h"
#include "core/toolserver/ToolError.h"
#include "core/toolserver/ToolResult.h"

namespace vesk {

namespace {

constexpr std::size_t titleCharacters = 200;
constexpr std::size_t descriptionCharacters = 200;

// ---- list_skills, read_skill

// One of the user's own, or one that ships with Vesk.
struct SkillEntry {
  std::string id = {};  // the note's path, or the shipped skill's id, which is no path of a note
  std::string title = {};
  std::string_view description = {};
  std::string_view text = {};
  NoteRef note = {};  // holds the text; nullptr for what ships with Vesk
};

bool isSkillFolder(std::string_view name) {
  return text::equalIgnoringCase(name, "Skills") || text::equalIgnoringCase(name, "Habilidades");
}

// In a folder of skills at the top of the vault, or directly in a place of the resources.
bool isSkill(std::string_view path, const Organization& organization) {
  const auto folders = text::split(parentPath(path), '/');
  if (isSkillFolder(folders[0])) return true;
  return folders.size() > 1 && isSkillFolder(folders[1]) && organization.role(folders[0]) == Bucket::resources;
}

SkillEntry entryOf(const NoteRef& note) { return {note->id, note->title, note->preview(), note->body, note}; }

// Those of the user.
std::vector<SkillEntry> ownSkills(ToolContext& context) {
  const Organization& organization = context.organization();
  const VaultSnapshot snapshot =
      context.vault().scanOnce([&](const NoteFile& file) { return isSkill(file.id, organization); });
  std::vector<SkillEntry> all;
  for (const NoteRef& note : snapshot.notes) all.push_back(entryOf(note));
  return all;
}

// Those that ship with Vesk.
std::vector<SkillEntry> shippedSkills(const ToolContext& context) {
  std::vector<SkillEntry> all;
  for (const Skill& skill : builtInSkills(context.surroundings().language()))
    all.push_back({std::string(skill.id), std::string(skill.title), skill.description, skill.text});
  return all;
}

// The user's own first.
std::vector<SkillEntry> skills(ToolContext& context) {
  std::vector<SkillEntry> all = ownSkills(context);
  std::ranges::move(shippedSkills(context), std::back_inserter(all));
  return all;
}

std::string listSkills(ToolContext& context, const ToolArguments& arguments) {
  const auto all = skills(context);
  toolResult::Page page("skills", all.size(), arguments.offset(), arguments.limit());
  for (std::size_t i = page.begin(); i < page.end(); ++i) {
    Json entry;
    entry["id"] = all[i].id;
    entry["title"] = toolResult::shortened(all[i].title, titleCharacters);
    entry["description"] = toolResult::shortened(all[i].description, descriptionCharacters);
    if (!page.add(std::move(entry))) break;
  }
  return page.text();
}

// By its id, which takes no look at all notes, else the only one of that title, regardless of case.
SkillEntry skillNamed(ToolContext& context, std::string_view wanted) {
  for (SkillEntry& skill : shippedSkills(context))
    if (skill.id == wanted) return std::move(skill);
  if (isSkill(wanted, context.organization()))
    if (const NoteRef note = context.vault().note(wanted)) return entryOf(note);
  std::vector<SkillEntry> all = skills(context);
  std::erase_if(all, [&](const SkillEntry& skill) { return !text::equalIgnoringCase(skill.title, wanted); });
  if (all.size() == 1) return std::move(all.front());
  if (all.empty()) throw ToolError("No skill has that name. Use list_skills to see the options.");
  std::vector<std::string_view> ids;
  for (const SkillEntry& skill : all) ids.push_back(skill.id);
  throw ToolError(fmt::format("Several skills match. Use one of these ids: {}", fmt::join(ids, ", ")));
}

std::string readSkill(ToolContext& context, const ToolArguments& arguments) {
  constexpr const char* missing = "A skill id or title is required.";
  const std::string typed = arguments.text("skill", missing);
  const std::string_view wanted = text::trimWhitespace(typed);
  if (wanted.empty()) throw ToolError(missing);
  const SkillEntry skill = skillNamed(context, wanted);
  Json result;
  result["id"] = skill.id;
  result["title"] = toolResult::shortened(skill.title, titleCharacters);
  toolResult::addPart(result, skill.text, arguments.part(), "skill", "read_skill");
  if (skill.note) context.recordRead(skill.title, skill.id);
  return result.pretty();
}

// ---- list_guides, read_guide

Language languageOf(const Surroundings& surroundings, const ToolArguments& arguments) {
  constexpr const char* unknown = "The language must be en, pt or es.";
  const auto code = arguments.given("language", unknown);
  if (!code || code->empty()) return surroundings.language();
  const auto language = languageNamed(*code);
  if (!language) throw ToolError(unknown);
  return *language;
}

std::string listGuides(const Surroundings& surroundings, const ToolArguments& arguments) {
  Json::Array entries;
  for (const Guide& guide : guides(languageOf(surroundings, arguments)))
    entries.push_back(Json::Object{{"id", guide.id}, {"title", guide.title}});
  Json result;
  result["guides"] = std::move(entries);
  return result.pretty();
}

std::string readGuide(const Surroundings& surroundings, const ToolArguments& arguments) {
  constexpr const char* unknown = "That guide doesn't exist. Use list_guides to see the options.";
  const std::string id = arguments.text("guide", unknown);
  const auto all = guides(languageOf(surroundings, arguments));
  const auto guide = std::ranges::find(all, id, &Guide::id);
  if (guide == all.end()) throw ToolError(unknown);
  Json result;
  result["id"] = guide->id;
  result["title"] = guide->title;
  result["text"] = guide->text;
  return result.pretty();
}

Parameter language() {
  return {.name = "language",
          .type = "string",
          .description = "The language to read in. Defaults to the system's.",
          .values = {"en", "pt", "es"}};
}

}  // namespace

Tool listSkillsTool() {
  return {"list_skills",
          "The instructions the user saved for reuse. Follow one only when the user asks for it.",
          {parameters::limit(), parameters::offset()},
          Effect::reads,
          &AIAccess::canRead,
          listSkills};
}

Tool readSkillTool() {
  return {"read_skill",
          "Read a skill's instructions, to follow them because the user asked.",
          {{"skill", "string", "The skill's id or title, from list_skills.", true},
           {"part", "integer", "Which part of a long skill to read. Default 1.", false, 1}},
          Effect::reads,
          &AIAccess::canRead,
          readSkill};
}

Tool listGuidesTool() {
  return {"list_guides", "List the guides from Vesk's Learn the method screen.", {language()}, Effect::reads, nullptr,
          listGuides};
}

Tool readGuideTool() {
  return {"read_guide",
          "Read a guide about the PARA folders, capture, the weekly review or layered summaries.",
          {{"guide", "string", "The guide's id, from list_guides.", true}, language()},
          Effect::reads,
          nullptr,
          readGuide};
}

}  // namespace vesk
