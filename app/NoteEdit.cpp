#include "app/NoteEdit.h"

#include <exception>
#include <optional>

#include <fmt/format.h>

#include "app/EditedCopy.h"
#include "app/Question.h"
#include "app/Terminal.h"
#include "core/base/Error.h"

namespace vesk::app {

namespace {

// Writes the note when it still is what was read: that text, or none. VaultError::conflict else.
void save(const Vault& vault, const std::string& path, const std::optional<std::string>& before,
          const std::string& after) {
  if (!before) {
    if (!vault.createFile(path, after)) throw VaultError::conflict();
    return;
  }
  vault.rewrite(path, [&](const std::string& current) {
    if (current != *before) throw VaultError::conflict();
    return after;
  });
}

}  // namespace

void editNote(const Vault& vault, const std::string& path, std::string_view startingText) {
  if (!canAsk()) throw Error("Editing needs a terminal.");
  const auto before = vault.exists(path) ? std::optional(vault.read(path)) : std::nullopt;
  const std::string start = before.value_or(std::string(startingText));
  const EditedCopy copy(start, std::string(lastComponent(path)));
  try {
    const std::string after = copy.edit();
    if (after != start) save(vault, path, before, after);
    print("{}\n", after == start ? "Nothing was changed." : fmt::format("Saved {}", safe(path)));
  } catch (const std::exception& failure) {
    if (copy.discardUnchanged()) throw;
    throw Error(fmt::format("{} Your text is kept in {}", failure.what(), copy.path()));
  }
  copy.discard();
}

}  // namespace vesk::app
