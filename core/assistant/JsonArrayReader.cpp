#include "core/assistant/JsonArrayReader.h"

#include <algorithm>
#include <utility>

#include "core/base/Error.h"
#include "core/base/Text.h"

namespace vesk {

namespace {

constexpr std::string_view blanks = " \t\r\n";

}  // namespace

JsonArrayReader::JsonArrayReader(PieceReader read, std::size_t longest) : read_(std::move(read)), longest_(longest) {
  constexpr std::string_view blanksAndMark = "\xEF\xBB\xBF \t\r\n";
  while (piece_.empty() && readPiece())
    piece_.remove_prefix(std::min(piece_.find_first_not_of(blanksAndMark), piece_.size()));
  if (!piece_.starts_with('[')) throw Error("This file holds no list in JSON.");
  piece_.remove_prefix(1);
}

std::optional<JsonArrayReader::Element> JsonArrayReader::next() {
  element_.clear();
  isTooLong_ = false;
  do {
    if (isAtEnd_ || (piece_.empty() && !readPiece())) return std::nullopt;
  } while (!readToElementEnd());
  const std::string_view text = text::trim(element_, blanks);
  if (isAtEnd_ && text.empty() && !isTooLong_) return std::nullopt;  // no element, but the array's end
  return Element{text, isTooLong_};
}

bool JsonArrayReader::readPiece() {
  piece_ = read_();
  isAtEnd_ = piece_.empty();
  return !isAtEnd_;
}

// False when the element goes on after this piece.
bool JsonArrayReader::readToElementEnd() {
  for (std::size_t at = 0; at < piece_.size(); ++at) {
    if (isInString_) at = endOfString(at);
    if (at == piece_.size()) break;
    const char c = piece_[at];
    if (depth_ == 1 && (c == ',' || c == ']')) {
      isAtEnd_ = isWhole_ = c == ']';
      keep(piece_.substr(0, at));
      piece_.remove_prefix(at + 1);
      return true;
    }
    isInString_ = c == '"' && !isInString_;
    if (c == '[' || c == '{') ++depth_;
    if (depth_ > 1 && (c == ']' || c == '}')) --depth_;
  }
  keep(std::exchange(piece_, {}));
  return false;
}

// The closing quote of a string that goes on at `at`; the piece's end when it isn't in this piece.
std::size_t JsonArrayReader::endOfString(std::size_t at) {
  for (; at < piece_.size(); ++at) {
    if (std::exchange(isEscaped_, false)) continue;
    if (piece_[at] == '"') return at;
    isEscaped_ = piece_[at] == '\\';
  }
  return at;
}

void JsonArrayReader::keep(std::string_view text) {
  isTooLong_ = isTooLong_ || text.size() > longest_ - element_.size();
  if (isTooLong_)
    element_.clear();
  else
    element_ += text;
}

}  // namespace vesk
