#include "core/toolserver/ToolArguments.h"

#include <algorithm>
#include <cstdint>

#include <fmt/format.h>

#include "core/toolserver/ToolError.h"

namespace vesk {

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
  return static_cast<std::size_t>(std::max<std::int64_t>(integer("part", 1), 1));
}

const Json* ToolArguments::find(std::string_view key) const {
  const auto found = values_.find(key);
  return found == values_.end() || found->second.isNull() ? nullptr : &found->second;
}

std::int64_t ToolArguments::integer(std::string_view key, std::int64_t otherwise) const {
  const Json* value = find(key);
  return value ? value->integer().value_or(otherwise) : otherwise;
}

}  // namespace vesk
