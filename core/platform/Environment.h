#pragma once

#include <optional>
#include <string>

#include "core/base/Language.h"

// What the process was started with. Read at a program's edge and by the desktop's own rules (the Trash).
namespace vesk::environment {

// Nullopt when unset or empty.
std::optional<std::string> value(const char* name);

// $HOME, else the home folder of the user database.
std::string home();

// $XDG_DATA_HOME when it is an absolute path, else ~/.local/share (XDG Base Directory Specification).
std::string dataHome();

// The folder that Vesk's programs share: $VESK_SUPPORT_DIR, else "Vesk" in dataHome().
std::string supportDirectory();

// The user's language, by LC_ALL, LC_MESSAGES and LANG; English when Vesk does not speak it.
Language language();

}  // namespace vesk::environment
