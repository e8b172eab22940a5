#pragma once

#include <string>
#include <string_view>

#include "core/mail/HtmlStyle.h"

namespace vesk::html {

// A document in two: what readers see of it, and what it hides from them.
struct SplitDocument {
  std::string seen = {};
  std::string hidden = {};
};

// `html` is a document without blocks (html::withoutBlocks), and `sheet` what its style sheets say. What stands in a
// comment, a style or a script that is never closed is hidden. Takes linear time.
SplitDocument splitHidden(std::string_view html, const StyleSheet& sheet);

}  // namespace vesk::html
