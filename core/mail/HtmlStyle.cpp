#include "core/mail/HtmlStyle.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

#include "core/base/Text.h"
#include "core/mail/CssValues.h"
#include "core/mail/HtmlEntities.h"

namespace vesk::html {

namespace {

constexpr std::size_t none = std::string_view::npos;

std::string elementOf(const Attributes& attributes) {
  constexpr std::size_t longest = 32;
  return css::lowered(attributes.element.substr(0, longest));
}

// Calls `use` with what selects an element in a style sheet, the weakest selectors first.
template <typename Use>
void forEachSelector(const Attributes& attributes, const Use& use) {
  const std::string element = elementOf(attributes);
  use(element);
  const std::string classes = decodeEntities(attributes.classes.value_or(""));
  for (const bool withElement : {false, true}) {
    for (std::size_t at = classes.find_first_not_of(css::spaces); at != none;) {
      const std::size_t end = std::min(classes.find_first_of(css::spaces, at), classes.size());
      use((withElement ? element + "." : ".") + classes.substr(at, end - at));
      at = classes.find_first_not_of(css::spaces, end);
    }
  }
  if (!attributes.id) return;
  const std::string id = "#" + decodeEntities(*attributes.id);
  use(id);
  use(element + id);
}

css::Style declaredStyle(const Attributes& attributes, const StyleSheet& sheet) {
  css::Style style;
  const bool isBody = text::equalIgnoringCase(attributes.element, "body");
  const auto color = isBody ? attributes.text : attributes.color;
  if (attributes.hidden) style.set(css::display, 1);
  if (color) style.set(css::color, css::attributeColorOf(css::lowered(*color)));
  if (attributes.bgcolor && !attributes.bgcolor->empty())
    style.set(css::backgroundColor, css::attributeColorOf(css::lowered(*attributes.bgcolor)));
  if (attributes.background) style.set(css::backgroundImage, 1);
  if (!sheet.rules.empty())
    forEachSelector(attributes, [&](const std::string& selector) {
      const auto rule = sheet.rules.find(selector);
      if (rule != sheet.rules.end()) style.putOver(rule->second);
    });
  if (attributes.style) style.declareAll(css::withoutComments(decodeEntities(*attributes.style)));
  return style;
}

// Cells grow with what stands in them, whatever their size should be.
void dropSizeOfCell(const Attributes& attributes, css::Style& style) {
  const bool isCell =
      text::equalIgnoringCase(attributes.element, "td") || text::equalIgnoringCase(attributes.element, "th");
  if (!isCell || style.values[css::display].isSet) return;  // "display: block" makes it another thing
  for (const css::Property size : {css::height, css::maxHeight, css::width, css::maxWidth}) style.values[size] = {};
}

// True where rules that aren't read may give an element a background.
bool mayBePainted(const Attributes& attributes, const StyleSheet& sheet) {
  bool isFound = false;
  if (!sheet.painted.empty())
    forEachSelector(attributes, [&](const std::string& selector) { isFound |= sheet.painted.contains(selector); });
  return isFound;
}

}  // namespace

Look lookOfDocument(const StyleSheet& sheet) {
  Look look;
  // These elements are there without their tags, too.
  for (const std::string_view element : {"html", "body"}) look.apply(styleOf({.element = element}, sheet));
  return look;
}

css::Style styleOf(const Attributes& attributes, const StyleSheet& sheet) {
  css::Style style = declaredStyle(attributes, sheet);
  dropSizeOfCell(attributes, style);
  // A background of its own goes before that of such rules.
  const bool isOwn = attributes.style && attributes.style->find("background") != none;
  if (!isOwn && mayBePainted(attributes, sheet)) style.set(css::backgroundImage, 1, true);
  return style;
}

}  // namespace vesk::html
