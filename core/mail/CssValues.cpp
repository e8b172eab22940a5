#include "core/mail/CssValues.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <system_error>

#include "core/base/Ascii.h"
#include "core/base/Text.h"

namespace vesk::css {

namespace {

constexpr std::size_t none = std::string_view::npos;

// Those of CSS Color Level 4, and the system colors of plain text.
constexpr std::string_view namedColors =
    " aliceblue=f0f8ff antiquewhite=faebd7 aqua=00ffff aquamarine=7fffd4 azure=f0ffff beige=f5f5dc bisque=ffe4c4"
    " black=000000 blanchedalmond=ffebcd blue=0000ff blueviolet=8a2be2 brown=a52a2a burlywood=deb887 cadetblue=5f9ea0"
    " canvas=ffffff canvastext=000000 chartreuse=7fff00 chocolate=d2691e coral=ff7f50 cornflowerblue=6495ed"
    " cornsilk=fff8dc crimson=dc143c cyan=00ffff darkblue=00008b darkcyan=008b8b darkgoldenrod=b8860b darkgray=a9a9a9"
    " darkgreen=006400 darkgrey=a9a9a9 darkkhaki=bdb76b darkmagenta=8b008b darkolivegreen=556b2f darkorange=ff8c00"
    " darkorchid=9932cc darkred=8b0000 darksalmon=e9967a darkseagreen=8fbc8f darkslateblue=483d8b"
    " darkslategray=2f4f4f darkslategrey=2f4f4f darkturquoise=00ced1 darkviolet=9400d3 deeppink=ff1493"
    " deepskyblue=00bfff dimgray=696969 dimgrey=696969 dodgerblue=1e90ff firebrick=b22222 floralwhite=fffaf0"
    " forestgreen=228b22 fuchsia=ff00ff gainsboro=dcdcdc ghostwhite=f8f8ff gold=ffd700 goldenrod=daa520 gray=808080"
    " green=008000 greenyellow=adff2f grey=808080 honeydew=f0fff0 hotpink=ff69b4 indianred=cd5c5c indigo=4b0082"
    " ivory=fffff0 khaki=f0e68c lavender=e6e6fa lavenderblush=fff0f5 lawngreen=7cfc00 lemonchiffon=fffacd"
    " lightblue=add8e6 lightcoral=f08080 lightcyan=e0ffff lightgoldenrodyellow=fafad2 lightgray=d3d3d3"
    " lightgreen=90ee90 lightgrey=d3d3d3 lightpink=ffb6c1 lightsalmon=ffa07a lightseagreen=20b2aa lightskyblue=87cefa"
    " lightslategray=778899 lightslategrey=778899 lightsteelblue=b0c4de lightyellow=ffffe0 lime=00ff00"
    " limegreen=32cd32 linen=faf0e6 magenta=ff00ff maroon=800000 mediumaquamarine=66cdaa mediumblue=0000cd"
    " mediumorchid=ba55d3 mediumpurple=9370db mediumseagreen=3cb371 mediumslateblue=7b68ee mediumspringgreen=00fa9a"
    " mediumturquoise=48d1cc mediumvioletred=c71585 midnightblue=191970 mintcream=f5fffa mistyrose=ffe4e1"
    " moccasin=ffe4b5 navajowhite=ffdead navy=000080 oldlace=fdf5e6 olive=808000 olivedrab=6b8e23 orange=ffa500"
    " orangered=ff4500 orchid=da70d6 palegoldenrod=eee8aa palegreen=98fb98 paleturquoise=afeeee palevioletred=db7093"
    " papayawhip=ffefd5 peachpuff=ffdab9 peru=cd853f pink=ffc0cb plum=dda0dd powderblue=b0e0e6 purple=800080"
    " rebeccapurple=663399 red=ff0000 rosybrown=bc8f8f royalblue=4169e1 saddlebrown=8b4513 salmon=fa8072"
    " sandybrown=f4a460 seagreen=2e8b57 seashell=fff5ee sienna=a0522d silver=c0c0c0 skyblue=87ceeb slateblue=6a5acd"
    " slategray=708090 slategrey=708090 snow=fffafa springgreen=00ff7f steelblue=4682b4 tan=d2b48c teal=008080"
    " thistle=d8bfd8 tomato=ff6347 turquoise=40e0d0 violet=ee82ee wheat=f5deb3 white=ffffff whitesmoke=f5f5f5"
    " window=ffffff windowtext=000000 yellow=ffff00 yellowgreen=9acd32 ";

bool areHex(std::string_view digits) {
  return std::all_of(digits.begin(), digits.end(), [](char c) { return ascii::hexValue(c) >= 0; });
}

// "#fff" or "#ffffff", either with an opacity.
Meaning hexColor(std::string_view digits) {
  const bool isShort = digits.size() == 3 || digits.size() == 4;
  if (!areHex(digits) || (!isShort && digits.size() != 6 && digits.size() != 8)) return std::nullopt;
  std::int64_t color = 0;
  for (const char digit : digits) {
    color = color << 4 | ascii::hexValue(digit);
    if (isShort) color = color << 4 | ascii::hexValue(digit);
  }
  if (digits.size() == 3 || digits.size() == 6) return static_cast<std::int32_t>(color);
  return static_cast<double>(color & 0xFF) / 255 < faint ? transparentColor : static_cast<std::int32_t>(color >> 8);
}

template <std::size_t count>
bool isOneOf(std::string_view value, const std::string_view (&words)[count]) {
  return std::find(words, words + count, value) != words + count;
}

// True for what is a value, but not known before it is shown.
bool isComputed(std::string_view value) {
  constexpr std::string_view functions[] = {"var(", "calc(", "min(", "max(", "clamp(", "env("};
  return value.find('(') != none &&
         std::any_of(std::begin(functions), std::end(functions),
                     [&](std::string_view function) { return value.find(function) != none; });
}

// "none" and "scale(1)".
bool isNoneOrFunction(std::string_view value) { return value == "none" || value == "auto" || value.ends_with(')'); }

// A number at the beginning of `text`, which it is taken off; nullopt without one.
std::optional<double> takeNumber(std::string_view& text) {
  text = text.substr(std::min(text.find_first_not_of(" ,\t/"), text.size()));
  if (text.starts_with('+')) text.remove_prefix(1);
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || !std::isfinite(number)) return std::nullopt;
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

// A share that is the whole of `value`.
std::optional<double> shareOf(std::string_view value, double whole) {
  const auto share = takeShare(value, whole);
  return value.empty() ? share : std::nullopt;
}

// `color` with the opacity that may follow.
std::int32_t withOpacity(std::int32_t color, std::string_view rest) {
  const auto opacity = takeShare(rest, 1);
  return opacity && *opacity < faint ? transparentColor : color;
}

std::int32_t withChannel(std::int32_t color, double channel) {
  return color << 8 | static_cast<std::int32_t>(std::lround(std::clamp(channel, 0.0, 255.0)));
}

// What stands within "rgb(…)" or "rgba(…)".
Meaning rgbColor(std::string_view numbers) {
  std::int32_t color = 0;
  for (int i = 0; i < 3; ++i) {
    const auto channel = takeShare(numbers, 255);
    if (!channel) return std::nullopt;
    color = withChannel(color, *channel);
  }
  return withOpacity(color, numbers);
}

// What stands within "hsl(…)" or "hsla(…)": CSS Color Level 4, 7.1.
Meaning hslColor(std::string_view numbers) {
  const auto hue = takeNumber(numbers);
  if (numbers.starts_with("deg")) numbers.remove_prefix(3);
  const auto saturation = takeShare(numbers, 100);
  const auto lightness = takeShare(numbers, 100);
  if (!hue || !saturation || !lightness) return std::nullopt;
  const double middle = std::clamp(*lightness / 100, 0.0, 1.0);
  const double reach = std::clamp(*saturation / 100, 0.0, 1.0) * std::min(middle, 1 - middle);
  std::int32_t color = 0;
  for (const double begin : {0.0, 8.0, 4.0}) {
    const double k = std::fmod(begin + std::fmod(*hue / 30, 12) + 12, 12);
    color = withChannel(color, 255 * (middle - reach * std::clamp(std::min(k - 3, 9 - k), -1.0, 1.0)));
  }
  return withOpacity(color, numbers);
}

Meaning namedColor(std::string_view name) {
  if (name.empty() || !std::all_of(name.begin(), name.end(), ascii::isLetter)) return std::nullopt;
  const std::string key = " " + std::string(name) + "=";
  const std::size_t at = namedColors.find(key);
  if (at == none) return std::nullopt;
  return hexColor(namedColors.substr(at + key.size(), 6));
}

// A length in pixels, as far as that matters here. Leaves the unit.
std::optional<double> takePixels(std::string_view& text) {
  constexpr double letter = 16;
  const auto number = takeShare(text, letter);
  if (!number) return std::nullopt;
  return text.starts_with("em") || text.starts_with("rem") ? *number * letter : *number;
}

// A length that is the whole of `value`. Without a unit it is one in old documents.
std::optional<double> lengthOf(std::string_view value) {
  constexpr std::string_view units[] = {"",   "px", "em", "rem", "%",  "pt", "ex",   "ch",  "pc",
                                        "in", "cm", "mm", "q",   "vw", "vh", "vmin", "vmax"};
  const auto length = takePixels(value);
  return isOneOf(value, units) ? length : std::nullopt;
}

// What a property that takes lengths says with another value.
Meaning withoutLength(std::string_view value) {
  constexpr std::string_view words[] = {"auto", "none", "normal", "fit-content", "min-content", "max-content"};
  return isOneOf(value, words) || isComputed(value) ? Meaning(0) : std::nullopt;
}

constexpr double outside = -500;
constexpr double outsideAnything = -2500;

// 2 for what is beyond any screen.
std::int32_t farness(std::optional<double> pixels) {
  if (!pixels || *pixels > outside) return 0;
  return *pixels > outsideAnything ? 1 : 2;
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
  constexpr std::string_view others[] = {"hwb(",   "lab(",   "lch(",       "oklab(",
                                         "oklch(", "color(", "color-mix(", "light-dark("};
  const auto isBefore = [&](std::string_view function) { return value.starts_with(function); };
  if (value == "transparent") return transparentColor;
  if (value.starts_with('#')) return hexColor(value.substr(1));
  if (isComputed(value) || std::any_of(std::begin(others), std::end(others), isBefore)) return unknownColor;
  const std::string_view arguments = argumentsOf(value, "");
  if (value.starts_with("rgb")) return rgbColor(arguments);
  if (value.starts_with("hsl")) return hslColor(arguments);
  return namedColor(value);
}

std::int32_t attributeColorOf(std::string_view value) {
  if (areHex(value) && value.size() == 6) return *hexColor(value);
  if (areHex(value) && value.size() == 3) {
    const std::string digits = {'0', value[0], '0', value[1], '0', value[2]};
    return *hexColor(digits);
  }
  return colorOf(value).value_or(unknownColor);
}

Meaning backgroundOf(std::string_view value) {
  for (const std::string_view function : {"rgb", "hsl"})
    if (const std::size_t begin = value.find(function); begin != none) return colorOf(value.substr(begin));
  for (const std::string_view word : text::split(value, ' '))
    if (const Meaning color = colorOf(word)) return color;
  if (value == "none" || value == "0") return transparentColor;
  return value.find('(') == none ? std::nullopt : Meaning(unknownColor);
}

Meaning isPicture(std::string_view value) {
  return value.find("url(") != none || value.find("gradient") != none || value.find("image") != none;
}

Meaning isNone(std::string_view value) {
  constexpr std::string_view shown[] = {"block",
                                        "inline",
                                        "inline-block",
                                        "list-item",
                                        "contents",
                                        "flow-root",
                                        "flex",
                                        "inline-flex",
                                        "grid",
                                        "inline-grid",
                                        "table",
                                        "inline-table",
                                        "table-row",
                                        "table-cell",
                                        "table-column",
                                        "table-row-group",
                                        "table-header-group",
                                        "table-footer-group",
                                        "-webkit-box",
                                        "table-caption",
                                        "-webkit-flex",
                                        "table-column-group",
                                        "-webkit-inline-box",
                                        "run-in",
                                        "ruby",
                                        "inline flow-root",
                                        "block flow"};
  if (value == "none") return 1;
  return isOneOf(value, shown) || isComputed(value) ? Meaning(0) : std::nullopt;
}

Meaning isUnseen(std::string_view value) {
  if (value == "hidden" || value == "collapse") return 1;
  return value == "visible" || isComputed(value) ? Meaning(0) : std::nullopt;
}

Meaning isCut(std::string_view value) {
  constexpr std::string_view cutting[] = {"hidden", "clip", "scroll", "auto", "overlay"};
  Meaning meaning;
  for (const std::string_view word : text::split(value, ' ')) {
    if (isOneOf(word, cutting)) return 1;
    if (word == "visible" || isComputed(word)) meaning = 0;
  }
  return meaning;
}

Meaning isFaint(std::string_view value) {
  if (isComputed(value)) return 0;
  const auto share = shareOf(value, 1);
  return share ? Meaning(*share < faint) : std::nullopt;
}

Meaning isFlat(std::string_view value) {
  constexpr double line = 1;
  const auto length = lengthOf(value);
  return length ? Meaning(*length <= (value.ends_with('%') ? 0 : line)) : withoutLength(value);
}

Meaning isZero(std::string_view value) {
  const auto length = lengthOf(value);
  return length ? Meaning(*length <= 0) : withoutLength(value);
}

Meaning isRoomy(std::string_view value) {
  const Meaning flat = isFlat(value);
  return flat && lengthOf(value) ? Meaning(*flat == 0) : flat;
}

Meaning isRoomyBelow(std::string_view value) {
  const auto sides = text::split(value, ' ');
  return isRoomy(sides.size() < 3 ? sides[0] : sides[2]);
}

Meaning isFarOutside(std::string_view value) {
  Meaning meaning;
  for (const std::string_view word : text::split(value, ' ')) {
    const auto length = lengthOf(word);
    if (length || withoutLength(word)) meaning = std::max(meaning.value_or(0), farness(length));
  }
  return meaning;
}

Meaning isFarInside(std::string_view value) {
  constexpr double inside = 100;
  constexpr double insideShare = 10;
  const auto length = value.ends_with('%') ? shareOf(value, 100) : lengthOf(value);
  return length ? Meaning(*length >= (value.ends_with('%') ? insideShare : inside)) : withoutLength(value);
}

Meaning isTinyFont(std::string_view value) {
  constexpr double readable = 2;
  constexpr std::string_view words[] = {"medium",   "small",   "large",   "smaller",  "larger",
                                        "xx-small", "x-small", "x-large", "xx-large", "xxx-large"};
  if (isOneOf(value, words) || isComputed(value)) return 0;
  if (!lengthOf(value)) return std::nullopt;
  const auto size = takePixels(value);
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
  if (!isNoneOrFunction(value)) return std::nullopt;
  std::string_view scale = argumentsOf(value, "scale");
  while (const auto factor = takeShare(scale, 1))
    if (std::abs(*factor) < faint) return 1;
  std::string_view move = argumentsOf(value, "translate");
  while (const auto pixels = takePixels(move)) {
    if (farness(pixels) > 0) return 1;
    move = move.substr(std::min(move.find_first_of(", )"), move.size()));  // behind the unit
  }
  return 0;
}

Meaning isFilteredOut(std::string_view value) {
  if (!isNoneOrFunction(value)) return std::nullopt;
  std::string_view opacity = argumentsOf(value, "opacity");
  const auto share = takeShare(opacity, 1);
  return share && *share < faint;
}

Meaning isClipped(std::string_view value) {
  if (!isNoneOrFunction(value)) return std::nullopt;
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
