#include "core/assistant/JsonLine.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "core/base/Ascii.h"
#include "core/base/Json.h"
#include "core/base/Text.h"
#include "core/base/Unicode.h"

namespace vesk {

namespace {

using Kind = JsonLine::Kind;
using Piece = JsonLine::Piece;

// Bytes that are looked at together.
using Block = unsigned char __attribute__((vector_size(16)));

// Where in its bytes the first lies that is set; the size when none is.
std::size_t firstSet(Block found) {
  static_assert(std::endian::native == std::endian::little, "The first byte is taken for the lowest.");
  std::uint64_t halves[2];
  std::memcpy(halves, &found, sizeof halves);
  if (halves[0] != 0) return static_cast<std::size_t>(std::countr_zero(halves[0]) / 8);
  return 8 + static_cast<std::size_t>(std::countr_zero(halves[1]) / 8);
}

Block blockAt(const char* at) {
  Block block;
  std::memcpy(&block, at, sizeof block);
  return block;
}

// The functions below look at the text up to `end` only.

// The first byte at or after `at` that does not stand for itself in a string: a quote, a backslash, a control
// character. The end when there is none.
const char* endOfPlain(const char* at, const char* end) {
  for (; end - at >= static_cast<std::ptrdiff_t>(sizeof(Block)); at += sizeof(Block)) {
    const Block block = blockAt(at);
    const std::size_t first = firstSet((block == '"') | (block == '\\') | (block < 0x20));
    if (first < sizeof(Block)) return at + first;
  }
  return std::find_if(at, end, [](char c) { return c == '"' || c == '\\' || static_cast<unsigned char>(c) < 0x20; });
}

// The bytes that both texts begin with.
std::size_t sameAtFirst(std::string_view a, std::string_view b) {
  const std::size_t most = std::min(a.size(), b.size());
  std::size_t same = 0;
  for (; same + sizeof(Block) <= most; same += sizeof(Block)) {
    const std::size_t first = firstSet(blockAt(a.data() + same) != blockAt(b.data() + same));
    if (first < sizeof(Block)) return same + first;
  }
  while (same < most && a[same] == b[same]) ++same;
  return same;
}

// The code unit of "\uXXXX", which may stand at `at`.
std::optional<unsigned> codeUnit(const char* at, const char* end) {
  if (end - at < 6 || at[0] != '\\' || at[1] != 'u') return std::nullopt;
  unsigned unit = 0;
  for (const char* digit = at + 2; digit < at + 6; ++digit) {
    const int value = ascii::hexValue(*digit);
    if (value < 0) return std::nullopt;
    unit = unit * 16 + static_cast<unsigned>(value);
  }
  return unit;
}

// The length of the escape at `at`; 0 when there is none. Half a surrogate pair stands for no character.
std::size_t escapeLength(const char* at, const char* end) {
  if (end - at < 2 || *at != '\\') return 0;
  if (std::string_view("\"\\/bfnrt").find(at[1]) != std::string_view::npos) return 2;
  const auto unit = codeUnit(at, end);
  if (!unit) return 0;
  if (*unit < 0xD800 || *unit > 0xDFFF) return 6;
  const auto low = codeUnit(at + 6, end);
  return *unit <= 0xDBFF && low && *low >= 0xDC00 && *low <= 0xDFFF ? 12 : 0;
}

// Appends the character that the escape at `at`, which is one, stands for. Returns the escape's length.
std::size_t appendEscaped(const char* at, const char* end, std::string& text) {
  const std::size_t length = escapeLength(at, end);
  if (length == 2) {
    constexpr std::string_view letters = "bfnrt";
    const std::size_t letter = letters.find(at[1]);
    text += letter == std::string_view::npos ? at[1] : "\b\f\n\r\t"[letter];
  } else {
    const auto unit = static_cast<char32_t>(*codeUnit(at, end));
    const bool isPair = length == 12;
    unicode::append(text, isPair ? 0x10000 + ((unit - 0xD800) << 10) + (*codeUnit(at + 6, end) - 0xDC00) : unit);
  }
  return length;
}

struct Written {
  std::string_view text = {};  // of a string, between the quotes
  bool isEscaped = false;
};

// The functions below take over at `at` and return where what they have read ends, or nullptr when it isn't there.

const char* readString(const char* at, const char* end, Written& written) {
  if (at == end || *at != '"') return nullptr;
  const char* const begin = ++at;
  written.isEscaped = false;
  while ((at = endOfPlain(at, end)) != end && *at != '"') {
    const std::size_t length = escapeLength(at, end);
    if (length == 0) return nullptr;
    written.isEscaped = true;
    at += length;
  }
  if (at == end) return nullptr;
  written.text = {begin, at};
  return at + 1;
}

// The others need a zero behind the text: JSON has none, so that each step stops there by itself.

const char* skipWhitespace(const char* at) {
  while (*at == ' ' || *at == '\n' || *at == '\r' || *at == '\t') ++at;
  return at;
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
    if (std::strncmp(at, word.data(), word.size()) == 0) return at + word.size();
  return nullptr;
}

// Walks over a text once. Never recurses: the depth is the text's own choice.
class Reader {
 public:
  // `text` has a zero behind it.
  Reader(std::string_view text, std::vector<Piece>& pieces, std::vector<std::size_t>& open)
      : at_(text.data()), end_(at_ + text.size()), pieces_(pieces), open_(open) {}

  // Whether the text is a value and nothing else.
  bool read() {
    for (const char* at = at_; at;) {
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
      if (open_.empty()) return at == end_;
      at = *at == ',' ? readKey(skipWhitespace(at + 1)) : nullptr;
    }
    return false;
  }

 private:
  // Of the member that comes next; an array's elements have none.
  const char* readKey(const char* at) {
    if (closing_ == ']') return at;
    at = readString(at, end_, key_);
    if (at) at = skipWhitespace(at);
    return at && *at == ':' ? at + 1 : nullptr;
  }

  const char* readScalar(const char* at) {
    const bool isString = *at == '"';
    const bool isNumber = *at == '-' || ascii::isDigit(*at);
    Written written;
    const char* const end = isString ? readString(at, end_, written) : isNumber ? readNumber(at) : readWord(at);
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

  const char* const at_;
  const char* const end_;
  std::vector<Piece>& pieces_;
  std::vector<std::size_t>& open_;  // the pieces that are
  char closing_ = '\0';             // what ends the innermost of them
  Written key_;                     // of the member whose value comes next
};

}  // namespace

// What stands between the quotes of a string that has been read, without its escapes.
std::string JsonLine::Value::decoded(std::string_view text) {
  std::string plain;
  plain.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t escape = std::min(text.find('\\', at), text.size());
    plain.append(text.substr(at, escape - at));
    at = escape + (escape < text.size() ? appendEscaped(text.data() + escape, text.data() + text.size(), plain) : 0);
  }
  return plain;
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
  if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());
  isLikeBefore_ = readLikeModel(text);
  if (!isLikeBefore_) makeModel(text);
  return pieces_.empty() ? Value() : Value(pieces_.data());
}

// The lines of a stream come in few shapes, and most are like the one before but for a text and an identifier: what is
// the same in both needs no second look.
bool JsonLine::readLikeModel(std::string_view line) {
  if (pieces_.empty()) return false;
  const auto put = [&](const ModelString& string, const Written& written) {
    pieces_[string.piece].text = written.text;
    pieces_[string.piece].isTextEscaped = written.isEscaped;
  };
  for (const ModelString& string : changed_)
    put(string, {{model_.data() + string.begin, string.end - string.begin}, string.isEscaped});
  changed_.clear();
  std::string_view model = model_;
  std::size_t passed = 0;                       // of the model
  std::size_t same = sameAtFirst(line, model);  // of what is left of both
  for (const ModelString& string : modelStrings_) {
    if (string.end < passed + same) continue;
    if (string.begin > passed + same) return false;
    // They differ within it.
    line.remove_prefix(string.begin - passed - 1);
    Written written;
    const char* const end = readString(line.data(), line.data() + line.size(), written);
    if (!end || !text::isValidUtf8(written.text)) return false;
    put(string, written);
    changed_.push_back(string);
    line.remove_prefix(static_cast<std::size_t>(end - line.data()));
    passed = string.end + 1;
    model = std::string_view(model_).substr(passed);
    same = sameAtFirst(line, model);
  }
  return same == line.size() && same == model.size();
}

void JsonLine::makeModel(std::string_view text) {
  model_.assign(text);
  modelStrings_.clear();
  changed_.clear();
  pieces_.clear();
  open_.clear();
  if (!text::isValidUtf8(model_) || !Reader(model_, pieces_, open_).read()) return pieces_.clear();
  for (std::size_t i = 0; i < pieces_.size(); ++i) {
    const Piece& piece = pieces_[i];
    if (piece.kind != Kind::string) continue;
    const auto begin = static_cast<std::size_t>(piece.text.data() - model_.data());
    modelStrings_.push_back({i, begin, begin + piece.text.size(), piece.isTextEscaped});
  }
}

}  // namespace vesk
