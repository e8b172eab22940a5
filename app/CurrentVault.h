#pragma once

#include <functional>
#include <optional>
#include <string>

#include "core/toolserver/AIAccess.h"
#include "core/vault/Vault.h"

namespace vesk::app {

// What the user has set, from the support directory.
AIAccess currentAccess();

// Changes what the user has set; no other change that is made meanwhile gets lost. Returns what holds now.
AIAccess changeAccess(const std::function<void(AIAccess& access)>& change);

// The vault that is open. Throws Error when none is, or its folder is gone.
Vault currentVault();

// How a vault is organized, in one line.
std::string describe(const std::optional<Organization>& organization);

}  // namespace vesk::app
