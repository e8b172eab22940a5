#pragma once

#include <string>
#include <string_view>

namespace vesk {

// What a mail server said, fit to be shown: one line of well-formed text, of at most 300 bytes.
std::string shownServerText(std::string_view text);

}  // namespace vesk
