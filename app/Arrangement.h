#pragma once

#include <string>
#include <vector>

#include "core/base/Language.h"
#include "core/vault/Vault.h"

namespace vesk::app {

// What a vault can be arranged by, as the user types it.
std::vector<std::string> methodNames();

// What a method makes of a vault: its folders named in that language, or, for `custom`, the top-level folders that are
// there.
Organization organizationFor(const Vault& vault, Organization::Method method, Language language);

}  // namespace vesk::app
