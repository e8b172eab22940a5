#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "core/base/Language.h"
#include "core/vault/Vault.h"
#include "core/vault/VaultSnapshot.h"

namespace vesk {

// A project's context note, "Context.md" in its folder: the short summary that an assistant reads first.
namespace ProjectContext {

inline constexpr std::string_view fileName = "Context.md";

// Whether Vesk made the note as a context note: it is one of Vesk's own pages, and named exactly "Context".
bool isProjectContext(const Note& note);

// The note named exactly "Context" directly in the folder, whoever made it; one that Vesk made before any other.
// Nullptr when there is none.
NoteRef note(const FolderNode& folder);

// The headings that a context note starts with.
std::string_view startingText(Language language);

// The first line of text, which is no heading, cut to `limit` characters; nullopt when there is none.
std::optional<std::string> summary(std::string_view text, std::size_t limit);

// The path of a folder's context note.
std::string path(std::string_view folder);

// The whole file of a context note with that text.
std::string contextText(std::string_view text);

// Writes a folder's context note, in place of the one that is there.
void writeContext(const Vault& vault, std::string_view text, std::string_view folder);

// The project folder of that path or name, regardless of case; one written exactly like it comes first. Nullptr when
// there is none. Throws Error, with the paths, when several match.
const FolderNode* findProject(const VaultSnapshot& snapshot, std::string_view pathOrName);

}  // namespace ProjectContext

}  // namespace vesk
