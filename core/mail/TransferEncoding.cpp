#include "core/mail/TransferEncoding.h"

#include <algorithm>

#include "core/base/Ascii.h"
#include "core/base/Base64.h"
#include "core/base/Text.h"

namespace vesk {

namespace {

// Hands on what a line stands for: `pieces` gets the texts that stay as they are, and the bytes that were written as
// `mark` and two digits.
template <char mark, typename Pieces>
void decodeLine(std::string_view line, Pieces& pieces) {
  while (!line.empty()) {
    const std::size_t plain = line.front() == mark ? 0 : std::min(line.find(mark), line.size());
    if (plain > 0) pieces.add(line.substr(0, plain));
    line.remove_prefix(plain);
    if (line.empty()) return;
    const int high = line.size() > 2 ? ascii::hexValue(line[1]) : -1;
    const int low = line.size() > 2 ? ascii::hexValue(line[2]) : -1;
    const bool isByte = high >= 0 && low >= 0;
    pieces.add(isByte ? static_cast<char>(high << 4 | low) : mark);
    line.remove_prefix(isByte ? 3 : 1);
  }
}

// White space before a line break was added on the way, and a "=" there takes the break away.
template <typename Pieces>
void decodeLines(std::string_view text, Pieces& pieces) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    std::string_view lineBreak = text.substr(end, 1);
    if (line.ends_with('\r')) lineBreak = text.substr(end - 1, lineBreak.size() + 1);
    text.remove_prefix(std::min(end + 1, text.size()));
    while (line.ends_with(' ') || line.ends_with('\t') || line.ends_with('\r')) line.remove_suffix(1);
    const bool goesOn = line.ends_with('=');
    if (goesOn) line.remove_suffix(1);
    decodeLine<'='>(line, pieces);
    if (!goesOn) pieces.add(lineBreak);
  }
}

struct Writer {
  std::string text = {};
  void add(std::string_view piece) { text += piece; }
  void add(char byte) { text += byte; }
};

struct WordWriter : Writer {
  using Writer::add;
  void add(std::string_view piece) {
    std::replace_copy(piece.begin(), piece.end(), std::back_inserter(text), '_', ' ');
  }
};

struct Counter {
  std::size_t size = 0;
  void add(std::string_view piece) { size += piece.size(); }
  void add(char) { ++size; }
};

}  // namespace

TransferEncoding transferEncodingNamed(std::string_view name) {
  if (text::equalIgnoringCase(name, "base64")) return TransferEncoding::base64;
  if (text::equalIgnoringCase(name, "quoted-printable")) return TransferEncoding::quotedPrintable;
  return TransferEncoding::none;
}

std::string decoded(std::string_view body, TransferEncoding encoding) {
  if (encoding == TransferEncoding::base64) return base64::decoded(body);
  if (encoding == TransferEncoding::quotedPrintable) return quotedPrintable(body, false);
  return std::string(body);
}

std::size_t decodedSize(std::string_view body, TransferEncoding encoding) {
  if (encoding == TransferEncoding::base64) return base64::decodedSize(body);
  if (encoding == TransferEncoding::none) return body.size();
  Counter counter;
  decodeLines(body, counter);
  return counter.size;
}

std::string quotedPrintable(std::string_view text, bool underscoreIsSpace) {
  if (underscoreIsSpace) {
    WordWriter words;
    decodeLine<'='>(text, words);
    return std::move(words.text);
  }
  Writer lines;
  lines.text.reserve(text.size());
  decodeLines(text, lines);
  return std::move(lines.text);
}

std::string percentDecoded(std::string_view text) {
  Writer writer;
  decodeLine<'%'>(text, writer);
  return std::move(writer.text);
}

}  // namespace vesk
