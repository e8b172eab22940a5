#include "core/mail/HtmlStyle.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "core/base/Text.h"
#include "core/mail/HtmlEntities.h"
#include "core/mail/HtmlText.h"
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

// Less than this of a color or an element shows nothing that is read.
constexpr double faint = 0.1;

// "#fff" or "#ffffff", either with an opacity.
std::int32_t hexColor(std::string_view digits) {
  const auto isHex = [](char c) { return hexValue(c) >= 0; };
  const bool isShort = digits.size() == 3 || digits.size() == 4;
  if (!std::all_of(digits.begin(), digits.end(), isHex) || (!isShort && digits.size() != 6 && digits.size() != 8))
    return Look::unknown;
  std::int64_t color = 0;
  for (const char digit : digits) {
    color = color << 4 | hexValue(digit);
    if (isShort) color = color << 4 | hexValue(digit);
  }
  if (digits.size() == 3 || digits.size() == 6) return static_cast<std::int32_t>(color);
  return static_cast<double>(color & 0xFF) / 255 < faint ? Look::transparent : static_cast<std::int32_t>(color >> 8);
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
    if (!channel || !(*channel >= 0 && *channel <= 255)) return Look::unknown;  // "nan" is none
    color = color << 8 | static_cast<std::int32_t>(*channel);
  }
  const auto opacity = takeShare(numbers, 1);
  return opacity && *opacity < faint ? Look::transparent : color;
}

std::int32_t colorOf(std::string_view value) {
  if (value.starts_with('#')) return hexColor(value.substr(1));
  if (value.starts_with("rgb")) return rgbColor(value.substr(std::min(value.find('(') + 1, value.size())));
  for (const auto& [name, color] : namedColors)
    if (name == value) return color;
  return Look::unknown;
}

// What a value says: 1 for what may hide text, 0 for what doesn't, or a color; nullopt where it says nothing.
using Meaning = std::optional<std::int32_t>;

Meaning colorMeant(std::string_view value) { return colorOf(value); }

Meaning background(std::string_view value) {
  const std::string_view first = value.starts_with("rgb") ? value : value.substr(0, value.find(' '));
  return first == "none" || value.empty() ? Look::transparent : colorOf(first);
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

// A length in pixels, as far as that matters here.
std::optional<double> takePixels(std::string_view& text) {
  constexpr double letter = 16;
  const auto number = takeShare(text, letter);
  if (!number) return std::nullopt;
  return text.starts_with("em") || text.starts_with("rem") ? *number * letter : *number;
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

// True when one of several lengths moves the text away.
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

// "font: bold 12px/1.5 serif": the size is the first number that has a unit, or is zero.
Meaning isTinyInFont(std::string_view value) {
  for (const std::string_view word : text::split(value, ' ')) {
    const std::string_view size = word.substr(0, word.find('/'));
    std::string_view unit = size;
    const auto number = takeNumber(unit);
    if (number && (!unit.empty() || *number <= 0)) return isTinyFont(size);
  }
  return std::nullopt;
}

// What stands behind "(" in a function whose name begins so; empty without one.
std::string_view argumentsOf(std::string_view value, std::string_view name) {
  const std::size_t begin = value.find(name);
  const std::size_t open = begin == none ? none : value.find('(', begin);
  return open == none ? std::string_view() : value.substr(open + 1);
}

Meaning isShrunk(std::string_view value) {
  std::string_view scale = argumentsOf(value, "scale");
  const auto factor = takeNumber(scale);
  std::string_view move = argumentsOf(value, "translate");
  return (factor && std::abs(*factor) < faint) || *isFarOutside(move) != 0;
}

// True for "inset(50%)", "circle(0)", "rect(0, 0, 0, 0)" and "rect(1px, 1px, 1px, 1px)".
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

enum Property : std::size_t {
  display,
  visibility,
  opacity,
  height,
  maxHeight,
  width,
  maxWidth,
  overflow,
  msoHide,
  textIndent,
  left,
  top,
  marginLeft,
  marginTop,
  transform,
  clip,
  fontSize,
  color,
  fill,
  backgroundColor,
  backgroundImage,
};
static_assert(backgroundImage + 1 == Style::properties);

struct Reader {
  std::string_view name;
  Property property;
  Meaning (*read)(std::string_view value);
};

constexpr Reader readers[] = {
    {"display", display, isNone},
    {"visibility", visibility, isUnseen},
    {"opacity", opacity, isFaint},
    {"height", height, isFlat},
    {"max-height", maxHeight, isFlat},
    {"width", width, isZero},
    {"max-width", maxWidth, isZero},
    {"overflow", overflow, isCut},
    {"overflow-y", overflow, isCut},
    {"mso-hide", msoHide, isAll},
    {"text-indent", textIndent, isFarOutside},
    {"left", left, isFarOutside},
    {"top", top, isFarOutside},
    {"margin", marginLeft, isFarOutside},
    {"margin-left", marginLeft, isFarOutside},
    {"margin-top", marginTop, isFarOutside},
    {"transform", transform, isShrunk},
    {"clip", clip, isClipped},
    {"clip-path", clip, isClipped},
    {"font", fontSize, isTinyInFont},
    {"font-size", fontSize, isTinyFont},
    {"color", color, colorMeant},
    {"-webkit-text-fill-color", fill, colorMeant},
    {"background", backgroundColor, background},
    {"background", backgroundImage, isPicture},
    {"background-color", backgroundColor, background},
    {"background-image", backgroundImage, isPicture},
};

void set(Style& style, Property property, std::int32_t value, bool isImportant = false) {
  Style::Value& old = style.values[property];
  if (isImportant || !old.isImportant) old = {true, isImportant, value};
}

bool has(const Style& style, Property property) {
  return style.values[property].isSet && style.values[property].value != 0;
}

// `property` and `value` are in lower case.
void declare(Style& style, std::string_view property, std::string_view value) {
  const std::size_t mark = value.find('!');
  const bool isImportant = mark != none && value.find("important", mark) != none;
  value = text::trim(value.substr(0, mark), spaces);
  if (value == "inherit" || value == "unset") return;
  for (const Reader& reader : readers) {
    if (reader.name != property) continue;
    if (const Meaning meaning = reader.read(value)) set(style, reader.property, *meaning, isImportant);
  }
}

std::string withoutCssComments(std::string_view css) {
  std::string result;
  std::size_t at = 0;
  while (true) {
    const std::size_t begin = css.find("/*", at);
    result += css.substr(at, begin == none ? none : begin - at);
    const std::size_t end = begin == none ? none : css.find("*/", begin + 2);
    if (end == none) return result;
    at = end + 2;
  }
}

// `declarations` is without comments.
void declareAll(Style& style, std::string_view declarations) {
  for (const std::string_view declaration : text::split(declarations, ';')) {
    const std::size_t colon = declaration.find(':');
    if (colon == none) continue;
    declare(style, lowered(declaration.substr(0, colon)), lowered(declaration.substr(colon + 1)));
  }
}

// What `above` says goes before what `style` does.
void putOver(Style& style, const Style& above) {
  for (std::size_t i = 0; i < Style::properties; ++i) {
    const Style::Value& value = above.values[i];
    if (value.isSet) set(style, static_cast<Property>(i), value.value, value.isImportant);
  }
}

bool hidesElement(const Style& style) {
  constexpr Property alone[] = {display, opacity,    msoHide,   textIndent, left,
                                top,     marginLeft, marginTop, transform,  clip};
  constexpr Property cut[] = {height, maxHeight, width, maxWidth};
  const auto isHiding = [&](Property property) { return has(style, property); };
  return std::any_of(std::begin(alone), std::end(alone), isHiding) ||
         (has(style, overflow) && std::any_of(std::begin(cut), std::end(cut), isHiding));
}

void apply(const Style& style, Look& look) {
  look.isGone |= hidesElement(style);
  const auto& values = style.values;
  if (values[visibility].isSet) look.isInvisible = has(style, visibility);
  if (values[fontSize].isSet) look.isTiny = has(style, fontSize);
  if (values[color].isSet) look.color = values[color].value;
  if (values[fill].isSet) look.fill = values[fill].value;
  // Through what is transparent shows what was there before.
  if (values[backgroundColor].isSet && values[backgroundColor].value != Look::transparent)
    look.background = values[backgroundColor].value;
  if (has(style, backgroundImage)) look.background = Look::unknown;
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

// The attributes that matter here. HTML counts the first one of a name.
struct Attributes {
  std::optional<std::string_view> style = {}, classes = {}, id = {}, color = {}, bgcolor = {}, background = {};
  std::optional<std::string_view> hidden = {}, media = {};

  std::optional<std::string_view>* find(std::string_view name) {
    const std::pair<std::string_view, std::optional<std::string_view>*> known[] = {
        {"style", &style},     {"class", &classes},         {"id", &id},         {"color", &color},
        {"bgcolor", &bgcolor}, {"background", &background}, {"hidden", &hidden}, {"media", &media}};
    for (const auto& [each, attribute] : known)
      if (each == name) return attribute;
    return nullptr;
  }
};

Attributes attributesOf(std::string_view tag) {
  Attributes attributes;
  std::size_t at = std::min(tag.find_first_of(" \t\r\n\f/"), tag.size());  // behind the name
  while (true) {
    at = tag.find_first_not_of(" \t\r\n\f/>", at);
    if (at == none) return attributes;
    const std::size_t end = std::min(tag.find_first_of(" \t\r\n\f/>=", at + 1), tag.size());
    const std::string name = lowered(tag.substr(at, end - at));
    at = std::min(tag.find_first_not_of(spaces, end), tag.size());
    std::string_view value;
    if (at < tag.size() && tag[at] == '=') value = takeValue(tag, ++at);
    auto* const attribute = attributes.find(name);
    if (attribute != nullptr && !*attribute) *attribute = value;
  }
}

Style styleOf(const Attributes& attributes, const StyleSheet& sheet) {
  Style style;
  const auto putRule = [&](const std::string& selector) {
    const auto rule = sheet.rules.find(selector);
    if (rule != sheet.rules.end()) putOver(style, rule->second);
  };
  if (attributes.hidden) set(style, display, 1);
  if (attributes.color) set(style, color, colorOf(lowered(*attributes.color)));
  if (attributes.bgcolor) declare(style, "background", lowered(*attributes.bgcolor));
  if (attributes.background) set(style, backgroundImage, 1);
  if (attributes.classes && !sheet.rules.empty()) {
    const std::string classes = decodeEntities(*attributes.classes);
    for (std::size_t at = classes.find_first_not_of(spaces); at != none;) {
      const std::size_t end = std::min(classes.find_first_of(spaces, at), classes.size());
      putRule("." + classes.substr(at, end - at));
      at = classes.find_first_not_of(spaces, end);
    }
  }
  if (attributes.id && !sheet.rules.empty()) putRule("#" + decodeEntities(*attributes.id));
  if (attributes.style) declareAll(style, withoutCssComments(decodeEntities(*attributes.style)));
  return style;
}

// True for ".name" and "#name".
bool isSingleName(std::string_view selector) {
  return selector.size() > 1 && (selector[0] == '.' || selector[0] == '#') &&
         selector.find_first_of(" \t\n\f.#:>[+~*\\", 1) == none;
}

void addRule(StyleSheet& sheet, std::string_view selectors, std::string_view declarations) {
  constexpr std::size_t mostRules = 10'000;
  Style style;
  declareAll(style, declarations);
  const auto isSet = [](const Style::Value& value) { return value.isSet; };
  if (std::none_of(style.values.begin(), style.values.end(), isSet)) return;
  const bool isPainted = style.values[backgroundColor].isSet || has(style, backgroundImage);
  Look look;
  apply(style, look);
  sheet.hasBackgrounds |= isPainted;
  for (std::string_view selector : text::split(selectors, ',')) {
    selector = text::trim(selector, spaces);
    const bool isElement = selector.find_first_of(".#[:") == none;
    sheet.paintsElements |= isElement && isPainted && !areAlike(look.background, Look().background);
    if (!isSingleName(selector)) continue;
    const auto rule = sheet.rules.find(std::string(selector));
    if (rule != sheet.rules.end())
      putOver(rule->second, style);
    else if (sheet.rules.size() < mostRules)
      sheet.rules.emplace(selector, style);
  }
}

// Behind the "}" that belongs to the "{" at `open`.
std::size_t endOfBraces(std::string_view css, std::size_t open) {
  std::size_t depth = 0;
  for (std::size_t at = open; at != none; at = css.find_first_of("{}", at + 1)) {
    if (css[at] == '{') ++depth;
    if (css[at] == '}' && --depth == 0) return at + 1;
  }
  return css.size();
}

bool isAnyScreen(std::string_view media) { return media.empty() || media == "all" || media == "screen"; }

// Rules for some screens only say nothing of the others, and are left out.
void readRules(StyleSheet& sheet, std::string_view css) {
  std::size_t at = 0;
  for (std::size_t open = css.find('{'); open != none; open = css.find('{', at)) {
    std::string_view before = css.substr(at, open - at);
    before.remove_prefix(before.rfind(';') == none ? 0 : before.rfind(';') + 1);
    before.remove_prefix(before.rfind('}') == none ? 0 : before.rfind('}') + 1);
    for (const std::string_view mark : {"<!--", "-->"})  // which style sheets may stand in
      before.remove_prefix(before.find(mark) == none ? 0 : before.rfind(mark) + mark.size());
    before = text::trim(before, spaces);
    if (before.starts_with('@')) {
      const std::string name = lowered(before);
      const bool isRead = name.starts_with("@media") && isAnyScreen(text::trim(name.substr(6), spaces));
      at = isRead ? open + 1 : endOfBraces(css, open);
    } else {
      const std::size_t end = std::min(css.find('}', open), css.size());
      addRule(sheet, before, css.substr(open + 1, end - open - 1));
      at = std::min(end + 1, css.size());
    }
  }
}

// True when a tag of a style sheet goes on at `at`, behind "<" or "</".
bool isStyleAt(std::string_view html, std::size_t at) {
  constexpr std::string_view name = "style";
  const std::string_view letters = html.substr(std::min(at, html.size()), name.size());
  if (!text::equalIgnoringCase(letters, name)) return false;
  return at + name.size() == html.size() || !isAsciiLetter(html[at + name.size()]);
}

}  // namespace

bool Look::hidesText() const {
  const std::int32_t shown = fill == unknown ? color : fill;
  return isGone || isInvisible || isTiny || shown == transparent || areAlike(shown, background);
}

StyleSheet readStyleSheet(std::string_view html) {
  StyleSheet sheet;
  TagScanner tags(html);
  for (std::size_t at = html.find('<'); at != none; at = html.find('<', at)) {
    if (html.substr(at).starts_with("<!--")) {
      at = html.find("-->", at + 2);
    } else if (!isStyleAt(html, ++at)) {
      continue;
    } else {
      const std::size_t begin = std::min(tags.endOfTag(at - 1), html.size());
      std::size_t end = html.find("</", begin);
      while (end != none && !isStyleAt(html, end + 2)) end = html.find("</", end + 2);
      end = std::min(end, html.size());
      const std::string media = lowered(attributesOf(html.substr(at, begin - at)).media.value_or(""));
      if (isAnyScreen(media)) readRules(sheet, withoutCssComments(html.substr(begin, end - begin)));
      at = end;
    }
    if (at == none) break;
  }
  return sheet;
}

Look lookOfDocument(const StyleSheet& sheet) {
  Look look;
  if (sheet.paintsElements) look.background = Look::unknown;
  return look;
}

Look lookWithin(std::string_view tag, Look outside, const StyleSheet& sheet) {
  const Attributes attributes = attributesOf(tag);
  // Most rules aren't read: any of them may give it another background. Its own one goes before theirs.
  const bool mayBePainted = sheet.hasBackgrounds && (attributes.classes || attributes.id);
  if (mayBePainted) outside.background = Look::unknown;
  const bool isPainted = attributes.style && attributes.style->find("background") != none;
  const std::int32_t given = outside.background;
  apply(styleOf(attributes, sheet), outside);
  if (mayBePainted && !isPainted) outside.background = given;
  return outside;
}

}  // namespace vesk::html
