#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vesk::base64 {

// The bytes as text, padded and in one line (RFC 4648, section 4).
std::string encoded(std::string_view bytes);

// The bytes that a text stands for, as mail carries it (RFC 2045, 6.8): what isn't of the alphabet is passed over,
// padding may be missing or be followed by more, and a last letter that makes no byte is left out.
std::string decoded(std::string_view text);

// decoded(text).size(), without decoding.
std::size_t decodedSize(std::string_view text);

}  // namespace vesk::base64
