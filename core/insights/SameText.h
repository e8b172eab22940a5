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

// As much of a text as is looked at first when texts are compared.
std::string_view beginningOf(std::string_view text);

// Gives a note's whole body. Asked from several threads.
using BodyOf = std::function<std::string(const Note& note)>;

// Notes of the same text, but for those of under `shortestText` characters. Of its body a note need only hold the
// beginning; `bodyOf` is asked for the notes that begin alike.
inline constexpr std::size_t shortestText = 40;
SameNotes sameTexts(const std::vector<NoteRef>& notes, const BodyOf& bodyOf);

}  // namespace vesk
