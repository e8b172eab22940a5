#pragma once

#include <cstddef>
#include <vector>

#include "core/base/Json.h"
#include "core/vault/Note.h"

// Notes as `vesk` lists them.
namespace vesk::app {

// The first `limit` of the notes, a line each; or as JSON, with how many there are.
void printNotes(std::vector<NoteRef> notes, std::size_t limit, bool asJson);

// A note as an entry of such JSON, and what these are printed in.
Json noteEntry(const Note& note);
void printEntries(Json::Array entries, std::size_t total);

// Says that no note was found, though not among the output, which may go to another program.
void sayWhenNone(const std::vector<NoteRef>& notes);

}  // namespace vesk::app
