#include "core/vault/Organization.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "core/base/Text.h"

namespace vesk {

namespace {

using Place = Organization::Place;
using Method = Organization::Method;

constexpr std::array<std::string_view, 4> methodNames = {"vesk", "para", "ideas", "custom"};

// A folder's name in English, Portuguese and Spanish.
using FolderNames = std::array<const char*, 3>;

struct PlaceTemplate {
  Method method;
  Bucket role;
  FolderNames names;
};

constexpr FolderNames everywhere(const char* name) { return {name, name, name}; }

constexpr std::array templates = {
    PlaceTemplate{Method::vesk, Bucket::inbox, everywhere("Inbox")},
    PlaceTemplate{Method::vesk, Bucket::sources, {"Sources", "Fontes", "Fuentes"}},
    PlaceTemplate{Method::vesk, Bucket::resources, {"Knowledge", "Conhecimento", "Conocimiento"}},
    PlaceTemplate{Method::vesk, Bucket::projects, {"In progress", "Em andamento", "En curso"}},
    PlaceTemplate{Method::vesk, Bucket::archive, {"Done", "Concluído", "Terminado"}},
    PlaceTemplate{Method::para, Bucket::inbox, everywhere("Inbox")},
    PlaceTemplate{Method::para, Bucket::projects, everywhere("Projects")},
    PlaceTemplate{Method::para, Bucket::areas, everywhere("Areas")},
    PlaceTemplate{Method::para, Bucket::resources, everywhere("Resources")},
    PlaceTemplate{Method::para, Bucket::archive, everywhere("Archive")},
    PlaceTemplate{Method::ideas, Bucket::inbox, everywhere("Inbox")},
    PlaceTemplate{Method::ideas, Bucket::sources, {"Sources", "Fontes", "Fuentes"}},
    PlaceTemplate{Method::ideas, Bucket::resources, {"Ideas", "Ideias", "Ideas"}},
    PlaceTemplate{Method::ideas, Bucket::archive, {"Archive", "Arquivo", "Archivo"}},
    PlaceTemplate{Method::custom, Bucket::inbox, everywhere("Inbox")},
};

std::optional<Place> placeFrom(const Json& json) {
  const Json* role = json.find("role");
  const Json* folder = json.find("folder");
  if (!role || !role->string() || !folder || !folder->string()) return std::nullopt;
  const auto bucket = bucket::named(*role->string());
  if (!bucket) return std::nullopt;
  return Place{*bucket, *folder->string()};
}

// The entry that the file had for the same folder, for the keys in it that aren't ours.
Json entryOf(const std::string& folder, const Json::Array& entries) {
  for (const Json& entry : entries) {
    const Json* named = entry.find("folder");
    if (named && named->string() && *named->string() == folder) return entry;
  }
  return Json(Json::Object());
}

}  // namespace

std::string_view name(Method method) { return methodNames[static_cast<std::size_t>(method)]; }

std::optional<Method> methodNamed(std::string_view name) {
  const auto found = std::find(methodNames.begin(), methodNames.end(), name);
  if (found == methodNames.end()) return std::nullopt;
  return static_cast<Method>(found - methodNames.begin());
}

Organization Organization::para() { return starting(Method::para, Language::english); }

Organization Organization::starting(Method method, Language language) {
  Organization organization{method, {}};
  for (const PlaceTemplate& place : templates)
    if (place.method == method)
      organization.places.push_back({place.role, place.names[static_cast<std::size_t>(language)]});
  return organization;
}

Organization Organization::custom(const std::vector<std::string>& folders) {
  Organization organization{Method::custom, {}};
  for (const std::string& folder : folders) {
    if (folder.starts_with('.')) continue;
    organization.places.push_back({bucket::matching(folder).value_or(Bucket::resources), folder});
  }
  const auto isInbox = [](const Place& place) { return place.role == Bucket::inbox; };
  auto& places = organization.places;
  const auto rest = std::stable_partition(places.begin(), places.end(), isInbox);
  if (rest == places.begin()) places.insert(places.begin(), {Bucket::inbox, "Inbox"});
  return organization;
}

std::optional<Organization> Organization::from(const Json& json) {
  const Json* method = json.find("method");
  const Json* places = json.find("places");
  if (!method || !method->string() || !places || !places->array()) return std::nullopt;
  const auto known = methodNamed(*method->string());
  if (!known) return std::nullopt;
  Organization organization{*known, {}};
  for (const Json& entry : *places->array()) {
    auto place = placeFrom(entry);
    if (!place) return std::nullopt;
    organization.places.push_back(std::move(*place));
  }
  return organization;
}

void Organization::writeTo(Json& json) const {
  if (!json.object()) json = Json(Json::Object());
  const Json* const before = json.find("places");
  const Json::Array entries = before && before->array() ? *before->array() : Json::Array();
  Json::Array written;
  for (const Place& place : places) {
    Json entry = entryOf(place.folder, entries);
    entry["folder"] = place.folder;
    entry["role"] = bucket::name(place.role);
    written.push_back(std::move(entry));
  }
  json["method"] = name(method);
  json["places"] = std::move(written);
}

const Place* Organization::place(Bucket role) const {
  const auto found = std::find_if(places.begin(), places.end(), [&](const Place& place) { return place.role == role; });
  return found == places.end() ? nullptr : &*found;
}

std::optional<Bucket> Organization::role(std::string_view folder) const {
  for (const Place& place : places)
    if (text::equalIgnoringCase(place.folder, folder)) return place.role;
  return method == Method::para ? bucket::matching(folder) : std::nullopt;
}

std::optional<std::string> Organization::folder(Bucket wanted, const std::vector<std::string>& topLevel) const {
  const Place* named = place(wanted);
  const auto isNamed = [&](const std::string& folder) {
    return named && text::equalIgnoringCase(folder, named->folder);
  };
  const auto isOfRole = [&](const std::string& folder) { return role(folder).value_or(Bucket::other) == wanted; };
  auto found = std::find_if(topLevel.begin(), topLevel.end(), isNamed);
  if (found == topLevel.end()) found = std::find_if(topLevel.begin(), topLevel.end(), isOfRole);
  if (found != topLevel.end()) return *found;
  return named ? std::optional(named->folder) : std::nullopt;
}

}  // namespace vesk
