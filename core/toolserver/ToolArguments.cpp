#include "core/toolserver/ToolArguments.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include <fmt/format.h>

#include "core/toolserver/ToolError.h"

namespace vesk {

namespace {

// 3 and 3.0 alike, as JSON Schema has it; numbers beyond what a list can hold as the largest there is.
std::optional<std::int64_t> wholeNumber(const Json& value) {
  if (const auto integer = value.integer()) return integer;
  const auto real = value.real();
  if (!real || std::floor(*real) != *real) return std::nullopt;
  constexpr double largest = 1e15;
  return static_cast<std::int64_t>(std::clamp(*real, -largest, largest));
}

}  // namespace

std::string ToolArguments::text(std::string_view key, const char* message) const {
  const Json* value = find(key);
  if (!value || !value->string() || value->string()->empty()) throw ToolError(message);
  return *value->string();
}

std::optional<std::string> ToolArguments::optionalText(std::string_view key) const {
  const Json* value = find(key);
  if (!value) return std::nullopt;
  if (!value->string()) throw ToolError(fmt::format("The argument {} must be a string.", key));
  return value->string()->empty() ? std::nullopt : std::optional(*value->string());
}

std::optional<std::string> ToolArguments::given(std::string_view key, const char* message) const {
  const Json* value = find(key);
  if (!value) return std::nullopt;
  if (!value->string()) throw ToolError(message);
  return *value->string();
}

std::optional<std::vector<std::string>> ToolArguments::texts(std::string_view key) const {
  const Json* value = find(key);
  if (!value) return std::nullopt;
  const auto refuse = [&] { return ToolError(fmt::format("The argument {} must be a list of strings.", key)); };
  if (!value->array()) throw refuse();
  std::vector<std::string> texts;
  for (const Json& entry : *value->array()) {
    if (!entry.string()) throw refuse();
    texts.push_back(*entry.string());
  }
  return texts;
}

std::optional<int> ToolArguments::number(std::string_view key, int least, int most, const char* message) const {
  const Json* value = find(key);
  if (!value) return std::nullopt;
  const auto number = wholeNumber(*value);
  if (!number || *number < least || *number > most) throw ToolError(message);
  return static_cast<int>(*number);
}

bool ToolArguments::flag(std::string_view key) const {
  const Json* value = find(key);
  if (!value) return false;
  if (!value->boolean()) throw ToolError(fmt::format("The argument {} must be true or false.", key));
  return *value->boolean();
}

std::size_t ToolArguments::limit() const {
  return static_cast<std::size_t>(std::clamp<std::int64_t>(integer("limit", 50), 1, 200));
}

std::size_t ToolArguments::offset() const {
  return static_cast<std::size_t>(std::max<std::int64_t>(integer("offset", 0), 0));
}

std::size_t ToolArguments::part() const {
  const Json* value = find("part");
  if (!value) return 1;
  const auto number = wholeNumber(*value);
  if (!number || *number < 1) throw ToolError("The argument part must be a number from 1.");
  return static_cast<std::size_t>(*number);
}

const Json* ToolArguments::find(std::string_view key) const {
  const Json* value = values_.find(key);
  return value && !value->isNull() ? value : nullptr;
}

std::int64_t ToolArguments::integer(std::string_view key, std::int64_t otherwise) const {
  const Json* value = find(key);
  return value ? wholeNumber(*value).value_or(otherwise) : otherwise;
}

}  // namespace vesk
