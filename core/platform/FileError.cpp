#include "core/platform/FileError.h"

#include <cerrno>
#include <cstring>

#include <fmt/format.h>

namespace vesk {

namespace {

// The C library's own English text, whatever the locale.
const char* describe(int code) {
  const char* text = strerrordesc_np(code);
  return text ? text : "Unknown error";
}

}  // namespace

FileError::FileError(std::string_view action, std::string_view path, int code)
    : Error(fmt::format("Can't {} {}: {}.", action, path, describe(code))), code_(code) {}

bool FileError::isMissing() const noexcept { return code_ == ENOENT || code_ == ENOTDIR; }

}  // namespace vesk
