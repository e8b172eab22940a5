#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/AsciiSearch.h"

namespace vesk::text {

// Looks for words in texts regardless of case and of Unicode form: by canonical caseless matching (NFC, full case
// folding, NFC; The Unicode Standard, 3.13 D145), so that "STRASSE" finds "straße", U+212A is a k and U+017F an s.
// A find never ends before a combining mark: "cafe" is not in "café", however the é is written.
//
// One object is made for a query and asked of many texts; it may be used by several threads at once.
class TextSearch {
 public:
  explicit TextSearch(std::string_view query);

  // True where the query occurs in `text`. An empty query occurs nowhere.
  bool occursIn(std::string_view text) const;

  // The byte offset at which the first line of `text` that holds the query begins; lines end with "\n". Nullopt also
  // where the query occurs only across a line's end.
  std::optional<std::size_t> lineOf(std::string_view text) const;

 private:
  bool occursFolded(std::string_view text) const;

  std::string folded_;
  std::optional<AsciiSearch> ascii_ = {};    // for a query that folds to ASCII,
  std::vector<AsciiFolding> foldings_ = {};  // with what else may spell it
};

// `text` as the search compares it.
std::string folded(std::string_view text);

}  // namespace vesk::text
