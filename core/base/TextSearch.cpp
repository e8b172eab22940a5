#include "core/base/TextSearch.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <cstdint>
#include <cstring>
#include <memory>

#include <unicode/bytestream.h>
#include <unicode/casemap.h>
#include <unicode/uchar.h>

#include "core/base/Ascii.h"
#include "core/base/Icu.h"
#include "core/base/Text.h"
#include "core/base/Unicode.h"

// Folding the whole vault is most of what a search costs, so nearly all characters are folded without ICU: ASCII in
// blocks that the compiler makes vector instructions of, the others by tables that are made on first need. ICU folds
// what is left in clusters: a character with those after it that may change it or change places with it. No
// normalisation crosses the border of a cluster, nor of its folded form, so the pieces join to what folding the whole
// text would give.
namespace vesk::text {
namespace {

bool joinsWhatIsBefore(char32_t c) { return c >= 0x300 && !icuCalls::nfc().hasBoundaryBefore(static_cast<UChar32>(c)); }

bool joinsWhatIsBefore(std::string_view text, std::size_t position) {
  if (position >= text.size() || static_cast<unsigned char>(text[position]) < 0xCC) return false;  // below U+0300
  return joinsWhatIsBefore(unicode::decode(text, position).value);
}

std::string foldedByIcu(std::string_view text) {
  std::string result;
  UErrorCode status = U_ZERO_ERROR;
  icu::StringByteSink<std::string> sink(&result);
  icu::CaseMap::utf8Fold(U_FOLD_CASE_DEFAULT, icuCalls::piece(nfc(text)), sink, nullptr, status);
  icuCalls::require(status);
  return nfc(result);
}

std::string utf8(char32_t c) {
  std::string bytes;
  return icu::UnicodeString(static_cast<UChar32>(c)).toUTF8String(bytes);
}

// The folded form of a character from U+0080 to U+07FF.
struct ShortFolding {
  std::array<char, 4> bytes{};
  std::uint8_t length = 0;  // 0 for a character that joins the one before
};

using ShortFoldings = std::array<ShortFolding, 0x800>;

const ShortFoldings& shortFoldings() {
  static const std::unique_ptr<const ShortFoldings> foldings = [] {
    auto made = std::make_unique<ShortFoldings>();
    for (char32_t c = 0x80; c < 0x800; ++c) {
      if (joinsWhatIsBefore(c)) continue;
      const std::string folding = foldedByIcu(utf8(c));
      ShortFolding& entry = (*made)[c];
      entry.length = static_cast<std::uint8_t>(folding.copy(entry.bytes.data(), entry.bytes.size()));
    }
    return made;
  }();
  return *foldings;
}

// True for a character that folds to itself and leaves alone what is before it.
bool isPlain(char32_t value) {
  const auto c = static_cast<UChar32>(value);
  if (u_foldCase(c, U_FOLD_CASE_DEFAULT) != c || joinsWhatIsBefore(value)) return false;
  if (u_getIntPropertyValue(c, UCHAR_NFC_QUICK_CHECK) != UNORM_YES) return false;
  // A single letter may fold to several, like the ligatures.
  return !u_hasBinaryProperty(c, UCHAR_CASED) || foldedByIcu(utf8(value)) == utf8(value);
}

using PlainCharacters = std::bitset<0x10000>;

const PlainCharacters& plainCharacters() {
  static const std::unique_ptr<const PlainCharacters> characters = [] {
    auto made = std::make_unique<PlainCharacters>();
    for (char32_t c = 0x800; c < made->size(); ++c) (*made)[c] = isPlain(c);
    return made;
  }();
  return *characters;
}

// Folds a text piece by piece, so that what is searched stays in the processor's cache and no text is too long.
class Folding {
 public:
  static constexpr std::size_t pieceSize = 16 * 1024;
  // No form of a character takes over three times its bytes. A piece may end with a cluster more, and twoBytes() writes
  // up to three bytes too many.
  static std::size_t capacity(std::size_t textSize) {
    return 3 * (std::min(textSize, pieceSize) + 2 * longestCluster * 4) + 3;
  }

  explicit Folding(std::string_view text) : text_(text) {}

  bool isAtEnd() const { return position_ == text_.size(); }

  // Writes the next piece, which ends with a whole cluster, to `output`, where there is room for capacity(). Returns
  // its end there.
  char* next(char* output) {
    output_ = output;
    closeCluster();
    const std::size_t limit = position_ + std::min(pieceSize, text_.size() - position_);
    while (position_ < limit) step(limit);
    if (joinsWhatIsBefore(text_, position_)) cluster();
    return output_;
  }

 private:
  // Clusters in real text are of a few characters. Those over this many are cut, since to order the marks of a cluster
  // takes time quadratic in its length.
  static constexpr std::size_t longestCluster = 64;

  void step(std::size_t limit) {
    const auto lead = static_cast<unsigned char>(text_[position_]);
    if (lead < 0x80) return asciiRun(limit);
    if (lead < 0xE0) return twoBytes(lead);
    longer();
  }

  void asciiRun(std::size_t limit) {
    const std::size_t length = ascii::prefixLength(text_.substr(position_, limit - position_));
    output_ = std::transform(text_.data() + position_, text_.data() + position_ + length, output_, ascii::lower);
    position_ += length;
    clusterStart_ = position_ - 1;
    clusterOutput_ = output_ - 1;
  }

  void twoBytes(unsigned char lead) {
    if (lead < 0xC2 || text_.size() - position_ < 2) return copy(1);  // ill-formed
    const unsigned index = (lead & 0x1Fu) << 6 | (static_cast<unsigned char>(text_[position_ + 1]) & 0x3Fu);
    const ShortFolding& folding = shortFoldings()[index];
    if (folding.length == 0) return cluster();
    closeCluster();
    std::memcpy(output_, folding.bytes.data(), folding.bytes.size());
    output_ += folding.length;
    position_ += 2;
  }

  void longer() {
    const unicode::CodePoint c = unicode::decode(text_, position_);
    const bool plain = c.value < 0x10000 ? plainCharacters()[c.value] : isPlain(c.value);
    if (plain) return copy(c.length);
    if (!joinsWhatIsBefore(c.value)) closeCluster();
    cluster();
  }

  void copy(std::size_t bytes) {
    closeCluster();
    for (std::size_t i = 0; i < bytes; ++i) *output_++ = text_[position_++];
  }

  // Folds the open cluster, with all that joins it from here on, once more as one.
  void cluster() {
    output_ = clusterOutput_;
    std::size_t length = 0;
    do {
      position_ += unicode::decode(text_, position_).length;
      ++length;
    } while (length < longestCluster && joinsWhatIsBefore(text_, position_));
    const std::string folding = foldedByIcu(text_.substr(clusterStart_, position_ - clusterStart_));
    output_ = std::copy(folding.begin(), folding.end(), output_);
    closeCluster();
  }

  // What comes next starts a cluster.
  void closeCluster() {
    clusterStart_ = position_;
    clusterOutput_ = output_;
  }

  std::string_view text_;
  std::size_t position_ = 0;
  char* output_ = nullptr;
  std::size_t clusterStart_ = 0;  // in the text: where the last character read starts
  char* clusterOutput_ = nullptr;
};

// Where `words` is in `text` and no mark follows that would make its last letter another one.
bool holds(std::string_view text, std::string_view words) {
  while (const void* found = memmem(text.data(), text.size(), words.data(), words.size())) {
    const auto start = static_cast<std::size_t>(static_cast<const char*>(found) - text.data());
    if (!joinsWhatIsBefore(text, start + words.size())) return true;
    text.remove_prefix(start + 1);
  }
  return false;
}

}  // namespace

std::string folded(std::string_view text) {
  std::string result;
  const auto buffer = std::make_unique_for_overwrite<char[]>(Folding::capacity(text.size()));
  for (Folding folding(text); !folding.isAtEnd();) result.append(buffer.get(), folding.next(buffer.get()));
  return result;
}

TextSearch::TextSearch(std::string_view query) : folded_(folded(query)) {
  if (folded_.empty() || !isAscii(folded_)) return;
  ascii_.emplace(folded_);
  foldings_ = foldingsWithin(folded_);
}

bool TextSearch::occursIn(std::string_view text) const {
  if (folded_.empty()) return false;
  if (!ascii_) return occursFolded(text);
  // Where the text itself has the query's letters, they need no folding.
  bool beforeMark = false;
  for (std::size_t at = ascii_->find(text, 0); at != std::string_view::npos; at = ascii_->find(text, at + 1)) {
    if (!joinsWhatIsBefore(text, at + folded_.size())) return true;
    beforeMark = true;
  }
  const auto isThere = [&](const AsciiFolding& folding) { return contains(text, folding); };
  return (beforeMark || std::any_of(foldings_.begin(), foldings_.end(), isThere)) && occursFolded(text);
}

bool TextSearch::occursFolded(std::string_view text) const {
  // An occurrence may lie across the border of two pieces: the end of each is kept for the next.
  const std::size_t overlap = folded_.size() - 1;
  const auto buffer = std::make_unique_for_overwrite<char[]>(overlap + Folding::capacity(text.size()));
  std::size_t kept = 0;
  for (Folding folding(text); !folding.isAtEnd();) {
    const char* end = folding.next(buffer.get() + kept);
    const std::string_view piece(buffer.get(), static_cast<std::size_t>(end - buffer.get()));
    if (holds(piece, folded_)) return true;
    kept = std::min(overlap, piece.size());
    std::memmove(buffer.get(), piece.data() + piece.size() - kept, kept);
  }
  return false;
}

std::optional<std::size_t> TextSearch::lineOf(std::string_view text) const {
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = std::min(text.find('\n', start), text.size());
    if (occursIn(text.substr(start, end - start))) return start;
    start = end + 1;
  }
  return std::nullopt;
}

}  // namespace vesk::text
