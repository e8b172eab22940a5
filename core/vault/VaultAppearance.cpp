#include "core/vault/VaultAppearance.h"

namespace vesk {

namespace {

using Map = std::map<std::string, std::string>;

std::optional<Map> mapFrom(const Json* json) {
  if (!json) return Map();
  if (!json->object()) return std::nullopt;
  Map map;
  for (const auto& [key, value] : *json->object()) {
    if (!value.string()) return std::nullopt;
    map.emplace(key, *value.string());
  }
  return map;
}

Json jsonOf(const Map& map) {
  Json::Object object;
  for (const auto& [key, value] : map) object.emplace(key, value);
  return object;
}

}  // namespace

std::optional<VaultAppearance> VaultAppearance::from(const Json& json) {
  if (!json.object()) return std::nullopt;
  auto folderIcons = mapFrom(json.find("folderIcons"));
  auto tagColors = mapFrom(json.find("tagColors"));
  if (!folderIcons || !tagColors) return std::nullopt;
  return VaultAppearance{std::move(*folderIcons), std::move(*tagColors)};
}

void VaultAppearance::writeTo(Json& json) const {
  if (!json.object()) json = Json(Json::Object());
  json["folderIcons"] = jsonOf(folderIcons);
  json["tagColors"] = jsonOf(tagColors);
}

}  // namespace vesk
