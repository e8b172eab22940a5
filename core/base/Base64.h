#pragma once

#include <string>
#include <string_view>

namespace vesk::base64 {

// The bytes as text, padded and in one line (RFC 4648, section 4).
std::string encoded(std::string_view bytes);

}  // namespace vesk::base64
