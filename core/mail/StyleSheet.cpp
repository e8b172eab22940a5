#include "core/mail/StyleSheet.h"

#include <algorithm>
#include <cstddef>

#include "core/base/Ascii.h"
#include "core/base/Text.h"
#include "core/mail/CssValues.h"
#include "core/mail/HtmlAttributes.h"
#include "core/mail/HtmlText.h"

namespace vesk::html {

namespace {

constexpr std::size_t none = std::string_view::npos;

constexpr std::size_t mostRules = 10'000;
constexpr std::string_view signs = " \t\n\f.#:>[+~*\\";

// True for "td", ".name", "#name", "td.name" and "td#name".
bool isRead(std::string_view selector) {
  const std::size_t mark = selector.find_first_of(".#");
  if (mark == none) return !selector.empty() && selector.find_first_of(signs) == none;
  return mark + 1 < selector.size() && selector.find_first_of(signs) == mark &&
         selector.find_first_of(signs, mark + 1) == none;
}

// The last name in a selector that isn't read, which what it selects has: ".b" of ".a > td.b:first-child". Empty where
// it has none, or selects what isn't there before it is pointed at.
std::string_view lastName(std::string_view selector) {
  for (const std::string_view state : {":hover", ":active", ":focus", ":visited", ":before", ":after"})
    if (selector.find(state) != none) return {};
  selector = selector.substr(0, selector.find_first_of("[:", selector.find_last_of(" \t\n\f>+~") + 1));
  const std::size_t begin = selector.find_last_of(" \t\n\f>+~");
  if (begin != none) selector.remove_prefix(begin + 1);
  const std::size_t mark = selector.find_last_of(".#");
  return mark == none ? selector : selector.substr(mark);
}

// With its element in lower case.
std::string keyOf(std::string_view selector) {
  const std::string_view element = selector.substr(0, selector.find_first_of(".#"));
  return css::lowered(element).append(selector.substr(element.size()));
}

void addRule(StyleSheet& sheet, std::string_view selectors, std::string_view declarations) {
  css::Style style;
  style.declareAll(declarations);
  if (style.isEmpty()) return;
  const bool isPainted = style.values[css::backgroundColor].isSet || style.has(css::backgroundImage);
  for (std::string_view selector : text::split(selectors, ',')) {
    selector = text::trim(selector, css::spaces);
    if (!isRead(selector)) {
      if (isPainted && sheet.painted.size() < mostRules) sheet.painted.insert(keyOf(lastName(selector)));
      continue;
    }
    const auto rule = sheet.rules.find(keyOf(selector));
    if (rule != sheet.rules.end())
      rule->second.putOver(style);
    else if (sheet.rules.size() < mostRules)
      sheet.rules.emplace(keyOf(selector), style);
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

// Of a list of media, in lower case.
bool isAnyScreen(std::string_view list) {
  for (std::string_view media : text::split(list, ',')) {
    media = text::trim(media, css::spaces);
    if (media.starts_with("only ")) media = text::trim(media.substr(5), css::spaces);
    if (media == "all" || media == "screen") return true;
  }
  return text::trim(list, css::spaces).empty();
}

// `tag` is that of a style element.
bool isReadSheet(std::string_view tag) {
  const Attributes attributes = attributesOf(tag);
  const std::string type = css::lowered(attributes.type.value_or(""));
  return (type.empty() || type == "text/css") && isAnyScreen(css::lowered(attributes.media.value_or("")));
}

// Rules for some screens only say nothing of the others, and are left out.
void readRules(StyleSheet& sheet, std::string_view css) {
  std::size_t at = 0;
  for (std::size_t open = css.find('{'); open != none; open = css.find('{', at)) {
    std::string_view before = css.substr(at, open - at);
    before.remove_prefix(before.rfind(';') == none ? 0 : before.rfind(';') + 1);
    before.remove_prefix(before.rfind('}') == none ? 0 : before.rfind('}') + 1);
    for (const std::string_view mark : {"<!--", "-->"})  // which style sheets may stand in
      before.remove_prefix(before.find(mark) == none ? 0 : before.rfind(mark) + mark.size());
    before = text::trim(before, css::spaces);
    if (before.starts_with('@')) {
      const std::string name = css::lowered(before);
      at = name.starts_with("@media") && isAnyScreen(name.substr(6)) ? open + 1 : endOfBraces(css, open);
    } else {
      const std::size_t end = css::findOutside(css, '}', open + 1);
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
  return at + name.size() == html.size() || !ascii::isLetter(html[at + name.size()]);
}

}  // namespace

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
      if (isReadSheet(html.substr(at, begin - at)))
        readRules(sheet, css::withoutComments(html.substr(begin, end - begin)));
      at = end;
    }
    if (at == none) break;
  }
  return sheet;
}

}  // namespace vesk::html
