#pragma once

#include <string>
#include <vector>

#include "core/base/Calendar.h"
#include "core/base/Time.h"
#include "core/vault/Note.h"
#include "core/vault/VaultSnapshot.h"

namespace vesk {

// A meeting that was saved. At least one of its notes is there.
struct SavedMeeting {
  Day day = {};            // from the note's name, else that of its creation
  std::string title = {};  // the note's name without day and word: "Weekly sync"
  NoteRef summary = {};    // may be any note tagged "meeting"; nullptr without one
  NoteRef transcript = {};

  bool operator==(const SavedMeeting&) const = default;
};

// The meetings that a vault's notes tell of, newest first; those of a day by when their notes were made. A summary's
// transcript is the one that its last link leads to, else the one that has its name but for the word.
std::vector<SavedMeeting> savedMeetings(const VaultSnapshot& snapshot, const Calendar& calendar);

}  // namespace vesk
