#include "core/assistant/JsonLine.h"

#include <bit>
#include <cstring>

#include "core/base/Ascii.h"
#include "core/base/Json.h"
#include "core/base/Text.h"

namespace vesk {

namespace {

using Kind = JsonLine::Kind;
using Piece = JsonLine::Piece;

// As many bytes as are looked at together.
using Block = unsigned char __attribute__((vector_size(16)));

// A text is read with that many zeros behind it: JSON has none, so that every step stops there by itself.
constexpr std::size_t padding = sizeof(Block);

// The first byte at or after `at` that does not stand for itself in a string: a quote, a backslash, a control
// character.
const char* endOfPlain(const char* at) {
  static_assert(std::endian::native == std::endian::little, "The first byte is taken for the lowest.");
  for (;; at += sizeof(Block)) {
    Block block;
    std::memcpy(&block, at, sizeof block);
    const auto found = (block == '"') | (block == '\\') | (block < 0x20);
    std::uint64_t halves[2];
    std::memcpy(halves, &found, sizeof halves);
    if (halves[0] != 0) return at + std::countr_zero(halves[0]) / 8;
    if (halves[1] != 0) return at + 8 + std::countr_zero(halves[1]) / 8;
  }
}

// The code unit of "\uXXXX", which may stand at `at`.
std::optional<unsigned> codeUnit(const char* at) {
  if (at[0] != '\\' || at[1] != 'u') return std::nullopt;
  unsigned unit = 0;
  for (const char* digit = at + 2; digit < at + 6; ++digit) {
    const int value = ascii::hexValue(*digit);
    if (value < 0) return std::nullopt;
    unit = unit * 16 + static_cast<unsigned>(value);
  }
  return unit;
}

// The length of the escape at `at`; 0 when there is none. Half a surrogate pair stands for no character.
std::size_t escapeLength(const char* at) {
  if (*at == '\\' && std::string_view("\"\\/bfnrt").find(at[1]) != std::string_view::npos) return 2;
  const auto unit = codeUnit(at);
  if (!unit) return 0;
  if (*unit < 0xD800 || *unit > 0xDFFF) return 6;
  const auto low = codeUnit(at + 6);
  return *unit <= 0xDBFF && low && *low >= 0xDC00 && *low <= 0xDFFF ? 12 : 0;
}

// The functions below take over at `at` and return where what they have read ends, or nullptr when it isn't there.

const char* skipWhitespace(const char* at) {
  while (*at == ' ' || *at == '\n' || *at == '\r' || *at == '\t') ++at;
  return at;
}

struct Written {
  std::string_view text = {};  // of a string, between the quotes
  bool isEscaped = false;
};

const char* readString(const char* at, Written& written) {
  if (*at != '"') return nullptr;
  const char* const begin = ++at;
  written.isEscaped = false;
  while (*(at = endOfPlain(at)) != '"') {
    const std::size_t length = escapeLength(at);
    if (length == 0) return nullptr;
    written.isEscaped = true;
    at += length;
  }
  written.text = {begin, at};
  return at + 1;
}

const char* readDigits(const char* at) {
  const char* const begin = at;
  while (ascii::isDigit(*at)) ++at;
  return at > begin ? at : nullptr;
}

// -?(0|[1-9][0-9]*)(\.[0-9]+)?([eE][+-]?[0-9]+)?
const char* readNumber(const char* at) {
  at += *at == '-';
  at = *at == '0' ? at + 1 : readDigits(at);
  if (at && *at == '.') at = readDigits(at + 1);
  if (!at || (*at != 'e' && *at != 'E')) return at;
  ++at;
  return readDigits(at + (*at == '+' || *at == '-'));
}

const char* readWord(const char* at) {
  for (const std::string_view word : {"null", "false", "true"})
    if (std::string_view(at, word.size()) == word) return at + word.size();
  return nullptr;
}

// Walks over a text once. Never recurses: the depth is the text's own choice.
class Reader {
 public:
  Reader(std::vector<Piece>& pieces, std::vector<std::size_t>& open) : pieces_(pieces), open_(open) {}

  // Whether [at, end) is a value and nothing else.
  bool read(const char* at, const char* end) {
    while (at) {
      at = skipWhitespace(at);
      if (*at == '{' || *at == '[') {
        if (!open(at)) return false;
        at = skipWhitespace(at + 1);
        if (*at != closing_) {
          at = readKey(at);
          continue;
        }
      } else if (at = readScalar(at); !at) {
        return false;
      }
      for (at = skipWhitespace(at); !open_.empty() && *at == closing_; at = skipWhitespace(at)) close(++at);
      if (open_.empty()) return at == end;
      at = *at == ',' ? readKey(skipWhitespace(at + 1)) : nullptr;
    }
    return false;
  }

 private:
  // Of the member that comes next; an array's elements have none.
  const char* readKey(const char* at) {
    if (closing_ == ']') return at;
    at = readString(at, key_);
    if (at) at = skipWhitespace(at);
    return at && *at == ':' ? at + 1 : nullptr;
  }

  const char* readScalar(const char* at) {
    const bool isString = *at == '"';
    const bool isNumber = *at == '-' || ascii::isDigit(*at);
    Written written;
    const char* const end = isString ? readString(at, written) : isNumber ? readNumber(at) : readWord(at);
    if (!end) return nullptr;
    if (!isString) written.text = {at, end};
    add(isString ? Kind::string : isNumber ? Kind::number : Kind::word, written);
    return end;
  }

  bool open(const char* at) {
    if (open_.size() == Json::maximumDepth) return false;
    open_.push_back(pieces_.size());
    const bool isObject = *at == '{';
    add(isObject ? Kind::object : Kind::array, {{at, 1}});
    closing_ = isObject ? '}' : ']';
    return true;
  }

  void close(const char* end) {
    Piece& piece = pieces_[open_.back()];
    piece.text = {piece.text.data(), end};
    piece.span = static_cast<std::uint32_t>(pieces_.size() - open_.back());
    open_.pop_back();
    if (!open_.empty()) closing_ = pieces_[open_.back()].kind == Kind::object ? '}' : ']';
  }

  void add(Kind kind, const Written& written) {
    pieces_.push_back({key_.text, written.text, 1, kind, key_.isEscaped, written.isEscaped});
  }

  std::vector<Piece>& pieces_;
  std::vector<std::size_t>& open_;  // the pieces that are
  char closing_ = '\0';             // what ends the innermost of them
  Written key_;                     // of the member whose value comes next
};

}  // namespace

// What stands between the quotes of a string, without its escapes.
std::string JsonLine::Value::decoded(std::string_view text) {
  return *Json::parse(std::string("\"").append(text).append("\"")).string();
}

std::vector<JsonLine::Value> JsonLine::Value::elements() const {
  std::vector<Value> all;
  if (kind() != Kind::array) return all;
  for (const Piece* element = piece_ + 1; element < piece_ + piece_->span; element += element->span)
    all.emplace_back(element);
  return all;
}

std::optional<std::string> JsonLine::Value::string() const {
  if (kind() != Kind::string) return std::nullopt;
  return piece_->isTextEscaped ? decoded(piece_->text) : std::string(piece_->text);
}

JsonLine::Value JsonLine::read(std::string_view text) {
  constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
  if (ascii::prefixLength(text) < text.size() && !text::isValidUtf8(text)) return {};
  if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());
  text_.assign(text).append(padding, '\0');
  pieces_.clear();
  open_.clear();
  return Reader(pieces_, open_).read(text_.data(), text_.data() + text.size()) ? Value(pieces_.data()) : Value();
}

}  // namespace vesk
