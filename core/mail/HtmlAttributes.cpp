#include "core/mail/HtmlAttributes.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>

#include "core/mail/CssValues.h"

namespace vesk::html {

namespace {

constexpr std::size_t none = std::string_view::npos;

// The value that begins at `at` in the tag, and moves `at` behind it.
std::string_view takeValue(std::string_view tag, std::size_t& at) {
  at = std::min(tag.find_first_not_of(css::spaces, at), tag.size());
  const char quote = at < tag.size() && (tag[at] == '"' || tag[at] == '\'') ? tag[at] : '\0';
  const std::size_t begin = quote != '\0' ? at + 1 : at;
  const std::size_t end = quote != '\0' ? tag.find(quote, begin) : tag.find_first_of(" \t\r\n\f>", begin);
  const std::string_view value = tag.substr(begin, std::min(end, tag.size()) - begin);
  at = end == none ? tag.size() : end + 1;
  return value;
}

std::optional<std::string_view>* find(Attributes& attributes, std::string_view name) {
  const std::pair<std::string_view, std::optional<std::string_view>*> known[] = {
      {"style", &attributes.style},           {"class", &attributes.classes}, {"id", &attributes.id},
      {"color", &attributes.color},           {"text", &attributes.text},     {"bgcolor", &attributes.bgcolor},
      {"background", &attributes.background}, {"hidden", &attributes.hidden}, {"open", &attributes.open},
      {"media", &attributes.media},           {"type", &attributes.type}};
  for (const auto& [each, attribute] : known)
    if (each == name) return attribute;
  return nullptr;
}

}  // namespace

Attributes attributesOf(std::string_view tag) {
  Attributes attributes;
  std::size_t at = std::min(tag.find_first_of(" \t\r\n\f/"), tag.size());
  attributes.element = tag.substr(0, std::min(at, tag.find('>')));
  while (true) {
    at = tag.find_first_not_of(" \t\r\n\f/>", at);
    if (at == none) return attributes;
    const std::size_t end = std::min(tag.find_first_of(" \t\r\n\f/>=", at + 1), tag.size());
    const std::string name = css::lowered(tag.substr(at, end - at));
    at = std::min(tag.find_first_not_of(css::spaces, end), tag.size());
    std::string_view value;
    if (at < tag.size() && tag[at] == '=') value = takeValue(tag, ++at);
    auto* const attribute = find(attributes, name);
    if (attribute != nullptr && !*attribute) *attribute = value;
  }
}

}  // namespace vesk::html
