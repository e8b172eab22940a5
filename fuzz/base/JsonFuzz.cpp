#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "core/base/Json.h"
#include "core/base/Text.h"

namespace {

using vesk::Json;

void require(bool holds) {
  if (!holds) std::abort();
}

// Both layouts read back as the same value, and are then written the same.
void checkRoundTrip(const Json& value) {
  const std::string compact = value.compact();
  const std::string pretty = value.pretty();
  require(vesk::text::isValidUtf8(compact));
  require(Json::parse(compact) == value);
  require(Json::parse(compact).compact() == compact);
  require(Json::parse(pretty) == value);
  require(Json::parse(pretty).pretty() == pretty);
}

void checkAsDocument(std::string_view text) {
  Json value;
  try {
    value = Json::parse(text);
  } catch (const vesk::JsonError&) {
    return;
  }
  checkRoundTrip(value);
}

// Whatever bytes a string holds, what is written of it is JSON, and unchanged where they are UTF-8.
void checkAsString(std::string_view text) {
  const Json read = Json::parse(Json(text).compact());
  if (vesk::text::isValidUtf8(text)) require(*read.string() == text);
  checkRoundTrip(read);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  checkAsDocument(text);
  checkAsString(text);
  return 0;
}
