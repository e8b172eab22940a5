#pragma once

#include <string>

namespace vesk {

// A new random identifier (RFC 9562, version 4) in lower case: "6f9619ff-8b86-4d01-b42d-00cf4fc964ff".
std::string newUuid();

}  // namespace vesk
