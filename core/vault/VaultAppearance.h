#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "core/base/Json.h"

namespace vesk {

// The icons and colours that screens show, kept in ".vesk/appearance.json". What the names mean is the screens' matter.
struct VaultAppearance {
  static constexpr std::string_view fileName = "appearance.json";

  std::map<std::string, std::string> folderIcons = {};  // folder path to icon name
  std::map<std::string, std::string> tagColors = {};    // tag to colour name

  // Nullopt unless both maps, where they are given, map texts to texts.
  static std::optional<VaultAppearance> from(const Json& json);

  // Writes into the JSON that was in the file, so that keys Vesk does not know are kept.
  void writeTo(Json& json) const;

  bool operator==(const VaultAppearance&) const = default;
};

}  // namespace vesk
