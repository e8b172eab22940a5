#pragma once

#include <optional>
#include <string>
#include <string_view>

// The notes that an answer cites as [[Note title]], as links that a view of Markdown can open.
namespace vesk::ChatLinks {

inline constexpr std::string_view scheme = "vesk-note";

// The text with each match of \[\[([^\[\]|]+)(?:\|([^\[\]]+))?\]\] made a link: [label](vesk-note:Note%20title). Code
// is left as it is. Takes linear time.
std::string linkingNotes(std::string_view text);

// The title in the address of such a link; nullopt for any other address.
std::optional<std::string> noteTitle(std::string_view url);

}  // namespace vesk::ChatLinks
