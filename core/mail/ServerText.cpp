#include "core/mail/ServerText.h"

#include <algorithm>
#include <cstddef>

#include "core/base/Text.h"

namespace vesk {

std::string shownServerText(std::string_view text) {
  constexpr std::size_t maximumShown = 300;  // bytes
  std::string shown = text::wellFormed(text.substr(0, 2 * maximumShown));
  std::ranges::replace_if(
      shown, [](unsigned char c) { return c < ' ' || c == 0x7F; }, ' ');
  return std::string(text::trimSpaces(text::firstBytes(shown, maximumShown)));
}

}  // namespace vesk
