#include "core/base/Uuid.h"

#include <cstdint>
#include <random>

#include <fmt/format.h>

namespace vesk {

std::string newUuid() {
  std::random_device device;  // the system's own source, so that no two processes share a sequence
  const auto word = [&] { return std::uint64_t{device()} << 32 | device(); };
  const std::uint64_t high = (word() & ~std::uint64_t{0xF000}) | 0x4000;                    // the version
  const std::uint64_t low = (word() & ~(std::uint64_t{3} << 62)) | std::uint64_t{2} << 62;  // the variant
  return fmt::format("{:08x}-{:04x}-{:04x}-{:04x}-{:012x}", high >> 32, (high >> 16) & 0xFFFF, high & 0xFFFF, low >> 48,
                     low & 0xFFFF'FFFF'FFFF);
}

}  // namespace vesk
