#include "core/base/Uuid.h"

#include <array>
#include <cstdint>

#include <fmt/format.h>
#include <sys/random.h>

#include "core/base/Error.h"

namespace vesk {

std::string newUuid() {
  std::array<std::uint64_t, 2> words{};
  if (::getentropy(words.data(), sizeof words) != 0) throw Error("The system gives no random numbers.");
  const std::uint64_t high = (words[0] & ~std::uint64_t{0xF000}) | 0x4000;                    // the version
  const std::uint64_t low = (words[1] & ~(std::uint64_t{3} << 62)) | std::uint64_t{2} << 62;  // the variant
  return fmt::format("{:08x}-{:04x}-{:04x}-{:04x}-{:012x}", high >> 32, (high >> 16) & 0xFFFF, high & 0xFFFF, low >> 48,
                     low & 0xFFFF'FFFF'FFFF);
}

}  // namespace vesk
