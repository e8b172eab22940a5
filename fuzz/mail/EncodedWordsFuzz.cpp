#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "core/base/Text.h"
#include "core/mail/HeaderParameters.h"
#include "core/mail/MIME.h"
#include "core/mail/TransferEncoding.h"

namespace {

using namespace vesk;

void require(bool holds) {
  if (!holds) std::abort();
}

void checkEncodings(std::string_view text) {
  for (const auto encoding : {TransferEncoding::none, TransferEncoding::base64, TransferEncoding::quotedPrintable})
    require(decoded(text, encoding).size() == decodedSize(text, encoding));
}

// A word that an honest sender makes says what it was made of.
void checkRoundTrip(std::string_view text) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string word = "=?utf-8?q?";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    word += {'=', digits[byte >> 4], digits[byte & 15]};
  }
  require(MIME::decodeWords(word + "?=") == text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  require(text::isValidUtf8(MIME::decodeWords(text)));
  const HeaderParameters parameters(text);
  for (const char* name : {"name", "filename", "charset", "boundary"})
    require(text::isValidUtf8(parameters.get(name)) || !text::isValidUtf8(text));
  MIME::date(text);
  checkEncodings(text);
  if (text::isValidUtf8(text)) checkRoundTrip(text);
  return 0;
}
