#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "core/toolserver/AIAccess.h"
#include "core/vault/Vault.h"

namespace vesk::app {

// What the user has set, from the support directory.
AIAccess currentAccess();

// Tells the user when that file of the support directory, which is about to be changed, is none that can be read: all
// that was set in it is then as at first.
void warnOfUnreadable(const std::string& directory, std::string_view fileName);

// Changes what the user has set; no other change that is made meanwhile gets lost. Returns what holds now.
AIAccess changeAccess(const std::function<void(AIAccess& access)>& change);

// The vault that is open. Throws Error when none is, or its folder is gone.
Vault currentVault();

// The path of a folder of the vault, as the user typed it. Throws Error when there is none.
std::string folderNamed(const Vault& vault, std::string_view typed);

// How a vault is organized, in one line.
std::string describe(const std::optional<Organization>& organization);

}  // namespace vesk::app
