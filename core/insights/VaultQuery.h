#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/vault/Vault.h"
#include "core/vault/VaultSnapshot.h"

namespace vesk {

// Which notes are wanted, as a person writes it, one condition a line:
//
//   folder: Projects/Garden
//   tag: watering
//   text: lemon tree
//   sort: title
//   limit: 20
//
// Lines may come in any order and, but for sort and limit, more than once: a note must meet them all. The keys are read
// regardless of case.
struct VaultQuery {
  enum class Sort {
    modified,  // the last edited first
    created,   // the newest first
    title,
  };

  std::vector<std::string> folders = {};  // the note lies in it or below, regardless of case
  std::vector<std::string> tags = {};     // the note carries exactly this tag; written without "#"
  std::vector<std::string> texts = {};    // in its title, its text or one of its tags, as VaultSnapshot::search has it
  Sort sort = Sort::modified;
  std::optional<std::size_t> limit = {};  // at least 1

  // Throws Error for what is no such query, with a sentence that says what is.
  static VaultQuery parse(std::string_view text);

  bool operator==(const VaultQuery&) const = default;
};

// The notes that the query asks for.
std::vector<NoteRef> run(const VaultQuery& query, const VaultSnapshot& snapshot);

// Those of the vault as it is now. They have their bodies only when the query asks for a text.
std::vector<NoteRef> run(const VaultQuery& query, const Vault& vault);

}  // namespace vesk
