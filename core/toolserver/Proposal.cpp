#include "core/toolserver/Proposal.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>

#include "core/platform/FileLock.h"
#include "core/toolserver/SupportFile.h"

namespace vesk {

namespace {

struct TextField {
  std::string_view name;
  std::optional<std::string> Proposal::*value;
};

constexpr std::array textFields = {
    TextField{"notePath", &Proposal::notePath},   TextField{"destination", &Proposal::destination},
    TextField{"before", &Proposal::before},       TextField{"after", &Proposal::after},
    TextField{"vaultPath", &Proposal::vaultPath},
};

const std::string* textOf(const Json& json, std::string_view key) {
  const Json* value = json.find(key);
  return value ? value->string() : nullptr;
}

bool hasID(const Json& entry, std::string_view id) {
  const std::string* own = textOf(entry, "id");
  return own && *own == id;
}

}  // namespace

std::vector<DiffLine> Proposal::diff() const { return DiffLine::compare(before.value_or(""), after.value_or("")); }

Json toJson(const Proposal& proposal) {
  Json json;
  json["id"] = proposal.id;
  json["date"] = time::iso8601(proposal.date);
  json["tool"] = proposal.tool;
  json["arguments"] = proposal.arguments;
  json["title"] = proposal.title;
  for (const TextField& field : textFields)
    if (const auto& value = proposal.*field.value) json[field.name] = *value;
  return json;
}

std::optional<Proposal> proposalFrom(const Json& json) {
  const std::string* id = textOf(json, "id");
  const std::string* date = textOf(json, "date");
  const std::string* tool = textOf(json, "tool");
  const std::string* arguments = textOf(json, "arguments");
  const std::string* title = textOf(json, "title");
  const auto moment = date ? time::parseIso8601(*date) : std::nullopt;
  if (!id || !moment || !tool || !arguments || !title) return std::nullopt;
  Proposal proposal{.id = *id, .date = *moment, .tool = *tool, .arguments = *arguments, .title = *title};
  for (const TextField& field : textFields)
    if (const std::string* value = textOf(json, field.name)) proposal.*field.value = *value;
  return proposal;
}

std::vector<Proposal> ProposalStore::all() const {
  const Json json = supportFile::read(directory_, fileName).value_or(Json());
  std::vector<Proposal> proposals;
  if (!json.array()) return proposals;
  for (const Json& entry : *json.array())
    if (auto proposal = proposalFrom(entry)) proposals.push_back(std::move(*proposal));
  return proposals;
}

std::optional<Proposal> ProposalStore::find(std::string_view id) const {
  for (Proposal& proposal : all())
    if (proposal.id == id) return std::move(proposal);
  return std::nullopt;
}

void ProposalStore::add(const Proposal& proposal) const {
  rewrite([&](Json::Array& entries) { entries.push_back(toJson(proposal)); });
}

void ProposalStore::remove(std::string_view id) const {
  rewrite([&](Json::Array& entries) { std::erase_if(entries, [&](const Json& entry) { return hasID(entry, id); }); });
}

// Entries that are no proposals stay as they are.
void ProposalStore::rewrite(const std::function<void(Json::Array&)>& change) const {
  supportFile::makeDirectory(directory_);
  const FileLock held(directory_);
  Json json = supportFile::readToRewrite(directory_, fileName);
  if (!json.array()) {
    supportFile::keepAside(directory_, fileName);
    json = Json(Json::Array());
  }
  const std::size_t present = json.array()->size();
  change(*json.array());
  if (json.array()->size() != present) supportFile::write(directory_, fileName, json);
}

}  // namespace vesk
