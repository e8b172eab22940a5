#include "core/mail/HtmlStyle.h"

#include <algorithm>
#include <cstddef>
#include <string>

#include "core/mail/CssStyle.h"
#include "core/mail/CssValues.h"
#include "core/mail/HtmlAttributes.h"
#include "core/mail/HtmlEntities.h"

namespace vesk::html {

namespace {

constexpr std::size_t none = std::string_view::npos;

css::Style styleOf(const Attributes& attributes, const StyleSheet& sheet) {
  css::Style style;
  const auto putRule = [&](const std::string& selector) {
    const auto rule = sheet.rules.find(selector);
    if (rule != sheet.rules.end()) style.putOver(rule->second);
  };
  if (attributes.hidden) style.set(css::display, 1);
  if (attributes.color) style.set(css::color, *css::colorOf(css::lowered(*attributes.color)));
  if (attributes.bgcolor) style.declare("background", css::lowered(*attributes.bgcolor));
  if (attributes.background) style.set(css::backgroundImage, 1);
  if (attributes.classes && !sheet.rules.empty()) {
    const std::string classes = decodeEntities(*attributes.classes);
    for (std::size_t at = classes.find_first_not_of(css::spaces); at != none;) {
      const std::size_t end = std::min(classes.find_first_of(css::spaces, at), classes.size());
      putRule("." + classes.substr(at, end - at));
      at = classes.find_first_not_of(css::spaces, end);
    }
  }
  if (attributes.id && !sheet.rules.empty()) putRule("#" + decodeEntities(*attributes.id));
  if (attributes.style) style.declareAll(css::withoutComments(decodeEntities(*attributes.style)));
  return style;
}

}  // namespace

Look lookOfDocument(const StyleSheet& sheet) {
  Look look;
  if (sheet.paintsElements) look.background = css::unknownColor;
  return look;
}

Look lookWithin(std::string_view tag, Look outside, const StyleSheet& sheet) {
  const Attributes attributes = attributesOf(tag);
  // Most rules aren't read: any of them may give it another background. Its own one goes before theirs.
  const bool mayBePainted = sheet.hasBackgrounds && (attributes.classes || attributes.id);
  if (mayBePainted) outside.background = css::unknownColor;
  const bool isPainted = attributes.style && attributes.style->find("background") != none;
  const std::int32_t given = outside.background;
  outside.apply(styleOf(attributes, sheet));
  if (mayBePainted && !isPainted) outside.background = given;
  return outside;
}

}  // namespace vesk::html
