#include "core/platform/CreationDate.h"

#include <charconv>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>

#include <fmt/format.h>
#include <sys/xattr.h>

#include "core/platform/Folder.h"

namespace vesk {

namespace {

constexpr const char* attribute = "user.vesk.created";
constexpr std::int64_t billion = 1'000'000'000;

std::optional<Timestamp> parse(std::string_view text) {
  std::int64_t seconds = 0;
  std::int64_t nanoseconds = 0;
  const char* const end = text.data() + text.size();
  const auto whole = std::from_chars(text.data(), end, seconds);
  if (whole.ec != std::errc() || whole.ptr == end || *whole.ptr != '.') return std::nullopt;
  const auto fraction = std::from_chars(whole.ptr + 1, end, nanoseconds);
  if (fraction.ec != std::errc() || fraction.ptr != end || nanoseconds < 0 || nanoseconds >= billion)
    return std::nullopt;
  constexpr std::int64_t representable = INT64_MAX / billion - 1;
  if (seconds < -representable || seconds > representable) return std::nullopt;
  return Timestamp(std::chrono::nanoseconds(seconds * billion + nanoseconds));
}

}  // namespace

Timestamp creationDate(int descriptor, Timestamp birth) {
  char value[64];
  const ssize_t size = ::fgetxattr(descriptor, attribute, value, sizeof value);
  if (size <= 0) return birth;
  return parse({value, static_cast<std::size_t>(size)}).value_or(birth);
}

void carryCreationDate(int from, int to) {
  const Timestamp created = fileInfo(from).created;
  if (created == distantPast) return;
  const auto seconds = std::chrono::floor<std::chrono::seconds>(created);
  const std::string value = fmt::format("{}.{:09}", seconds.time_since_epoch().count(), (created - seconds).count());
  ::fsetxattr(to, attribute, value.data(), value.size(), 0);
}

}  // namespace vesk
