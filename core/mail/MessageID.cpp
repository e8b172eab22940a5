#include "core/mail/MessageID.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include <fmt/format.h>

#include "core/base/Text.h"
#include "core/base/Uuid.h"

namespace vesk {

std::string newMessageID(std::string_view address) {
  const std::string_view domain = address.substr(std::min(address.rfind('@') + 1, address.size()));
  // A domain beyond ASCII would ask for servers that take UTF-8 in headers.
  const bool isPlain = !domain.empty() && std::ranges::all_of(domain, [](char c) { return c > ' ' && c < 0x7F; });
  return fmt::format("<{}@{}>", newUuid(), isPlain ? domain : "vesk.invalid");
}

std::vector<std::string> messageIDsIn(std::string_view value) {
  constexpr std::size_t longestID = 250;
  const auto isPrintable = [](char c) { return c > ' ' && c < 0x7F; };
  std::vector<std::string> ids;
  std::size_t open = value.find('<');
  while (open != std::string_view::npos) {
    const std::size_t next = value.find_first_of("<>", open + 1);
    if (next == std::string_view::npos) break;
    const std::string_view id = value.substr(open, next + 1 - open);
    const bool isID = value[next] == '>' && id.size() > 2 && id.size() <= longestID;
    if (isID && std::ranges::all_of(id, isPrintable)) ids.emplace_back(id);
    open = value.find('<', next);
  }
  return ids;
}

std::vector<std::string> shortenedThread(std::vector<std::string> messageIDs) {
  constexpr std::ptrdiff_t lastKept = 20;
  if (std::ssize(messageIDs) > lastKept + 1) messageIDs.erase(messageIDs.begin() + 1, messageIDs.end() - lastKept);
  return messageIDs;
}

}  // namespace vesk
