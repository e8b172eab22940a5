#pragma once

#include "core/base/Json.h"
#include "core/toolserver/Tool.h"
#include "core/vault/Note.h"

// Tools on notes.
namespace vesk {

// What every list of notes says of one.
Json noteEntry(const Note& note);

Tool searchNotesTool();
Tool listNotesTool();
Tool readNoteTool();

}  // namespace vesk
