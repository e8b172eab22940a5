#pragma once

#include <string>
#include <string_view>

namespace vesk::html {

// A document in two: what readers see of it, and what it hides from them.
struct SplitDocument {
  std::string seen = {};
  std::string hidden = {};
};

// `html` is a document without blocks (html::withoutBlocks). Takes linear time.
SplitDocument splitHidden(std::string_view html);

}  // namespace vesk::html
