#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// Text as people see it. All text is UTF-8. A "character" is an extended grapheme cluster (UAX #29): cutting to N
// characters never cuts one in two. Text that is not valid UTF-8 is checked for at the door (isValidUtf8); the other
// functions never read out of bounds on it, but what they return for it means nothing.
namespace vesk::text {

// True for well-formed UTF-8 (RFC 3629: no surrogates, no overlong forms, nothing over U+10FFFF). Fast on long
// ASCII runs.
bool isValidUtf8(std::string_view text);

// The text with U+FFFD for each byte that belongs to no character.
std::string wellFormed(std::string_view text);

bool isAscii(std::string_view text);

// The one key by which titles, links, tags and folder names are compared regardless of case: NFC, then lower case
// (of no particular language).
std::string key(std::string_view text);

// key(a) == key(b), without making the keys where both are ASCII.
bool equalIgnoringCase(std::string_view a, std::string_view b);

// NFC form; the text itself when it is there already.
std::string nfc(std::string_view text);

// The order of names that a file browser shows: ICU's root collation, case-insensitive, digits compared by value
// ("Note 2" before "Note 10"). Names that collate as equal are ordered by their bytes. Negative, zero or positive.
// Doesn't open ICU's collator for names of printable ASCII (without a number of more than 254 digits).
int compareNames(std::string_view a, std::string_view b);

// The beginning of `text` that holds its first `count` characters, or all of it.
std::string_view firstCharacters(std::string_view text, std::size_t count);

// The number of characters.
std::size_t characterCount(std::string_view text);

// The longest beginning of `text` of whole characters within `bytes` bytes.
std::string_view firstBytes(std::string_view text, std::size_t bytes);

// The longest beginning of `text` of whole characters within `units` UTF-16 code units: what the assistants' programs
// count when they limit a result.
std::string_view firstUnits(std::string_view text, std::size_t units);

// Where a line of the text may end (Unicode Standard Annex 14): offsets in order, the last of them the text's size.
std::vector<std::size_t> lineEnds(std::string_view text);

// The number of UTF-16 code units `text` would take.
std::size_t unitCount(std::string_view text);

// Without any of these ASCII characters at both ends; the spaces; every Unicode white space, line breaks included.
std::string_view trim(std::string_view text, std::string_view characters);
std::string_view trimSpaces(std::string_view text);
std::string_view trimWhitespace(std::string_view text);

// `text` with each run of white space (Unicode, line breaks included) made one space, and none at the ends.
std::string collapseWhitespace(std::string_view text);

// The line break that a text uses: that of its first line, "\n" when it has but one line.
std::string_view lineBreak(std::string_view text);

// `text` with every line break, "\n" or "\r\n", written as this one.
std::string withLineBreaks(std::string_view text, std::string_view lineBreak);

// Whether `words` stands in the text. Takes linear time.
bool contains(std::string_view text, std::string_view words);

// How often `words` (not empty) stands in the text; 0, 1, or more when two of them overlap, too. Takes linear time.
std::size_t occurrences(std::string_view text, std::string_view words);

// The pieces between the separators: one more than there are separators.
std::vector<std::string_view> split(std::string_view text, char separator);

std::string join(const std::vector<std::string>& pieces, std::string_view separator);

}  // namespace vesk::text
