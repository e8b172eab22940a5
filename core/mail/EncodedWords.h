#pragma once

#include <cstddef>
#include <string_view>

namespace vesk {

// Behind the encoded word that begins at `begin`, and behind white space between it and a next one; npos when none
// begins there. See MIME::decodeWords.
std::size_t endOfEncodedWord(std::string_view text, std::size_t begin);

}  // namespace vesk
