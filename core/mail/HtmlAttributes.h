#pragma once

#include <optional>
#include <string_view>

namespace vesk::html {

// The attributes of a tag that say how it looks, with their entities. HTML counts the first one of a name.
struct Attributes {
  std::string_view element = {};  // the tag's name, as written
  std::optional<std::string_view> style = {}, classes = {}, id = {}, color = {}, text = {}, bgcolor = {};
  std::optional<std::string_view> background = {}, hidden = {}, open = {}, media = {}, type = {};
};

// `tag` is what stands behind "<": "td class=x>".
Attributes attributesOf(std::string_view tag);

}  // namespace vesk::html
