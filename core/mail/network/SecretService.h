#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/mail/WipedText.h"

// The desktop's own keeper of passwords (the Secret Service of freedesktop.org: GNOME Keyring, KWallet, KeePassXC). It
// may ask the user to unlock it. Where there is none, or it doesn't answer in a few seconds (a minute where it can
// ask), everything here fails without a word.
namespace vesk::secretService {

// Keeps a password under an account's id, in place of the one that is there. `label` is what the desktop shows for it.
bool store(const std::string& accountID, const std::string& label, std::string_view password);

// Nullopt when it has none.
std::optional<WipedText> find(const std::string& accountID);

// False when it has none.
bool remove(const std::string& accountID);

}  // namespace vesk::secretService
