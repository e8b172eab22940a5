#include "core/mail/HtmlEntities.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <optional>
#include <utility>

#include "core/base/Ascii.h"
#include "core/base/Unicode.h"

namespace vesk {

namespace {

// Those of HTML 4 that have no digit in their names, and what else mail has been seen to use. In order.
// clang-format off
constexpr std::pair<std::string_view, char32_t> named[] = {
    {"AElig", 0xC6}, {"AMP", 0x26}, {"Aacute", 0xC1}, {"Acirc", 0xC2}, {"Agrave", 0xC0}, {"Alpha", 0x391},
    {"Aring", 0xC5}, {"Atilde", 0xC3}, {"Auml", 0xC4}, {"Beta", 0x392}, {"COPY", 0xA9}, {"Ccedil", 0xC7},
    {"Chi", 0x3A7}, {"Dagger", 0x2021}, {"Delta", 0x394}, {"ETH", 0xD0}, {"Eacute", 0xC9}, {"Ecirc", 0xCA},
    {"Egrave", 0xC8}, {"Epsilon", 0x395}, {"Eta", 0x397}, {"Euml", 0xCB}, {"GT", 0x3E}, {"Gamma", 0x393},
    {"Iacute", 0xCD}, {"Icirc", 0xCE}, {"Igrave", 0xCC}, {"Iota", 0x399}, {"Iuml", 0xCF}, {"Kappa", 0x39A},
    {"LT", 0x3C}, {"Lambda", 0x39B}, {"Mu", 0x39C}, {"NewLine", 0xA}, {"Ntilde", 0xD1}, {"Nu", 0x39D},
    {"OElig", 0x152}, {"Oacute", 0xD3}, {"Ocirc", 0xD4}, {"Ograve", 0xD2}, {"Omega", 0x3A9}, {"Omicron", 0x39F},
    {"Oslash", 0xD8}, {"Otilde", 0xD5}, {"Ouml", 0xD6}, {"Phi", 0x3A6}, {"Pi", 0x3A0}, {"Prime", 0x2033},
    {"Psi", 0x3A8}, {"QUOT", 0x22}, {"REG", 0xAE}, {"Rho", 0x3A1}, {"Scaron", 0x160}, {"Sigma", 0x3A3},
    {"THORN", 0xDE}, {"Tab", 0x9}, {"Tau", 0x3A4}, {"Theta", 0x398}, {"Uacute", 0xDA}, {"Ucirc", 0xDB},
    {"Ugrave", 0xD9}, {"Upsilon", 0x3A5}, {"Uuml", 0xDC}, {"Xi", 0x39E}, {"Yacute", 0xDD}, {"Yuml", 0x178},
    {"Zeta", 0x396}, {"aacute", 0xE1}, {"acirc", 0xE2}, {"acute", 0xB4}, {"aelig", 0xE6}, {"agrave", 0xE0},
    {"alefsym", 0x2135}, {"alpha", 0x3B1}, {"amp", 0x26}, {"and", 0x2227}, {"ang", 0x2220}, {"apos", 0x27},
    {"aring", 0xE5}, {"ast", 0x2A}, {"asymp", 0x2248}, {"atilde", 0xE3}, {"auml", 0xE4}, {"bdquo", 0x201E},
    {"beta", 0x3B2}, {"brvbar", 0xA6}, {"bsol", 0x5C}, {"bull", 0x2022}, {"cap", 0x2229}, {"ccedil", 0xE7},
    {"cedil", 0xB8}, {"cent", 0xA2}, {"check", 0x2713}, {"chi", 0x3C7}, {"circ", 0x2C6}, {"clubs", 0x2663},
    {"colon", 0x3A}, {"comma", 0x2C}, {"commat", 0x40}, {"cong", 0x2245}, {"copy", 0xA9}, {"crarr", 0x21B5},
    {"cup", 0x222A}, {"curren", 0xA4}, {"dArr", 0x21D3}, {"dagger", 0x2020}, {"darr", 0x2193}, {"dash", 0x2010},
    {"deg", 0xB0}, {"delta", 0x3B4}, {"diams", 0x2666}, {"divide", 0xF7}, {"dollar", 0x24}, {"eacute", 0xE9},
    {"ecirc", 0xEA}, {"egrave", 0xE8}, {"empty", 0x2205}, {"emsp", 0x2003}, {"ensp", 0x2002}, {"epsilon", 0x3B5},
    {"equals", 0x3D}, {"equiv", 0x2261}, {"eta", 0x3B7}, {"eth", 0xF0}, {"euml", 0xEB}, {"euro", 0x20AC},
    {"excl", 0x21}, {"exist", 0x2203}, {"fnof", 0x192}, {"forall", 0x2200}, {"frasl", 0x2044}, {"gamma", 0x3B3},
    {"ge", 0x2265}, {"grave", 0x60}, {"gt", 0x3E}, {"hArr", 0x21D4}, {"hairsp", 0x200A}, {"harr", 0x2194},
    {"hearts", 0x2665}, {"hellip", 0x2026}, {"hyphen", 0x2010}, {"iacute", 0xED}, {"icirc", 0xEE}, {"iexcl", 0xA1},
    {"igrave", 0xEC}, {"image", 0x2111}, {"infin", 0x221E}, {"int", 0x222B}, {"iota", 0x3B9}, {"iquest", 0xBF},
    {"isin", 0x2208}, {"iuml", 0xEF}, {"kappa", 0x3BA}, {"lArr", 0x21D0}, {"lambda", 0x3BB}, {"lang", 0x2329},
    {"laquo", 0xAB}, {"larr", 0x2190}, {"lceil", 0x2308}, {"ldquo", 0x201C}, {"le", 0x2264}, {"lfloor", 0x230A},
    {"lowast", 0x2217}, {"lowbar", 0x5F}, {"loz", 0x25CA}, {"lpar", 0x28}, {"lrm", 0x200E}, {"lsaquo", 0x2039},
    {"lsquo", 0x2018}, {"lt", 0x3C}, {"macr", 0xAF}, {"mdash", 0x2014}, {"micro", 0xB5}, {"middot", 0xB7},
    {"minus", 0x2212}, {"mu", 0x3BC}, {"nabla", 0x2207}, {"nbsp", 0xA0}, {"ndash", 0x2013}, {"ne", 0x2260},
    {"ni", 0x220B}, {"not", 0xAC}, {"notin", 0x2209}, {"nsub", 0x2284}, {"ntilde", 0xF1}, {"nu", 0x3BD},
    {"num", 0x23}, {"numsp", 0x2007}, {"oacute", 0xF3}, {"ocirc", 0xF4}, {"oelig", 0x153}, {"ograve", 0xF2},
    {"oline", 0x203E}, {"omega", 0x3C9}, {"omicron", 0x3BF}, {"oplus", 0x2295}, {"or", 0x2228}, {"ordf", 0xAA},
    {"ordm", 0xBA}, {"oslash", 0xF8}, {"otilde", 0xF5}, {"otimes", 0x2297}, {"ouml", 0xF6}, {"para", 0xB6},
    {"part", 0x2202}, {"percnt", 0x25}, {"period", 0x2E}, {"permil", 0x2030}, {"perp", 0x22A5}, {"phi", 0x3C6},
    {"phone", 0x260E}, {"pi", 0x3C0}, {"piv", 0x3D6}, {"plus", 0x2B}, {"plusmn", 0xB1}, {"pound", 0xA3},
    {"prime", 0x2032}, {"prod", 0x220F}, {"prop", 0x221D}, {"psi", 0x3C8}, {"puncsp", 0x2008}, {"quest", 0x3F},
    {"quot", 0x22}, {"rArr", 0x21D2}, {"radic", 0x221A}, {"rang", 0x232A}, {"raquo", 0xBB}, {"rarr", 0x2192},
    {"rceil", 0x2309}, {"rdquo", 0x201D}, {"real", 0x211C}, {"reg", 0xAE}, {"rfloor", 0x230B}, {"rho", 0x3C1},
    {"rlm", 0x200F}, {"rpar", 0x29}, {"rsaquo", 0x203A}, {"rsquo", 0x2019}, {"sbquo", 0x201A}, {"scaron", 0x161},
    {"sdot", 0x22C5}, {"sect", 0xA7}, {"semi", 0x3B}, {"shy", 0xAD}, {"sigma", 0x3C3}, {"sigmaf", 0x3C2},
    {"sim", 0x223C}, {"sol", 0x2F}, {"spades", 0x2660}, {"star", 0x2606}, {"starf", 0x2605}, {"sub", 0x2282},
    {"sube", 0x2286}, {"sum", 0x2211}, {"sup", 0x2283}, {"supe", 0x2287}, {"szlig", 0xDF}, {"tau", 0x3C4},
    {"theta", 0x3B8}, {"thetasym", 0x3D1}, {"thinsp", 0x2009}, {"thorn", 0xFE}, {"tilde", 0x2DC}, {"times", 0xD7},
    {"trade", 0x2122}, {"uArr", 0x21D1}, {"uacute", 0xFA}, {"uarr", 0x2191}, {"ucirc", 0xFB}, {"ugrave", 0xF9},
    {"uml", 0xA8}, {"upsih", 0x3D2}, {"upsilon", 0x3C5}, {"uuml", 0xFC}, {"weierp", 0x2118}, {"xi", 0x3BE},
    {"yacute", 0xFD}, {"yen", 0xA5}, {"yuml", 0xFF}, {"zeta", 0x3B6}, {"zwj", 0x200D}, {"zwnj", 0x200C},
};
// clang-format on
static_assert(std::is_sorted(std::begin(named), std::end(named)));

// What the numbers from 128 to 159 stand for: senders mean windows-1252, and browsers take it so.
constexpr std::array<char16_t, 32> windows1252 = {0x20AC, 0x81,   0x201A, 0x192,  0x201E, 0x2026, 0x2020, 0x2021,
                                                  0x2C6,  0x2030, 0x160,  0x2039, 0x152,  0x8D,   0x17D,  0x8F,
                                                  0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                                  0x2DC,  0x2122, 0x161,  0x203A, 0x153,  0x9D,   0x17E,  0x178};

constexpr char32_t replacement = 0xFFFD;
constexpr char32_t lastCharacter = 0x10FFFF;

std::optional<char32_t> characterNamed(std::string_view name) {
  const auto* const found =
      std::lower_bound(std::begin(named), std::end(named), name,
                       [](const auto& entry, std::string_view wanted) { return entry.first < wanted; });
  if (found == std::end(named) || found->first != name) return std::nullopt;
  return found->second;
}

// The character of a number; U+FFFD where there is none.
char32_t character(char32_t number) {
  const bool isSurrogate = number >= 0xD800 && number <= 0xDFFF;
  if (number == 0 || isSurrogate || number > lastCharacter) return replacement;
  return number >= 0x80 && number < 0xA0 ? windows1252[number - 0x80] : number;
}

// Of what follows the "#": "8217", "x2019". Nullopt for what is no number.
std::optional<char32_t> characterNumbered(std::string_view digits) {
  const bool isHex = digits.starts_with('x') || digits.starts_with('X');
  if (isHex) digits.remove_prefix(1);
  const char32_t base = isHex ? 16 : 10;
  char32_t number = 0;
  for (const char c : digits) {
    const auto value = static_cast<char32_t>(ascii::hexValue(c));
    if (value >= base) return std::nullopt;
    number = std::min(number * base + value, lastCharacter + 1);  // a hundred digits don't overflow
  }
  return character(number);
}

// What stands between the "&" at `begin` and the ";": letters, or "#" and digits. Empty where that is no entity.
std::string_view entityAt(std::string_view text, std::size_t begin) {
  std::size_t end = begin + 1;
  const bool isNumber = text.substr(end).starts_with('#');
  if (isNumber) ++end;
  if (isNumber && end < text.size() && ascii::lower(text[end]) == 'x') ++end;
  const std::size_t first = end;
  while (end < text.size() && (isNumber ? ascii::hexValue(text[end]) >= 0 : ascii::isLetter(text[end]))) ++end;
  return end > first && text.substr(end).starts_with(';') ? text.substr(begin + 1, end - begin - 1)
                                                          : std::string_view();
}

}  // namespace

std::string decodeEntities(std::string_view text) {
  std::string decoded;
  decoded.reserve(text.size());
  std::size_t position = 0;
  for (std::size_t at = text.find('&'); at != std::string_view::npos; at = text.find('&', at + 1)) {
    const std::string_view entity = entityAt(text, at);
    if (entity.empty()) continue;
    const auto found = entity.front() == '#' ? characterNumbered(entity.substr(1)) : characterNamed(entity);
    if (!found) continue;
    decoded += text.substr(position, at - position);
    unicode::append(decoded, *found);
    position = at + entity.size() + 2;
  }
  return decoded += text.substr(position);
}

}  // namespace vesk
