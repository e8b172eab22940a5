#include "core/mail/StyleSheet.h"

#include <algorithm>
#include <cstddef>

#include "core/base/Ascii.h"
#include "core/base/Text.h"
#include "core/mail/CssValues.h"
#include "core/mail/HtmlAttributes.h"
#include "core/mail/HtmlLook.h"
#include "core/mail/HtmlText.h"

namespace vesk::html {

namespace {

constexpr std::size_t none = std::string_view::npos;

// True for ".name" and "#name".
bool isSingleName(std::string_view selector) {
  return selector.size() > 1 && (selector[0] == '.' || selector[0] == '#') &&
         selector.find_first_of(" \t\n\f.#:>[+~*\\", 1) == none;
}

void addRule(StyleSheet& sheet, std::string_view selectors, std::string_view declarations) {
  constexpr std::size_t mostRules = 10'000;
  css::Style style;
  style.declareAll(declarations);
  if (style.isEmpty()) return;
  const bool isPainted = style.values[css::backgroundColor].isSet || style.has(css::backgroundImage);
  Look look;
  look.apply(style);
  sheet.hasBackgrounds |= isPainted;
  for (std::string_view selector : text::split(selectors, ',')) {
    selector = text::trim(selector, css::spaces);
    const bool isElement = selector.find_first_of(".#[:") == none;
    sheet.paintsElements |= isElement && isPainted && !css::areAlike(look.background, Look().background);
    if (!isSingleName(selector)) continue;
    const auto rule = sheet.rules.find(std::string(selector));
    if (rule != sheet.rules.end())
      rule->second.putOver(style);
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
    before = text::trim(before, css::spaces);
    if (before.starts_with('@')) {
      const std::string name = css::lowered(before);
      const bool isRead = name.starts_with("@media") && isAnyScreen(text::trim(name.substr(6), css::spaces));
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
      const std::string media = css::lowered(attributesOf(html.substr(at, begin - at)).media.value_or(""));
      if (isAnyScreen(media)) readRules(sheet, css::withoutComments(html.substr(begin, end - begin)));
      at = end;
    }
    if (at == none) break;
  }
  return sheet;
}

}  // namespace vesk::html
