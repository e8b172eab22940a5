#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Time.h"
#include "core/vault/Vault.h"
#include "core/vault/VaultSnapshot.h"

namespace vesk {

// Something that makes the vault harder to trust.
struct ContextIssue {
  enum class Kind {
    brokenLink,      // a wiki link that leads to no note
    duplicate,       // notes of the same title or the same text
    missingContext,  // a project folder without a context note
    stale,           // a resource note not changed for 180 days
    empty,           // a note with no text
    isolated,        // a resource note without links, tags and backlinks
  };

  Kind kind = Kind::brokenLink;
  std::string path = {};   // of the note, or of the folder
  std::string title = {};  // the note's title, or the folder's name
  bool isFolder = false;
  std::string detail = {};  // a sentence: what was found, with what is needed to act on it

  // The same for two findings whose kind, path and detail agree.
  std::string id() const;

  bool operator==(const ContextIssue&) const = default;
};

// As tools write it: "broken_link".
std::string_view name(ContextIssue::Kind kind);

namespace ContextHealth {

// How long a resource note may go unchanged.
inline constexpr std::chrono::days staleAfter{180};

// All findings, kind after kind. Left out are Vesk's own pages, what lies in the sources and archive places, saved
// chats and the transcripts of meetings; a link may lead to any of them.
//
// Links are broken when no note has their target as its title, its file name or the end of its path. Those with a "."
// in them are taken for files and not looked at, and what only stands in code is no link. A project folder without a
// single note needs no context yet.
//
// Within a kind the findings stand as the vault lists its notes, but for duplicates, which stand together, and for
// stale notes, the longest unchanged first. Takes time near linear in the vault's size.
std::vector<ContextIssue> check(const VaultSnapshot& snapshot, Timestamp now);

// The findings of a vault as it is now, without holding all its text in memory.
std::vector<ContextIssue> check(const Vault& vault, Timestamp now);

// The same for whoever has a place to keep the survey in: to free it takes its time.
using Surveyor = std::function<const VaultSnapshot&(SurveyOptions options)>;
std::vector<ContextIssue> check(const Vault& vault, const Surveyor& survey, Timestamp now);

}  // namespace ContextHealth

}  // namespace vesk
