#include "core/base/Base64.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace vesk::base64 {

namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::uint32_t byteAt(std::string_view bytes, std::size_t index) {
  return index < bytes.size() ? static_cast<unsigned char>(bytes[index]) : 0;
}

constexpr std::uint8_t notALetter = 0x80;  // no value of a letter has this bit

constexpr std::array<std::uint8_t, 256> values = [] {
  std::array<std::uint8_t, 256> made{};
  made.fill(notALetter);
  for (std::size_t i = 0; i < alphabet.size(); ++i)
    made[static_cast<unsigned char>(alphabet[i])] = static_cast<std::uint8_t>(i);
  return made;
}();

std::uint32_t valueAt(std::string_view text, std::size_t index) {
  return values[static_cast<unsigned char>(text[index])];
}

// Letters in a block of at most 255 bytes. Without branches, so that the compiler makes vector instructions of it.
__attribute__((target_clones("arch=skylake-avx512", "avx2", "default"))) std::size_t lettersInBlock(const char* bytes,
                                                                                                    std::size_t count) {
  unsigned char letters = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    const bool isLatin = static_cast<unsigned char>((byte | 0x20) - 'a') < 26;
    const bool isDigit = static_cast<unsigned char>(byte - '0') < 10;
    letters = static_cast<unsigned char>(letters + (isLatin | isDigit | (byte == '+') | (byte == '/')));
  }
  return letters;
}

std::size_t lettersIn(std::string_view text) {
  constexpr std::size_t block = 192;
  std::size_t letters = 0;
  for (std::size_t at = 0; at < text.size(); at += block)
    letters += lettersInBlock(text.data() + at, std::min(block, text.size() - at));
  return letters;
}

// Appends groups of four letters as three bytes, up to the first other character. Returns the letters taken.
std::size_t decodeWholeGroups(std::string_view text, char*& out) {
  std::size_t at = 0;
  for (; at + 4 <= text.size(); at += 4) {
    const std::uint32_t a = valueAt(text, at);
    const std::uint32_t b = valueAt(text, at + 1);
    const std::uint32_t c = valueAt(text, at + 2);
    const std::uint32_t d = valueAt(text, at + 3);
    if (((a | b | c | d) & notALetter) != 0) break;
    const std::uint32_t three = a << 18 | b << 12 | c << 6 | d;
    *out++ = static_cast<char>(three >> 16);
    *out++ = static_cast<char>(three >> 8);
    *out++ = static_cast<char>(three);
  }
  return at;
}

// A group whose letters don't stand together, or one that is not complete.
class Group {
 public:
  bool isEmpty() const { return letters_ == 0; }

  void add(std::uint32_t value, char*& out) {
    bits_ = bits_ << 6 | value;
    if (++letters_ == 4) end(out);
  }

  // Writes the whole bytes there are.
  void end(char*& out) {
    const std::uint32_t three = bits_ << 6 * (4 - letters_);
    if (letters_ > 1) *out++ = static_cast<char>(three >> 16);
    if (letters_ > 2) *out++ = static_cast<char>(three >> 8);
    if (letters_ > 3) *out++ = static_cast<char>(three);
    *this = {};
  }

 private:
  std::uint32_t bits_ = 0;
  unsigned letters_ = 0;
};

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

std::string decoded(std::string_view text) {
  std::string bytes(decodedSize(text), '\0');
  char* out = bytes.data();
  Group group;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (group.isEmpty()) at += decodeWholeGroups(text.substr(at), out);
    if (at == text.size()) break;
    const std::uint32_t value = valueAt(text, at);
    if (value != notALetter) group.add(value, out);
    if (text[at] == '=') group.end(out);
  }
  group.end(out);
  return bytes;
}

std::size_t decodedSize(std::string_view text) {
  std::size_t size = 0;
  while (true) {
    const std::size_t padding = std::min(text.find('='), text.size());
    const std::size_t letters = lettersIn(text.substr(0, padding));
    size += letters / 4 * 3;
    if (letters % 4 > 1) size += letters % 4 - 1;
    if (padding == text.size()) return size;
    text.remove_prefix(padding + 1);
  }
}

}  // namespace vesk::base64
