#pragma once

#include <string>
#include <vector>

#include "core/toolserver/PlannedChange.h"
#include "core/toolserver/ToolArguments.h"
#include "core/toolserver/ToolContext.h"

namespace vesk {

struct NewNote {
  std::string title = {};
  std::string body = {};
  std::vector<std::string> tags = {};
  std::string folder = {};
};

// The argument "title", without white space around it. ToolError when it is missing, VaultError::invalidName when it
// can't be a file's name.
std::string newNoteTitle(const ToolArguments& arguments);

// The change that makes a note, and never replaces one. `sentence` tells the user of it. The result is the note's path.
PlannedChange planNewNote(ToolContext& context, std::string sentence, NewNote note);

}  // namespace vesk
