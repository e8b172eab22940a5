#include "core/toolserver/Proposal.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>

#include "core/platform/FileLock.h"
#include "core/platform/Folder.h"
#include "core/toolserver/SupportFile.h"

namespace vesk {

namespace {

struct TextField {
  std::string_view name;
  std::optional<std::string> Proposal::*value;
};

constexpr std::array textFields = {
    TextField{"titleWithoutMail", &Proposal::titleWithoutMail},
    TextField{"notePath", &Proposal::notePath},
    TextField{"destination", &Proposal::destination},
    TextField{"before", &Proposal::before},
    TextField{"after", &Proposal::after},
    TextField{"vaultPath", &Proposal::vaultPath},
};

const std::string* textOf(const Json& json, std::string_view key) {
  const Json* value = json.find(key);
  return value ? value->string() : nullptr;
}

std::optional<Proposal> decoded(std::string_view entry) {
  try {
    return proposalFrom(Json::parse(entry));
  } catch (const JsonError&) {
    return std::nullopt;
  }
}

struct HasID {
  std::string_view id;
  bool operator()(std::string_view entry) const {
    if (entry.find(id) == std::string_view::npos) return false;  // most need not be read
    const auto proposal = decoded(entry);
    return proposal && proposal->id == id;
  }
};

// As it stands in the file, indented as an element of the list.
std::string entryOf(const Proposal& proposal) {
  const std::string list = Json(Json::Array{toJson(proposal)}).pretty();
  return std::string(Json::elements(list)->front());
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
  const std::string text = supportFile::readText(directory_, fileName).value_or("");
  std::vector<Proposal> proposals;
  for (const std::string_view entry : Json::elements(text).value_or(Entries()))
    if (auto proposal = decoded(entry)) proposals.push_back(std::move(*proposal));
  return proposals;
}

std::optional<Proposal> ProposalStore::find(std::string_view id) const {
  for (Proposal& proposal : all())
    if (proposal.id == id) return std::move(proposal);
  return std::nullopt;
}

void ProposalStore::add(const Proposal& proposal) const {
  const std::string entry = entryOf(proposal);
  rewrite([&](Entries& entries) {
    entries.push_back(entry);
    return true;
  });
}

void ProposalStore::replace(const Proposal& proposal) const {
  const std::string entry = entryOf(proposal);
  rewrite([&](Entries& entries) {
    const auto present = std::find_if(entries.begin(), entries.end(), HasID{proposal.id});
    if (present != entries.end()) *present = entry;
    return present != entries.end();
  });
}

void ProposalStore::remove(std::string_view id) const {
  rewrite([&](Entries& entries) { return std::erase_if(entries, HasID{id}) > 0; });
}

// The entries keep their text: what is no proposal stays as it is, and what is one need not be read to add another.
void ProposalStore::rewrite(const std::function<bool(Entries& entries)>& change) const {
  makePrivateFolder(directory_);
  const FileLock held(directory_);
  const auto text = supportFile::readText(directory_, fileName);
  auto entries = text ? Json::elements(*text) : std::nullopt;
  if (!entries) supportFile::keepAside(directory_, fileName);
  if (!entries) entries.emplace();
  if (!change(*entries)) return;
  std::string list = "[";
  for (const std::string_view entry : *entries) list.append(list.size() > 1 ? ",\n  " : "\n  ").append(entry);
  supportFile::writeText(directory_, fileName, list.append(entries->empty() ? "]" : "\n]"));
}

}  // namespace vesk
