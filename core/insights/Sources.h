#pragma once

#include <vector>

#include "core/vault/VaultSnapshot.h"

namespace vesk {

// The notes of the sources places that no note outside them cites, newest first. A note is cited by a link to its file
// name, with or without folders before it, or to its title. Vesk's own pages are no sources.
std::vector<NoteRef> unprocessedSources(const VaultSnapshot& snapshot);

}  // namespace vesk
