#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "core/base/Text.h"
#include "core/mail/IMAPClient.h"
#include "core/mail/MailError.h"
#include "fuzz/mail/Babbling.h"

namespace {

using namespace vesk;

void require(bool holds) {
  if (!holds) std::abort();
}

std::string textOf(const std::vector<IMAPMessage>& messages) {
  std::string text;
  for (const IMAPMessage& each : messages)
    text += fmt::format("{}({}){}\n", each.uid, text::join(each.flags, ","), each.body.value_or("none"));
  return text;
}

// Everything the client makes of the bytes.
std::string session(std::string_view bytes, std::size_t chunk) {
  const IMAPLimits limits{.line = 2000, .literal = 1000, .answer = 8000, .responses = 40, .depth = 8, .values = 100};
  std::string told;
  IMAPClient client(std::make_unique<Babbling>(bytes, chunk, told), limits);
  std::string made;
  try {
    client.start("ana", "secret", MailSecurity::none);
    for (const std::string& each : client.capabilities()) made += each + '\n';
    for (const IMAPFolder& each : client.folders()) {
      require(text::isValidUtf8(each.path) && text::isValidUtf8(each.name));
      made += fmt::format("{} {} {}\n", each.path, each.name, name(each.role));
    }
    const IMAPSelection selection = client.select("a");
    made += fmt::format("{} {} {}\n", selection.exists, selection.uidValidity, selection.uidNext);
    for (const std::uint32_t each : client.uids("<a@b>")) made += fmt::format("{} ", each);
    made += textOf(client.flags({1, 2}));
    made += textOf(client.bodies({1, 2}));
    client.append("text", "a", {"\\Seen"});
    client.move({1}, "b");
    made += client.idle(std::chrono::seconds(60)) ? "changed" : "unchanged";
  } catch (const MailError& error) {
    require(text::isValidUtf8(error.what()));
    made += error.what();
  }
  return made;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const std::string made = session(bytes, size + 1);
  // How the bytes are cut makes no difference.
  require(session(bytes, 1) == made);
  require(session(bytes, 7) == made);
  return 0;
}
