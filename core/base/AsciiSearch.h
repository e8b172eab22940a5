#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vesk::text {

// Looks for ASCII words in a text byte by byte, regardless of case. Knows nothing of Unicode: TextSearch does.
class AsciiSearch {
 public:
  // `words` are ASCII in lower case, and not empty.
  explicit AsciiSearch(std::string_view words);

  // The offset of the first occurrence at or after `from`; npos when there is none.
  std::size_t find(std::string_view text, std::size_t from) const;

 private:
  // One of the words' letters, by which places are chosen to look at closely.
  struct Anchor {
    std::size_t offset = 0;     // in the words
    unsigned char byte = 0;     // in lower case
    unsigned char caseBit = 0;  // what makes a capital small; 0 for what is no letter
    unsigned char matches(const char* place) const {
      return (static_cast<unsigned char>(place[offset]) | caseBit) == byte;
    }
  };

  static Anchor anchorAt(std::string_view words, std::size_t offset);
  bool occursAt(const char* place) const;
  __attribute__((target_clones("avx2", "default"))) bool mayBeginIn(const char* block) const;

  std::string words_;
  Anchor rarest_;
  Anchor second_;
};

// A character beyond ASCII that folds to ASCII letters, such as U+00DF to "ss".
struct AsciiFolding {
  std::string_view bytes = {};  // of the character, two or three
  std::string_view letters = {};
};

// Those of them that may take part in an occurrence of `words`: none for most words.
std::vector<AsciiFolding> foldingsWithin(std::string_view words);

bool contains(std::string_view text, const AsciiFolding& folding);

}  // namespace vesk::text
