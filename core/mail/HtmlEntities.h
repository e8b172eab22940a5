#pragma once

#include <string>
#include <string_view>

namespace vesk {

// `text` with its character references decoded: every match of &(#[xX]?[0-9a-fA-F]+|[a-zA-Z]+); that names a
// character. A number that is none gives U+FFFD; a name that isn't known stays as it is.
std::string decodeEntities(std::string_view text);

}  // namespace vesk
