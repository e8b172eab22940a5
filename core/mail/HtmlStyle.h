#pragma once

#include <string_view>

#include "core/mail/HtmlLook.h"
#include "core/mail/StyleSheet.h"

namespace vesk::html {

// The look of a document that stands in no element yet.
Look lookOfDocument(const StyleSheet& sheet);

// The look of the text in an element that begins with this tag ("<td style=…>") and stands in text of the look
// `outside`.
Look lookWithin(std::string_view tag, Look outside, const StyleSheet& sheet);

}  // namespace vesk::html
