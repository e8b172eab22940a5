// How a vault is arranged: its settings files, its places, and the switch to others.

#include <algorithm>
#include <array>
#include <set>

#include "core/base/Text.h"
#include "core/vault/Vault.h"

namespace vesk {

namespace {

using Place = Organization::Place;
using Move = OrganizationChange::Move;

std::string settingsPath(std::string_view name) { return joinPath(Vault::settingsFolder, name); }

std::vector<Bucket> destinationsOf(Bucket role) {
  switch (role) {
    case Bucket::projects:
    case Bucket::areas: return {Bucket::projects, Bucket::areas, Bucket::resources};
    case Bucket::resources: return {Bucket::resources, Bucket::sources};
    case Bucket::sources: return {Bucket::sources, Bucket::resources};
    default: return {role};
  }
}

const Place* destinationOf(const Place& place, const Organization& target) {
  for (const Bucket role : destinationsOf(place.role))
    if (const Place* found = target.place(role)) return found;
  return nullptr;
}

bool survives(const std::string& folder, const Organization& target) {
  return std::any_of(target.places.begin(), target.places.end(),
                     [&](const Place& place) { return text::equalIgnoringCase(place.folder, folder); });
}

std::vector<std::string> visibleNames(const Folder& root, std::string_view path) {
  std::vector<std::string> names;
  for (FolderEntry& entry : root.openFolder(path).entries())
    if (!entry.name.starts_with('.')) names.push_back(std::move(entry.name));
  std::sort(names.begin(), names.end(),
            [](const std::string& a, const std::string& b) { return text::compareNames(a, b) < 0; });
  return names;
}

bool isFolder(const Folder& root, std::string_view path) {
  const auto info = root.info(path);
  return info && info->kind == FileKind::folder;
}

void removeIfLeftEmpty(const Folder& root, const std::string& path) {
  if (!isFolder(root, path)) return;
  const auto entries = root.openFolder(path).entries();
  if (entries.size() > 1 || (entries.size() == 1 && entries[0].name != folderBrowserFile)) return;
  if (!entries.empty()) root.removeFile(joinPath(path, folderBrowserFile));
  root.removeEmptyFolder(path);
}

}  // namespace

std::optional<Json> Vault::readSettings(std::string_view name) const {
  try {
    return at(settingsPath(name),
              [](const Folder& root, const std::string& path) { return Json::parse(root.read(path)); });
  } catch (const Error&) {
    return std::nullopt;  // missing, unreadable or malformed: the defaults hold
  }
}

void Vault::writeSettings(std::string_view name, const std::function<void(Json&)>& change) const {
  ensureFolder(settingsFolder);
  const FileLock held = lock();
  Json json = readSettings(name).value_or(Json());
  change(json);
  at(settingsPath(name), [&](const Folder& root, const std::string& path) { root.replaceFile(path, json.pretty()); });
}

std::optional<Organization> Vault::organization() const {
  const auto json = readSettings(Organization::fileName);
  return json ? Organization::from(*json) : std::nullopt;
}

void Vault::save(const Organization& organization) const {
  writeSettings(Organization::fileName, [&](Json& json) { organization.writeTo(json); });
}

VaultAppearance Vault::appearance() const {
  const auto json = readSettings(VaultAppearance::fileName);
  return (json ? VaultAppearance::from(*json) : std::nullopt).value_or(VaultAppearance());
}

void Vault::save(const VaultAppearance& appearance) const {
  writeSettings(VaultAppearance::fileName, [&](Json& json) { appearance.writeTo(json); });
}

void Vault::createStructure(const std::vector<std::string>& projects, const std::vector<std::string>& areas) const {
  std::vector<std::string> paths;
  for (const Bucket bucket : bucket::structure) paths.emplace_back(bucket::name(bucket));
  for (const std::string& project : projects)
    paths.push_back(joinPath(bucket::name(Bucket::projects), fileName(project)));
  for (const std::string& area : areas) paths.push_back(joinPath(bucket::name(Bucket::areas), fileName(area)));
  for (const std::string& path : paths) ensureFolder(path);
}

void Vault::adopt(const Organization& organization, const std::vector<std::string>& areas) const {
  std::vector<std::string> paths;
  for (const Place& place : organization.places) paths.push_back(topLevelFolder(normalized(place.folder)));
  const Place* const home = organization.place(Bucket::areas);
  for (const std::string& area : areas)
    if (home) paths.push_back(joinPath(topLevelFolder(home->folder), fileName(area)));
  save(organization);
  for (const std::string& path : paths) ensureFolder(path);
}

std::string Vault::topLevelFolder(std::string_view name) const {
  return at(name, [](const Folder& root, const std::string& folder) {
    if (!root.exists(folder))
      for (std::string& present : visibleNames(root, ""))
        if (text::equalIgnoringCase(present, folder)) return std::move(present);
    return folder;
  });
}

std::vector<Place> Vault::currentPlaces() const {
  if (auto saved = organization()) return saved->places;
  const Organization fallback = Organization::para();
  std::vector<Place> places;
  const Folder root = open();
  for (std::string& name : visibleNames(root, ""))
    if (const auto role = fallback.role(name); role && isFolder(root, name)) places.push_back({*role, std::move(name)});
  return places;
}

OrganizationChange Vault::planChange(const Organization& target) const {
  OrganizationChange change{target, {}, {}, {}};
  std::set<std::string> planned;
  for (const Place& place : currentPlaces()) {
    const Place* const destination = destinationOf(place, target);
    if (!destination || survives(place.folder, target)) continue;
    const std::string from = topLevelFolder(normalized(place.folder));
    const std::string into = topLevelFolder(normalized(destination->folder));
    at(from, [&](const Folder& vault, const std::string& folder) {
      const bool isPlanned = std::find(change.vacated.begin(), change.vacated.end(), folder) != change.vacated.end();
      if (folder.empty() || isPlanned || !isFolder(vault, folder)) return;
      change.vacated.push_back(folder);
      for (const std::string& name : visibleNames(vault, folder)) {
        Move move{joinPath(folder, name), joinPath(into, name)};
        if (vault.exists(move.to) || !planned.insert(text::key(move.to)).second)
          change.collisions.push_back(std::move(move.from));
        else
          change.moves.push_back(std::move(move));
      }
    });
  }
  return change;
}

std::vector<std::string> Vault::apply(const OrganizationChange& change) const {
  std::vector<std::string> staying;
  for (const Move& move : change.moves) {
    try {
      movePath(move.from, move.to);
    } catch (const VaultError& error) {
      if (error.kind() != VaultError::Kind::nameTaken) throw;
      staying.push_back(move.from);
    } catch (const FileError& error) {
      if (!error.isMissing()) throw;
      staying.push_back(move.from);
    }
  }
  for (const std::string& folder : change.vacated)
    at(folder, [](const Folder& root, const std::string& path) { removeIfLeftEmpty(root, path); });
  save(change.target);
  return staying;
}

}  // namespace vesk
