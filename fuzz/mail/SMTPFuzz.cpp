#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/mail/SMTPClient.h"
#include "fuzz/mail/Babbling.h"

namespace {

using namespace vesk;

void require(bool holds) {
  if (!holds) std::abort();
}

// What the client tells the server, and what it makes of the replies.
std::string session(std::string_view bytes, std::size_t chunk) {
  std::string told;
  SMTPClient client(std::make_unique<Babbling>(bytes, chunk, told), {.line = 500, .lines = 20});
  bool isNoted = false;
  bool isSent = false;
  try {
    client.start("ana", "secret", MailSecurity::tls);
    client.send({.sender = "a@b", .recipients = {"c@d", "e@f"}, .text = "Subject: x\r\n\r\n.\r\n"},
                [&] { isNoted = true; });
    isSent = true;
  } catch (const MaybeSentError& error) {
    require(isNoted);
    told += error.what();
  } catch (const Error& error) {
    require(text::isValidUtf8(error.what()));
    told += error.what();
  }
  require(isNoted || !isSent);
  require(isNoted == (told.find("\r\n.\r\n") != std::string::npos));  // the line that ends the mail
  return told;
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
