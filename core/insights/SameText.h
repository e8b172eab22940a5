#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "core/vault/Note.h"

namespace vesk {

// The notes, by their place among those given, that say the same; each group in their order.
using SameNotes = std::vector<std::vector<std::size_t>>;

// A text as it is compared: regardless of case, with every run of white space made one space.
std::string comparable(std::string_view text);

// Notes of the same title.
SameNotes sameTitles(const std::vector<NoteRef>& notes);

// The same for texts that compare equal, and for few others. Looks at the first words only.
std::size_t beginningMark(std::string_view text);

// Notes of the same text, but for those of under `shortestText` characters. `marks` holds the beginningMark of each
// note's body; `bodyOf` is asked, from several threads, only for notes that share theirs.
inline constexpr std::size_t shortestText = 40;
SameNotes sameTexts(const std::vector<NoteRef>& notes, const std::vector<std::size_t>& marks,
                    const std::function<std::string(const Note& note)>& bodyOf);

}  // namespace vesk
