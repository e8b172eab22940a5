#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "core/base/Text.h"
#include "core/mail/MailAddress.h"

namespace {

using namespace vesk;

void require(bool holds) {
  if (!holds) std::abort();
}

bool isOneLine(std::string_view text) { return text::isValidUtf8(text) && text.find_first_of("\r\n") == text.npos; }

// Characters that stand for themselves within quotes, and don't make up an encoded word.
bool isOrdinary(std::string_view name) {
  return name.find_first_of("\"\\=?") == name.npos && name == text::trim(name, " ") && !name.empty();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view header(reinterpret_cast<const char*>(data), size);
  const auto addresses = MailAddress::list(header);
  for (const MailAddress& each : addresses) {
    require(isOneLine(each.name) && isOneLine(each.address) && !each.address.empty());
    if (isOrdinary(each.name)) {
      const auto again = MailAddress::list("\"" + each.name + "\" <ana@example.org>");
      require(again == std::vector<MailAddress>{{each.name, "ana@example.org"}});
    }
  }
  const auto more = MailAddress::list("first@example.org, " + std::string(header));
  require(more.size() >= 1 && more.front().address == "first@example.org");
  return 0;
}
