#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vesk::charset {

// The text, in UTF-8, that bytes stand for in the charset of this name (the IANA's, and what mail programs write for
// them; in any case). "" and ASCII are read as UTF-8, and some old charsets as the larger ones that are sent under
// their names. When the name isn't known, or the bytes are not of that charset, they are read as ISO Latin-1, which
// never fails.
std::string text(std::string_view bytes, std::string_view name);

// The same, without a copy where the bytes are the text.
std::string text(std::string&& bytes, std::string_view name);

// The same, but nullopt instead of ISO Latin-1.
std::optional<std::string> strictText(std::string_view bytes, std::string_view name);

}  // namespace vesk::charset
