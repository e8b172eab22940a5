#include "core/mail/ModifiedUtf7.h"

#include <cstdint>
#include <optional>

#include "core/base/Ascii.h"
#include "core/base/Unicode.h"

namespace vesk {

namespace {

std::optional<std::uint32_t> sixBits(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (ascii::isDigit(c)) return c - '0' + 52;
  if (c == '+') return 62;
  if (c == ',') return 63;
  return std::nullopt;
}

// The UTF-16 of base64 without padding; nullopt when it is none.
std::optional<std::u16string> units(std::string_view encoded) {
  std::u16string decoded;
  std::uint32_t bits = 0;
  int count = 0;
  for (const char c : encoded) {
    const auto more = sixBits(c);
    if (!more) return std::nullopt;
    bits = (bits << 6 | *more) & 0x3FFFFF;
    count += 6;
    if (count < 16) continue;
    count -= 16;
    decoded += static_cast<char16_t>(bits >> count);
  }
  const bool isWhole = count < 6 && (bits & ((1U << count) - 1)) == 0;
  return isWhole ? std::optional(decoded) : std::nullopt;
}

// Nullopt when half of a surrogate pair stands alone.
std::optional<std::string> utf8(std::u16string_view units) {
  std::string text;
  for (std::size_t i = 0; i < units.size(); ++i) {
    const char32_t unit = units[i];
    if (unit < 0xD800 || unit > 0xDFFF) {
      unicode::append(text, unit);
      continue;
    }
    const char32_t low = i + 1 < units.size() ? units[i + 1] : 0;
    if (unit > 0xDBFF || low < 0xDC00 || low > 0xDFFF) return std::nullopt;
    unicode::append(text, 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00));
    ++i;
  }
  return text;
}

// What stands for the letters between "&" and "-".
std::optional<std::string> decoded(std::string_view encoded) {
  if (encoded.empty()) return "&";
  const auto wide = units(encoded);
  return wide ? utf8(*wide) : std::nullopt;
}

}  // namespace

std::string decodedModifiedUtf7(std::string_view name) {
  std::string text;
  while (true) {
    const std::size_t begin = name.find('&');
    const std::size_t end = begin == std::string_view::npos ? begin : name.find('-', begin);
    if (end == std::string_view::npos) return text.append(name);
    text += name.substr(0, begin);
    const auto shifted = name.substr(begin, end + 1 - begin);
    text += decoded(shifted.substr(1, shifted.size() - 2)).value_or(std::string(shifted));
    name.remove_prefix(end + 1);
  }
}

}  // namespace vesk
