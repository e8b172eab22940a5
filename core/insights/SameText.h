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

// What a text begins with, as a number: texts that are the same have the same mark, and most others have not.
using TextMark = std::size_t;
inline constexpr TextMark markOfBlank = 0;  // of nothing but white space
TextMark textMark(std::string_view text);

// Gives a note's whole body. Asked from several threads.
using BodyOf = std::function<std::string(const Note& note)>;

// Notes of the same text, but for those of under `shortestText` characters. `marks` holds the textMark() of each note's
// body; `bodyOf` is asked for those of notes that share one.
inline constexpr std::size_t shortestText = 40;
SameNotes sameTexts(const std::vector<NoteRef>& notes, const std::vector<TextMark>& marks, const BodyOf& bodyOf);

}  // namespace vesk
