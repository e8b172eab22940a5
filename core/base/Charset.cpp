#include "core/base/Charset.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include <unicode/ucnv.h>
#include <unicode/ucnv_err.h>

#include "core/base/Ascii.h"
#include "core/base/Icu.h"
#include "core/base/Text.h"

namespace vesk::charset {

namespace {

using icuCalls::require;

// What is sent under a name, where that is more than the name promises (as browsers take it: the Encoding Standard of
// the WHATWG), by the name that MIME or the IANA prefers, and names that ICU doesn't know.
constexpr std::pair<std::string_view, std::string_view> meanings[] = {
    {"", "utf-8"},
    {"utf-8", "utf-8"},
    {"us-ascii", "utf-8"},
    {"iso-8859-1", "windows-1252"},
    {"iso-8859-9", "windows-1254"},
    {"iso-8859-11", "windows-874"},
    {"tis-620", "windows-874"},
    {"gb2312", "gb18030"},
    {"gb_2312-80", "gb18030"},
    {"gbk", "gb18030"},
    {"x-gbk", "gb18030"},
    {"euc-kr", "windows-949"},
    {"ksc_5601", "windows-949"},
    {"shift_jis", "windows-31j"},
};

std::optional<std::string_view> listedMeaning(std::string_view name) {
  for (const auto& [written, meant] : meanings)
    if (written == name) return meant;
  return std::nullopt;
}

// In lower case: the name that MIME prefers for one of a charset's many ("l1" is ISO-8859-1), or else the IANA; "" for
// what ICU doesn't know.
std::string preferredName(const std::string& name) {
  constexpr std::size_t longestName = 59;  // that ICU looks up
  if (name.size() > longestName) return {};
  for (const char* standard : {"MIME", "IANA"}) {
    UErrorCode status = U_ZERO_ERROR;
    const char* const preferred = ucnv_getStandardName(name.c_str(), standard, &status);
    if (U_SUCCESS(status) && preferred) return text::key(preferred);
  }
  return {};
}

std::string meaning(std::string_view written) {
  const std::string name = text::key(text::trimSpaces(written));
  if (const auto meant = listedMeaning(name)) return std::string(*meant);
  const std::string preferred = preferredName(name);
  return std::string(preferred.empty() ? name : listedMeaning(preferred).value_or(name));
}

struct CloseConverter {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, CloseConverter>;

// Keeps the error that ICU stops with, but for escape sequences that nothing stands between: senders that cut texts in
// pieces write them, and they mean nothing.
void stopAtErrors(const void*, UConverterToUnicodeArgs*, const char*, std::int32_t, UConverterCallbackReason reason,
                  UErrorCode* status) {
  if (reason == UCNV_IRREGULAR) *status = U_ZERO_ERROR;
}

// Nullptr when ICU has none of this name. The converter stops at what isn't of its charset.
Converter open(const std::string& name) {
  if (name.find(',') != std::string::npos) return nullptr;  // what follows would be ICU's options
  UErrorCode status = U_ZERO_ERROR;
  Converter converter(ucnv_open(name.c_str(), &status));
  if (U_FAILURE(status)) return nullptr;
  ucnv_setToUCallBack(converter.get(), stopAtErrors, nullptr, nullptr, nullptr, &status);
  require(status);
  return converter;
}

// By ICU; nullopt when the bytes are not of the converter's charset.
std::optional<std::string> convert(UConverter* from, std::string_view bytes) {
  thread_local const Converter toUtf8 = open("utf-8");
  std::array<UChar, 2048> pivot{};
  std::array<char, 8192> part{};
  UChar* pivotSource = pivot.data();
  UChar* pivotTarget = pivot.data();
  const char* source = bytes.data();
  std::string text;
  for (UBool reset = true;; reset = false) {
    UErrorCode status = U_ZERO_ERROR;
    char* target = part.data();
    ucnv_convertEx(toUtf8.get(), from, &target, part.data() + part.size(), &source, bytes.data() + bytes.size(),
                   pivot.data(), &pivotSource, &pivotTarget, pivot.data() + pivot.size(), reset, true, &status);
    text.append(part.data(), target);
    if (status == U_BUFFER_OVERFLOW_ERROR) continue;
    if (U_FAILURE(status)) return std::nullopt;
    return text;
  }
}

// A character as it is written in UTF-8. Length 0 stands for none.
struct Written {
  std::array<char, 3> bytes = {};
  std::uint8_t length = 0;
};

// A charset of 256 characters at most.
using SingleBytes = std::array<Written, 256>;

std::unique_ptr<const SingleBytes> singleBytes(UConverter* converter) {
  const UConverterType type = ucnv_getType(converter);
  if (type != UCNV_SBCS && type != UCNV_LATIN_1) return nullptr;
  auto table = std::make_unique<SingleBytes>();
  for (std::size_t i = 0; i < table->size(); ++i) {
    const char byte = static_cast<char>(i);
    const std::optional<std::string> text = convert(converter, {&byte, 1});
    if (!text || text->size() > Written().bytes.size()) continue;
    (*table)[i].length = static_cast<std::uint8_t>(text->size());
    std::copy(text->begin(), text->end(), (*table)[i].bytes.begin());
  }
  return table;
}

const Written& written(const SingleBytes& table, char byte) { return table[static_cast<unsigned char>(byte)]; }

// Nullopt when one of the bytes stands for nothing.
std::optional<std::string> convert(const SingleBytes& table, std::string_view bytes) {
  std::size_t size = 0;
  bool isWhole = true;
  for (const char byte : bytes) {
    const std::uint8_t length = written(table, byte).length;
    size += length;
    isWhole &= length > 0;
  }
  if (!isWhole) return std::nullopt;
  std::string text(size + sizeof(Written), '\0');  // three bytes are written of every character
  char* out = text.data();
  for (const char byte : bytes) {
    const Written& character = written(table, byte);
    std::memcpy(out, character.bytes.data(), character.bytes.size());
    out += character.length;
  }
  text.resize(size);
  return text;
}

// How this thread reads one charset.
struct Reader {
  Converter converter = {};
  std::unique_ptr<const SingleBytes> table = {};
  bool containsAscii = false;

  std::optional<std::string> read(std::string_view bytes) const {
    if (!converter) return std::nullopt;
    return table ? convert(*table, bytes) : convert(converter.get(), bytes);
  }
};

Reader openReader(const std::string& name) {
  Reader reader{.converter = open(name)};
  if (!reader.converter) return reader;
  reader.table = singleBytes(reader.converter.get());
  std::string ascii;
  for (char c = 0; ascii::isAscii(c); ++c) ascii += c;
  reader.containsAscii = reader.read(ascii) == ascii;  // not so where some of it switches to other characters
  return reader;
}

const Reader& readerOf(const std::string& name) {
  // Opening a converter takes many times what a short text does. A mail can name thousands of charsets, though.
  constexpr std::size_t mostKept = 64;
  thread_local std::map<std::string, Reader> readers;
  const auto found = readers.find(name);
  if (found != readers.end()) return found->second;
  if (readers.size() == mostKept) readers.clear();
  return readers.emplace(name, openReader(name)).first->second;
}

std::string latin1(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size() + static_cast<std::size_t>(std::count_if(bytes.begin(), bytes.end(),
                                                                     [](char c) { return !ascii::isAscii(c); })));
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x80) text += static_cast<char>(0xC0 | byte >> 6);
    text += static_cast<char>(byte < 0x80 ? byte : 0x80 | (byte & 0x3F));
  }
  return text;
}

constexpr std::string_view utf8 = "utf-8";

// Whether the bytes are the text already. `charset` is a meaning.
bool areText(std::string_view bytes, const std::string& charset) {
  if (charset == utf8) return text::isValidUtf8(bytes);
  return readerOf(charset).containsAscii && text::isAscii(bytes);
}

std::optional<std::string> converted(std::string_view bytes, const std::string& charset) {
  return charset == utf8 ? std::nullopt : readerOf(charset).read(bytes);
}

std::string convertedOrLatin1(std::string_view bytes, const std::string& charset) {
  std::optional<std::string> text = converted(bytes, charset);
  return text ? std::move(*text) : latin1(bytes);
}

}  // namespace

std::string text(std::string_view bytes, std::string_view name) {
  const std::string charset = meaning(name);
  return areText(bytes, charset) ? std::string(bytes) : convertedOrLatin1(bytes, charset);
}

std::string text(std::string&& bytes, std::string_view name) {
  const std::string charset = meaning(name);
  return areText(bytes, charset) ? std::move(bytes) : convertedOrLatin1(bytes, charset);
}

std::optional<std::string> strictText(std::string_view bytes, std::string_view name) {
  const std::string charset = meaning(name);
  return areText(bytes, charset) ? std::string(bytes) : converted(bytes, charset);
}

}  // namespace vesk::charset
