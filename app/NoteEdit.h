#pragma once

#include <string>
#include <string_view>

#include "core/vault/Vault.h"

namespace vesk::app {

// Opens a note in the user's editor, front matter and all, and says what came of it. One that is missing begins with
// that text, and is made once the text was changed.
//
// Throws Error without a terminal, and when what was written can't be saved, as when the note changed meanwhile: the
// sentence then says in which file the text is kept.
void editNote(const Vault& vault, const std::string& path, std::string_view startingText = "");

}  // namespace vesk::app
