#pragma once

#include "core/mail/CssStyle.h"
#include "core/mail/HtmlAttributes.h"
#include "core/mail/HtmlLook.h"
#include "core/mail/StyleSheet.h"

namespace vesk::html {

// The look of a document that stands in no element yet.
Look lookOfDocument(const StyleSheet& sheet);

// What an element with these attributes says of its own look.
css::Style styleOf(const Attributes& attributes, const StyleSheet& sheet);

}  // namespace vesk::html
