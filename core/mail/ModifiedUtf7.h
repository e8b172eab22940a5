#pragma once

#include <string>
#include <string_view>

namespace vesk {

// The name of a mailbox as people read it ("Éléments" of "&AMk-l&AOk-ments"; RFC 3501, 5.1.3). What can't be decoded is
// kept as it is.
std::string decodedModifiedUtf7(std::string_view name);

}  // namespace vesk
