#include "core/mail/HeaderParameters.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "core/base/Ascii.h"
#include "core/base/Charset.h"
#include "core/base/Text.h"
#include "core/mail/MIME.h"
#include "core/mail/MailHeader.h"
#include "core/mail/TransferEncoding.h"

namespace vesk {

namespace {

std::string_view trimBlanks(std::string_view text) { return text::trim(text, " \t"); }

// Up to the blank or the comment that ends it.
std::string_view firstWord(std::string_view text) { return text.substr(0, text.find_first_of(" \t(")); }

// Behind the comments at the start of `text`, which may have semicolons in them.
std::size_t commentsEnd(std::string_view text) {
  std::size_t depth = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char c = text[at];
    if (c == '(')
      ++depth;
    else if (depth == 0 && c != ' ' && c != '\t')
      return at;
    else if (c == ')')
      --depth;
    else if (c == '\\')
      ++at;
  }
  return depth == 0 ? text.size() : 0;
}

// The end of a quoted string that begins at the start of `text`: the place of its closing quote, or npos.
std::size_t closingQuote(std::string_view text) {
  for (std::size_t at = 1; at < text.size(); ++at) {
    if (text[at] == '\\')
      ++at;
    else if (text[at] == '"')
      return at;
  }
  return std::string_view::npos;
}

// Only quotes and backslashes are taken for escaped: file names come with the paths of other systems.
std::string unescaped(std::string_view quoted) {
  std::string text;
  for (std::size_t at = 0; at < quoted.size(); ++at) {
    const bool isEscape =
        quoted[at] == '\\' && at + 1 < quoted.size() && (quoted[at + 1] == '"' || quoted[at + 1] == '\\');
    text += quoted[isEscape ? ++at : at];
  }
  return text;
}

struct Value {
  std::string text = {};
  bool isQuoted = false;
};

// Takes a value and what follows it up to the next ";" off `rest`. A value that isn't quoted may have blanks in it,
// though it shouldn't, and one whose quote is never closed isn't quoted.
Value takeValue(std::string_view& rest) {
  const std::size_t closing = rest.starts_with('"') ? closingQuote(rest) : std::string_view::npos;
  const bool isQuoted = closing != std::string_view::npos;
  const std::size_t end = std::min(rest.find(';', isQuoted ? closing : 0), rest.size());
  const std::size_t begin = rest.starts_with('"') ? 1 : 0;
  std::string text = isQuoted ? unescaped(rest.substr(begin, closing - begin))
                              : std::string(trimBlanks(rest.substr(begin, end - begin)));
  rest.remove_prefix(end);
  return {std::move(text), isQuoted};
}

// A piece of a value: "name*12*" is number 12, and extended.
struct Piece {
  std::size_t number = 0;
  bool isExtended = false;
  std::string_view value = {};
};

// Of the part of a parameter's name behind its first star; nullopt when it is not that of a piece.
std::optional<Piece> pieceNamed(std::string_view suffix, std::string_view value) {
  constexpr std::size_t mostDigits = 6;  // of a number that a field's length leaves room for
  Piece piece{.isExtended = suffix.empty() || suffix.ends_with('*'), .value = value};
  if (suffix.ends_with('*')) suffix.remove_suffix(1);
  if (suffix.size() > mostDigits || !std::all_of(suffix.begin(), suffix.end(), ascii::isDigit)) return std::nullopt;
  for (const char digit : suffix) piece.number = 10 * piece.number + static_cast<std::size_t>(digit - '0');
  return piece;
}

// Takes "charset'language'" off an extended value and returns the charset.
std::string_view takeCharset(std::string_view& value) {
  const std::size_t first = value.find('\'');
  const std::size_t second = first == std::string_view::npos ? first : value.find('\'', first + 1);
  if (second == std::string_view::npos) return {};
  const std::string_view charset = value.substr(0, first);
  value.remove_prefix(second + 1);
  return charset;
}

}  // namespace

HeaderParameters::HeaderParameters(std::string_view unfolded) {
  unfolded.remove_prefix(commentsEnd(unfolded));
  const std::size_t valueEnd = std::min(unfolded.find(';'), unfolded.size());
  value_ = text::key(firstWord(unfolded.substr(0, valueEnd)));
  unfolded.remove_prefix(valueEnd);
  while (!unfolded.empty()) {
    unfolded.remove_prefix(1);  // the ";"
    const std::size_t nameEnd = std::min(unfolded.find_first_of("=;"), unfolded.size());
    Parameter parameter{.name = text::key(trimBlanks(unfolded.substr(0, nameEnd)))};
    unfolded.remove_prefix(nameEnd);
    if (!unfolded.starts_with('=')) continue;
    unfolded.remove_prefix(std::min(unfolded.find_first_not_of(" \t", 1), unfolded.size()));
    Value value = takeValue(unfolded);
    parameter.value = std::move(value.text);
    parameter.isQuoted = value.isQuoted;
    parameters_.push_back(std::move(parameter));
  }
}

std::string HeaderParameters::get(std::string_view name) const {
  if (std::optional<std::string> value = pieced(name)) return *value;
  const Parameter* const parameter = find(name);
  return parameter ? MIME::decodeWords(parameter->value) : "";
}

std::string HeaderParameters::token(std::string_view name) const {
  if (std::optional<std::string> value = pieced(name)) return *value;
  const Parameter* const parameter = find(name);
  if (!parameter) return {};
  return std::string(parameter->isQuoted ? parameter->value : firstWord(parameter->value));
}

const HeaderParameters::Parameter* HeaderParameters::find(std::string_view name) const {
  const auto found =
      std::find_if(parameters_.begin(), parameters_.end(), [&](const Parameter& each) { return each.name == name; });
  return found == parameters_.end() ? nullptr : &*found;
}

std::optional<std::string> HeaderParameters::pieced(std::string_view name) const {
  std::vector<Piece> pieces;
  for (const Parameter& parameter : parameters_) {
    std::string_view suffix = parameter.name;
    if (!suffix.starts_with(name) || suffix.substr(name.size(), 1) != "*") continue;
    suffix.remove_prefix(name.size() + 1);
    if (const auto piece = pieceNamed(suffix, parameter.value)) pieces.push_back(*piece);
  }
  std::stable_sort(pieces.begin(), pieces.end(), [](const Piece& a, const Piece& b) { return a.number < b.number; });
  if (pieces.empty() || pieces.front().number != 0) return std::nullopt;

  const std::string_view charset = pieces.front().isExtended ? takeCharset(pieces.front().value) : "";
  std::string bytes;
  std::size_t next = 0;
  for (const Piece& piece : pieces) {
    if (piece.number != next) continue;  // there twice, or behind one that is missing
    bytes += piece.isExtended ? percentDecoded(piece.value) : std::string(piece.value);
    ++next;
  }
  return pieces.front().isExtended ? charset::text(std::move(bytes), charset) : MIME::decodeWords(bytes);
}

}  // namespace vesk
