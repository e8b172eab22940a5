#include "core/vault/Bucket.h"

#include <algorithm>
#include <cstddef>

#include "core/base/Text.h"
#include "core/base/Unicode.h"

namespace vesk::bucket {

namespace {

constexpr std::array<std::string_view, 7> names = {"Inbox",   "Projects", "Areas", "Resources",
                                                   "Sources", "Archive",  "Other"};

// "1. ", "01-", "2_" and the like, by which people put folders in order.
std::string_view withoutNumber(std::string_view name) {
  while (!name.empty()) {
    const auto [character, length] = unicode::decode(name, 0);
    const bool separates = character == ' ' || character == '-' || character == '_' || character == '.';
    if (!separates && !unicode::isNumber(character)) break;
    name.remove_prefix(length);
  }
  return name;
}

}  // namespace

std::string_view name(Bucket bucket) { return names[static_cast<std::size_t>(bucket)]; }

std::optional<Bucket> named(std::string_view name) {
  const auto found = std::find(names.begin(), names.end(), name);
  if (found == names.end()) return std::nullopt;
  return static_cast<Bucket>(found - names.begin());
}

std::optional<Bucket> matching(std::string_view folderName) {
  const std::string_view bare = withoutNumber(folderName);
  for (const Bucket bucket : structure)
    if (text::equalIgnoringCase(bare, name(bucket))) return bucket;
  return std::nullopt;
}

}  // namespace vesk::bucket
