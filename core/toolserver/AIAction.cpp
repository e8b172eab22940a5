#include "core/toolserver/AIAction.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace vesk {

namespace {

constexpr std::array<std::string_view, 13> kindNames = {
    "read",   "search",     "file",  "createNote", "createFolder", "append",      "edit",
    "rename", "moveFolder", "trash", "sync",       "draftEmail",   "updateEmail",
};

struct TextField {
  std::string_view name;
  std::optional<std::string> AIAction::*value;
};

// Those that not every kind has.
constexpr std::array textFields = {
    TextField{"noteID", &AIAction::noteID},       TextField{"fromFolder", &AIAction::fromFolder},
    TextField{"toFolder", &AIAction::toFolder},   TextField{"appended", &AIAction::appended},
    TextField{"before", &AIAction::before},       TextField{"after", &AIAction::after},
    TextField{"trashedTo", &AIAction::trashedTo}, TextField{"vaultPath", &AIAction::vaultPath},
};

const std::string* textOf(const Json& json, std::string_view key) {
  const Json* value = json.find(key);
  return value ? value->string() : nullptr;
}

std::optional<AIAction::Kind> kindNamed(const std::string* name) {
  const auto found = name ? std::find(kindNames.begin(), kindNames.end(), *name) : kindNames.end();
  if (found == kindNames.end()) return std::nullopt;
  return static_cast<AIAction::Kind>(found - kindNames.begin());
}

}  // namespace

std::string_view name(AIAction::Kind kind) { return kindNames[static_cast<std::size_t>(kind)]; }

bool AIAction::changesVault() const { return kind != Kind::read && kind != Kind::search && kind != Kind::sync; }

bool AIAction::isOfMail() const { return kind == Kind::draftEmail || kind == Kind::updateEmail; }

bool AIAction::canUndo() const { return !isUndone && changesVault() && (kind != Kind::trash || trashedTo); }

Json toJson(const AIAction& action) {
  Json json;
  json["id"] = action.id;
  json["date"] = time::iso8601(action.date);
  json["kind"] = name(action.kind);
  json["title"] = action.title;
  if (action.resultCount) json["resultCount"] = *action.resultCount;
  for (const TextField& field : textFields)
    if (const auto& value = action.*field.value) json[field.name] = *value;
  json["isUndone"] = action.isUndone;
  return json;
}

std::optional<AIAction> actionFrom(const Json& json) {
  const std::string* id = textOf(json, "id");
  const std::string* date = textOf(json, "date");
  const std::string* title = textOf(json, "title");
  const auto kind = kindNamed(textOf(json, "kind"));
  const auto moment = date ? time::parseIso8601(*date) : std::nullopt;
  if (!id || !moment || !title || !kind) return std::nullopt;
  AIAction action{.id = *id, .date = *moment, .kind = *kind, .title = *title};
  if (const Json* count = json.find("resultCount")) action.resultCount = count->integer();
  for (const TextField& field : textFields)
    if (const std::string* value = textOf(json, field.name)) action.*field.value = *value;
  if (const Json* undone = json.find("isUndone")) action.isUndone = undone->boolean().value_or(false);
  return action;
}

}  // namespace vesk
