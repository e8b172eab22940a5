#include "core/base/Base64.h"

#include <cstddef>
#include <cstdint>

namespace vesk::base64 {

namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::uint32_t byteAt(std::string_view bytes, std::size_t index) {
  return index < bytes.size() ? static_cast<unsigned char>(bytes[index]) : 0;
}

}  // namespace

std::string encoded(std::string_view bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::uint32_t three = byteAt(bytes, i) << 16 | byteAt(bytes, i + 1) << 8 | byteAt(bytes, i + 2);
    text += alphabet[three >> 18];
    text += alphabet[(three >> 12) & 63];
    text += i + 1 < bytes.size() ? alphabet[(three >> 6) & 63] : '=';
    text += i + 2 < bytes.size() ? alphabet[three & 63] : '=';
  }
  return text;
}

}  // namespace vesk::base64
