#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "core/base/Error.h"

namespace vesk {

// A text that is no JSON, or more deeply nested than Json::maximumDepth. Says where.
class JsonError : public Error {
 public:
  using Error::Error;
};

// A JSON value (RFC 8259). Numbers keep the text they were read from: 1.10 stays 1.10, and a number of thirty digits is
// not rounded. Of a key given twice the last value holds. Object keys are sorted by their bytes.
class Json {
 public:
  struct Number {
    std::string text = {};  // as JSON writes it
    bool operator==(const Number&) const = default;
  };
  using Array = std::vector<Json>;
  using Object = std::map<std::string, Json, std::less<>>;

  static constexpr int maximumDepth = 512;

  Json() = default;  // null
  Json(std::nullptr_t) {}
  Json(std::same_as<bool> auto value) : value_(value) {}  // nothing else: a pointer would pass for true
  Json(int value);
  Json(std::int64_t value);
  Json(std::size_t value);
  Json(double value);  // the shortest text that reads back as the same number; throws JsonError unless finite
  Json(Number value);
  Json(const char* value);
  Json(std::string_view value);
  Json(std::string value);
  Json(Array value);
  Json(Object value);

  // Takes the elements of one array, one after another.
  using ElementReader = std::function<void(Json element)>;
  // Asked for each array that is a member of the outermost object, by its key, before its elements are read: who takes
  // them; an empty function for one to keep.
  using ArrayReader = std::function<ElementReader(std::string_view key)>;

  // Throws JsonError. Refuses invalid UTF-8, anything after the value, and more than maximumDepth levels. A byte-order
  // mark in front is skipped. Arrays whose elements were taken are empty in the result: a long list need not be held
  // as JSON as well as in what is made of it. A reader is asked once more for a key that is given twice.
  static Json parse(std::string_view text, const ArrayReader& arrays = {});

  // The texts of an array's elements as they stand, told apart by their brackets, commas and strings alone: each is
  // JSON or not by itself. Nullopt when the text is no array.
  static std::optional<std::vector<std::string_view>> elements(std::string_view text);

  bool isNull() const;
  // The value when it is of that kind, else nullptr (or nullopt).
  const std::string* string() const;
  const Array* array() const;
  const Object* object() const;
  std::string* string();
  Array* array();
  Object* object();
  const Number* number() const;
  std::optional<bool> boolean() const;
  // The value of a number that is written as an integer (no fraction, no exponent) and fits; else nullopt.
  std::optional<std::int64_t> integer() const;
  // Any number within the range of a double, be it rounded, to 0 too; nullopt beyond it (1e400).
  std::optional<double> real() const;

  // The member of an object; nullptr when this is no object or has no such key.
  const Json* find(std::string_view key) const;
  // The member of an object, made when it is missing; a null becomes an object. Throws std::logic_error on other kinds.
  Json& operator[](std::string_view key);

  // Both write valid UTF-8 always: where a string holds bytes that are none, U+FFFD stands in.

  // One line: no white space, keys sorted by bytes, "/" not escaped, control characters escaped.
  std::string compact() const;
  // Two spaces a level, `"key" : value`, keys sorted by bytes, "/" not escaped, `[]` and `{}` when empty. No line break
  // at the end.
  std::string pretty() const;

  bool operator==(const Json&) const = default;

 private:
  std::variant<std::nullptr_t, bool, Number, std::string, Array, Object> value_ = nullptr;
};

}  // namespace vesk
