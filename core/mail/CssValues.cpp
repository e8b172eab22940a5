#include "core/mail/CssValues.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <system_error>
#include <utility>

#include "core/base/Ascii.h"
#include "core/base/Text.h"

namespace vesk::css {

namespace {

constexpr std::size_t none = std::string_view::npos;

constexpr std::pair<std::string_view, std::int32_t> namedColors[] = {
    {"white", 0xFFFFFF},
    {"black", 0x000000},
    {"red", 0xFF0000},
    {"green", 0x008000},
    {"blue", 0x0000FF},
    {"yellow", 0xFFFF00},
    {"gray", 0x808080},
    {"grey", 0x808080},
    {"silver", 0xC0C0C0},
    {"snow", 0xFFFAFA},
    {"ivory", 0xFFFFF0},
    {"whitesmoke", 0xF5F5F5},
    {"ghostwhite", 0xF8F8FF},
    {"navy", 0x000080},
    {"lightgray", 0xD3D3D3},
    {"lightgrey", 0xD3D3D3},
    {"transparent", transparentColor},
};

// "#fff" or "#ffffff", either with an opacity.
std::int32_t hexColor(std::string_view digits) {
  const auto isHex = [](char c) { return ascii::hexValue(c) >= 0; };
  const bool isShort = digits.size() == 3 || digits.size() == 4;
  if (!std::all_of(digits.begin(), digits.end(), isHex) || (!isShort && digits.size() != 6 && digits.size() != 8))
    return unknownColor;
  std::int64_t color = 0;
  for (const char digit : digits) {
    color = color << 4 | ascii::hexValue(digit);
    if (isShort) color = color << 4 | ascii::hexValue(digit);
  }
  if (digits.size() == 3 || digits.size() == 6) return static_cast<std::int32_t>(color);
  return static_cast<double>(color & 0xFF) / 255 < faint ? transparentColor : static_cast<std::int32_t>(color >> 8);
}

// A number at the beginning of `text`, which it is taken off; nullopt without one.
std::optional<double> takeNumber(std::string_view& text) {
  text = text.substr(std::min(text.find_first_not_of(" ,\t/"), text.size()));
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
  if (error != std::errc()) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return number;
}

// A number that may be a percentage of `whole`.
std::optional<double> takeShare(std::string_view& text, double whole) {
  const auto number = takeNumber(text);
  if (!number || !text.starts_with('%')) return number;
  text.remove_prefix(1);
  return *number / 100 * whole;
}

// What stands within "rgb(…)" or "rgba(…)".
std::int32_t rgbColor(std::string_view numbers) {
  std::int32_t color = 0;
  for (int i = 0; i < 3; ++i) {
    const auto channel = takeShare(numbers, 255);
    if (!channel || !(*channel >= 0 && *channel <= 255)) return unknownColor;  // "nan" is none
    color = color << 8 | static_cast<std::int32_t>(*channel);
  }
  const auto opacity = takeShare(numbers, 1);
  return opacity && *opacity < faint ? transparentColor : color;
}

// A length in pixels, as far as that matters here.
std::optional<double> takePixels(std::string_view& text) {
  constexpr double letter = 16;
  const auto number = takeShare(text, letter);
  if (!number) return std::nullopt;
  return text.starts_with("em") || text.starts_with("rem") ? *number * letter : *number;
}

// What stands behind "(" in a function whose name begins so; empty without one.
std::string_view argumentsOf(std::string_view value, std::string_view name) {
  const std::size_t begin = value.find(name);
  const std::size_t open = begin == none ? none : value.find('(', begin);
  return open == none ? std::string_view() : value.substr(open + 1);
}

}  // namespace

std::string lowered(std::string_view text) { return text::key(text::trim(text, spaces)); }

bool areAlike(std::int32_t a, std::int32_t b) {
  constexpr std::int32_t noticed = 8;  // of 255 shades
  if (a < 0 || b < 0) return false;
  for (int shift = 0; shift < 24; shift += 8)
    if (std::abs(((a >> shift) & 0xFF) - ((b >> shift) & 0xFF)) > noticed) return false;
  return true;
}

Meaning colorOf(std::string_view value) {
  if (value.starts_with('#')) return hexColor(value.substr(1));
  if (value.starts_with("rgb")) return rgbColor(value.substr(std::min(value.find('(') + 1, value.size())));
  for (const auto& [name, color] : namedColors)
    if (name == value) return color;
  return unknownColor;
}

Meaning backgroundOf(std::string_view value) {
  const std::string_view first = value.starts_with("rgb") ? value : value.substr(0, value.find(' '));
  return first == "none" || value.empty() ? transparentColor : colorOf(first);
}

Meaning isPicture(std::string_view value) {
  return value.find("url(") != none || value.find("gradient") != none || value.find("image") != none;
}

Meaning isNone(std::string_view value) { return value == "none"; }
Meaning isAll(std::string_view value) { return value == "all"; }
Meaning isUnseen(std::string_view value) { return value == "hidden" || value == "collapse"; }
Meaning isCut(std::string_view value) { return value != "visible"; }

Meaning isFaint(std::string_view value) {
  const auto share = takeShare(value, 1);
  return share && *share < faint;
}

Meaning isFlat(std::string_view value) {
  constexpr double line = 1;
  const bool isShare = value.find('%') != none;
  const auto length = takePixels(value);
  return length && *length <= (isShare ? 0 : line);
}

Meaning isZero(std::string_view value) {
  const auto length = takePixels(value);
  return length && *length <= 0;
}

Meaning isFarOutside(std::string_view value) {
  constexpr double outside = -500;
  for (std::string_view length : text::split(value, ' '))
    if (const auto pixels = takePixels(length); pixels && *pixels <= outside) return true;
  return false;
}

Meaning isTinyFont(std::string_view value) {
  constexpr double readable = 2;
  const auto size = takePixels(value);
  if (!size) return false;  // "small"
  if (*size < readable) return true;
  // A share of what is tiny is tiny.
  if (value.starts_with("em") || value.empty()) return std::nullopt;
  return false;
}

Meaning isTinyInFont(std::string_view value) {
  for (const std::string_view word : text::split(value, ' ')) {
    const std::string_view size = word.substr(0, word.find('/'));
    std::string_view unit = size;
    const auto number = takeNumber(unit);
    if (number && (!unit.empty() || *number <= 0)) return isTinyFont(size);
  }
  return std::nullopt;
}

Meaning isShrunk(std::string_view value) {
  std::string_view scale = argumentsOf(value, "scale");
  const auto factor = takeNumber(scale);
  std::string_view move = argumentsOf(value, "translate");
  return (factor && std::abs(*factor) < faint) || *isFarOutside(move) != 0;
}

Meaning isClipped(std::string_view value) {
  std::string_view inset = argumentsOf(value, "inset");
  if (!inset.empty()) {
    const auto side = takeNumber(inset);
    return side && *side >= 50 && inset.starts_with('%');
  }
  std::string plain(value);
  plain.erase(std::remove_if(plain.begin(), plain.end(), [](char c) { return c == ' ' || c == ','; }), plain.end());
  const bool isPoint = plain.find('0') != none && plain.find_first_of("123456789") == none;
  return isPoint || plain == "rect(1px1px1px1px)";
}

}  // namespace vesk::css
