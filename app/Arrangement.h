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

// Moves what the old places hold to the new ones. Returns what stays where it was, since it changed meanwhile.
std::vector<std::string> carryOut(const Vault& vault, const OrganizationChange& change);

}  // namespace vesk::app
