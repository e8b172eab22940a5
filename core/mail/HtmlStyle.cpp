#include "core/mail/HtmlStyle.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <system_error>
#include <utility>

#include "core/base/Text.h"
#include "core/mail/HtmlEntities.h"
#include "core/mail/Letters.h"

namespace vesk::html {

namespace {

constexpr std::size_t none = std::string_view::npos;
constexpr std::string_view spaces = " \t\r\n\f";

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
    {"transparent", Look::transparent},
};

std::string lowered(std::string_view text) { return text::key(text::trim(text, spaces)); }

// "#fff" or "#ffffff".
std::int32_t hexColor(std::string_view digits) {
  const auto isHex = [](char c) { return hexValue(c) >= 0; };
  if (!std::all_of(digits.begin(), digits.end(), isHex) || (digits.size() != 3 && digits.size() != 6))
    return Look::unknown;
  std::int32_t color = 0;
  for (const char digit : digits) {
    color = color << 4 | hexValue(digit);
    if (digits.size() == 3) color = color << 4 | hexValue(digit);
  }
  return color;
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

// What stands within "rgb(…)" or "rgba(…)".
std::int32_t rgbColor(std::string_view numbers) {
  std::int32_t color = 0;
  for (int i = 0; i < 3; ++i) {
    const auto channel = takeNumber(numbers);
    if (!channel || !(*channel >= 0 && *channel <= 255)) return Look::unknown;  // "nan" is none
    color = color << 8 | static_cast<std::int32_t>(*channel);
  }
  const auto opacity = takeNumber(numbers);
  return opacity && *opacity == 0 ? Look::transparent : color;
}

std::int32_t colorOf(std::string_view value) {
  if (value.starts_with('#')) return hexColor(value.substr(1));
  if (value.starts_with("rgb")) return rgbColor(value.substr(std::min(value.find('(') + 1, value.size())));
  for (const auto& [name, color] : namedColors)
    if (name == value) return color;
  return Look::unknown;
}

void setBackground(Look& look, std::string_view value) {
  // What shows through is what was there before.
  const std::string_view first = value.starts_with("rgb") ? value : value.substr(0, value.find(' '));
  const std::int32_t color = first == "none" || value.empty() ? Look::transparent : colorOf(first);
  if (color != Look::transparent) look.background = color;
  if (value.find("url(") != none || value.find("gradient") != none) look.background = Look::unknown;
}

void setFontSize(Look& look, std::string_view value) {
  constexpr double readable = 2;  // pixels or points
  const auto number = takeNumber(value);
  const bool isRelative = value.starts_with("em") || value.starts_with('%');
  if (!number) {
    look.isTiny = false;  // "small"
  } else if (*number <= 0) {
    look.isTiny = true;
  } else if (!isRelative) {
    look.isTiny = *number < readable && !value.starts_with("rem");
  }
}

bool isZero(std::string_view value) {
  const auto number = takeNumber(value);
  return number && *number <= 0;
}

bool isFarOutside(std::string_view value) {
  constexpr double outside = -500;  // pixels; units that are larger only move things farther
  const auto number = takeNumber(value);
  return number && *number <= outside;
}

// A declaration of an inline style, both in lower case.
void declare(Look& look, std::string_view property, std::string_view value) {
  if (value == "inherit" || value == "unset") return;
  if (property == "display") look.isGone |= value == "none";
  if (property == "visibility") look.isInvisible = value == "hidden" || value == "collapse";
  if (property == "opacity" || property == "max-height" || property == "max-width") look.isGone |= isZero(value);
  if (property == "text-indent" || property == "left" || property == "top") look.isGone |= isFarOutside(value);
  if (property == "font-size") setFontSize(look, value);
  if (property == "color") look.color = colorOf(value);
  if (property == "background" || property == "background-color") setBackground(look, value);
  if (property == "background-image" && value != "none") look.background = Look::unknown;
}

void setStyle(Look& look, std::string_view style) {
  for (const std::string_view declaration : text::split(style, ';')) {
    const std::size_t colon = declaration.find(':');
    if (colon == none) continue;
    const std::string value = lowered(declaration.substr(colon + 1));
    const std::string_view plain = text::trim(std::string_view(value).substr(0, value.find("!important")), spaces);
    declare(look, lowered(declaration.substr(0, colon)), plain);
  }
}

void setAttribute(Look& look, std::string_view name, std::string_view value) {
  if (name == "hidden") look.isGone = true;
  if (name == "style") setStyle(look, decodeEntities(value));
  if (name == "bgcolor") setBackground(look, lowered(value));
  if (name == "background") look.background = Look::unknown;
  if (name == "color") look.color = colorOf(lowered(value));
}

// The value that begins at `at` in the tag, and moves `at` behind it.
std::string_view takeValue(std::string_view tag, std::size_t& at) {
  at = std::min(tag.find_first_not_of(spaces, at), tag.size());
  const char quote = at < tag.size() && (tag[at] == '"' || tag[at] == '\'') ? tag[at] : '\0';
  const std::size_t begin = quote != '\0' ? at + 1 : at;
  const std::size_t end = quote != '\0' ? tag.find(quote, begin) : tag.find_first_of(" \t\r\n\f>", begin);
  const std::string_view value = tag.substr(begin, std::min(end, tag.size()) - begin);
  at = end == none ? tag.size() : end + 1;
  return value;
}

bool areAlike(std::int32_t a, std::int32_t b) {
  constexpr std::int32_t noticed = 8;  // of 255 shades
  if (a < 0 || b < 0) return false;
  for (int shift = 0; shift < 24; shift += 8)
    if (std::abs(((a >> shift) & 0xFF) - ((b >> shift) & 0xFF)) > noticed) return false;
  return true;
}

}  // namespace

bool Look::hidesText() const {
  return isGone || isInvisible || isTiny || color == transparent || areAlike(color, background);
}

Look lookWithin(std::string_view tag, Look outside) {
  std::size_t at = std::min(tag.find_first_of(" \t\r\n\f/"), tag.size());  // behind the name
  while (true) {
    at = tag.find_first_not_of(" \t\r\n\f/>", at);
    if (at == none) return outside;
    const std::size_t end = std::min(tag.find_first_of(" \t\r\n\f/>=", at + 1), tag.size());
    const std::string name = lowered(tag.substr(at, end - at));
    at = std::min(tag.find_first_not_of(spaces, end), tag.size());
    std::string_view value;
    if (at < tag.size() && tag[at] == '=') value = takeValue(tag, ++at);
    setAttribute(outside, name, value);
  }
}

}  // namespace vesk::html
