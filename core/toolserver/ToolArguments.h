#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Json.h"

namespace vesk {

// The arguments of one tool call. Keys that a tool does not ask for are no matter.
class ToolArguments {
 public:
  explicit ToolArguments(Json::Object values) : values_(std::move(values)) {}

  // The text of `key`. ToolError(message) when it is missing, no string, or empty.
  std::string text(std::string_view key, const char* message) const;

  // Nullopt when `key` is missing, null or empty. ToolError when it is no string.
  std::optional<std::string> optionalText(std::string_view key) const;

  // Nullopt when `key` is missing or null; "" stays. ToolError(message) when it is no string.
  std::optional<std::string> given(std::string_view key, const char* message) const;

  // Nullopt when `key` is missing or null. ToolError when it is no list of strings.
  std::optional<std::vector<std::string>> texts(std::string_view key) const;

  // Nullopt when `key` is missing or null. ToolError(message) unless it is a whole number in that range.
  std::optional<int> number(std::string_view key, int least, int most, const char* message) const;

  // False when `key` is missing or null.
  bool has(std::string_view key) const { return find(key) != nullptr; }

  // All of them, as an object.
  const Json& json() const { return values_; }

  // False when `key` is missing or null. ToolError when it is neither true nor false.
  bool flag(std::string_view key) const;

  // "limit", from 1 to 200; 50 when it is missing or no integer.
  std::size_t limit() const;

  // "offset", from 0; 0 when it is missing or no integer.
  std::size_t offset() const;

  // "part", from 1; 1 when it is missing. ToolError when it is anything else.
  std::size_t part() const;

 private:
  const Json* find(std::string_view key) const;
  std::int64_t integer(std::string_view key, std::int64_t otherwise) const;

  Json values_;
};

}  // namespace vesk
