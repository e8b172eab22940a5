#include "core/base/Json.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <stdexcept>
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "core/base/JsonWriter.h"
#include "core/base/Text.h"

namespace vesk {

namespace {

// The reader refuses what its number type cannot hold. We keep numbers as text and want only their grammar checked, so
// the widest type is the best: 1E400 comes through.
using Reader = nlohmann::basic_json<std::map, std::vector, std::string, bool, std::int64_t, std::uint64_t, long double>;

bool startsCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }

JsonError malformed(std::string_view text, std::size_t offset) {
  const std::string_view before = text.substr(0, offset);
  const std::string_view line = before.substr(before.rfind('\n') + 1);  // npos + 1 is 0: the first line
  return JsonError(fmt::format("This isn't valid JSON: line {}, column {}.",
                               1 + std::count(before.begin(), before.end(), '\n'),
                               1 + std::count_if(line.begin(), line.end(), startsCharacter)));
}

JsonError tooDeep() {
  return JsonError(fmt::format("This JSON is nested more than {} levels deep.", Json::maximumDepth));
}

// Puts the value together from the pieces the reader reports. The names of the functions are the reader's; none returns
// false, which would end the reading without an error.
class Builder {
 public:
  Builder(std::string_view text, const Json::ArrayReader& arrays) : text_(text), arrays_(arrays) {}

  Json take() { return std::move(root_); }

  bool null() { return add(nullptr); }
  bool boolean(bool value) { return add(value); }
  bool number_unsigned(std::uint64_t value) { return add(value); }
  // Only numbers with a minus come this way, so that 0 was written "-0".
  bool number_integer(std::int64_t value) { return value == 0 ? add(Json::Number{"-0"}) : add(value); }
  bool number_float(long double, const std::string& written) { return add(Json::Number{written}); }
  bool string(std::string& value) { return add(std::move(value)); }
  bool binary(Reader::binary_t&) { throw std::logic_error("JSON text holds no binary values"); }

  bool start_object(std::size_t) { return open(Json::Object()); }
  bool start_array(std::size_t) {
    const bool isMember = open_.size() == 1 && open_.back()->object();
    if (isMember && arrays_) elements_ = arrays_(member_->first);
    return open(Json::Array());
  }
  bool end_object() { return close(); }
  bool end_array() {
    if (open_.size() == 2) elements_ = nullptr;
    return close();
  }

  bool key(std::string& name) {
    Json::Object& object = *open_.back()->object();
    // What Vesk wrote itself is sorted: the end is the right place, and costs no search.
    member_ = object.try_emplace(object.end(), std::move(name));
    return true;
  }

  bool parse_error(std::size_t bytesRead, const std::string&, const Reader::exception&) {
    throw malformed(text_, bytesRead == 0 ? 0 : bytesRead - 1);
  }

 private:
  bool add(Json value) {
    place(std::move(value));
    handOver();
    return true;
  }

  bool open(Json container) {
    if (open_.size() == Json::maximumDepth) throw tooDeep();
    open_.push_back(&place(std::move(container)));
    return true;
  }

  bool close() {
    open_.pop_back();
    handOver();
    return true;
  }

  // Gives an element that is complete to whoever takes those of its array.
  void handOver() {
    if (!elements_ || open_.size() != 2) return;
    Json::Array& array = *open_.back()->array();
    elements_(std::move(array.back()));
    array.pop_back();
  }

  Json& place(Json value) {
    if (open_.empty()) return root_ = std::move(value);
    if (Json::Array* array = open_.back()->array()) return array->emplace_back(std::move(value));
    return member_->second = std::move(value);
  }

  std::string_view text_;
  const Json::ArrayReader& arrays_;
  Json root_;
  std::vector<Json*> open_;        // from the outermost in; none moves, as only the innermost grows
  Json::Object::iterator member_;  // where the value of the key just read belongs
  Json::ElementReader elements_;   // of the array that is being handed over
};

std::string written(const Json& value, JsonWriter::Layout layout) {
  JsonWriter writer(layout);
  writer.value(value);
  return writer.take();
}

std::string shortestText(double value) {
  if (!std::isfinite(value)) throw JsonError("JSON has no way to write a number that isn't finite.");
  // Whole numbers that a double holds exactly are written out: 100000, where the shortest would be 1e+05.
  const bool wholeAndExact = std::trunc(value) == value && std::abs(value) < 0x1p53;
  std::array<char, 32> buffer;
  char* const end = buffer.data() + buffer.size();
  const auto result = wholeAndExact ? std::to_chars(buffer.data(), end, value, std::chars_format::fixed)
                                    : std::to_chars(buffer.data(), end, value);
  return {buffer.data(), result.ptr};
}

// The whole of `text` as a value of this type; nullopt when it is not written as one or is out of range.
template <typename Value>
std::optional<Value> fromText(const std::string& text) {
  Value value{};
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, value);
  if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
  return value;
}

}  // namespace

Json::Json(int value) : Json(std::int64_t{value}) {}
Json::Json(std::int64_t value) : value_(Number{fmt::format_int(value).str()}) {}
Json::Json(std::size_t value) : value_(Number{fmt::format_int(value).str()}) {}
Json::Json(double value) : value_(Number{shortestText(value)}) {}
Json::Json(Number value) : value_(std::move(value)) {}
Json::Json(const char* value) : value_(std::string(value)) {}
Json::Json(std::string_view value) : value_(std::string(value)) {}
Json::Json(std::string value) : value_(std::move(value)) {}
Json::Json(Array value) : value_(std::move(value)) {}
Json::Json(Object value) : value_(std::move(value)) {}

Json Json::parse(std::string_view text, const ArrayReader& arrays) {
  // The reader would take a NUL byte for the end.
  if (const std::size_t nul = text.find('\0'); nul != std::string_view::npos) throw malformed(text, nul);
  Builder builder(text, arrays);
  Reader::sax_parse(text.begin(), text.end(), &builder);
  return builder.take();
}

bool Json::isNull() const { return std::holds_alternative<std::nullptr_t>(value_); }
const std::string* Json::string() const { return std::get_if<std::string>(&value_); }
const Json::Array* Json::array() const { return std::get_if<Array>(&value_); }
const Json::Object* Json::object() const { return std::get_if<Object>(&value_); }
std::string* Json::string() { return std::get_if<std::string>(&value_); }
Json::Array* Json::array() { return std::get_if<Array>(&value_); }
Json::Object* Json::object() { return std::get_if<Object>(&value_); }
const Json::Number* Json::number() const { return std::get_if<Number>(&value_); }

std::optional<bool> Json::boolean() const {
  const bool* value = std::get_if<bool>(&value_);
  return value ? std::optional(*value) : std::nullopt;
}

std::optional<std::int64_t> Json::integer() const {
  return number() ? fromText<std::int64_t>(number()->text) : std::nullopt;
}

std::optional<double> Json::real() const {
  if (!number()) return std::nullopt;
  if (const auto value = fromText<double>(number()->text)) return value;
  const double value = std::strtod(number()->text.c_str(), nullptr);  // which tells what is too large from too small
  return std::isfinite(value) ? std::optional(value) : std::nullopt;
}

const Json* Json::find(std::string_view key) const {
  if (!object()) return nullptr;
  const auto member = object()->find(key);
  return member == object()->end() ? nullptr : &member->second;
}

Json& Json::operator[](std::string_view key) {
  if (isNull()) value_ = Object();
  if (!object()) throw std::logic_error("Json: only an object has members");
  return object()->try_emplace(std::string(key)).first->second;
}

std::string Json::compact() const { return written(*this, JsonWriter::Layout::compact); }

std::string Json::pretty() const { return written(*this, JsonWriter::Layout::pretty); }

namespace {

constexpr std::string_view blanks = " \t\r\n";

// The quote that ends the string which begins at `at`; npos without one.
std::size_t endOfString(std::string_view text, std::size_t at) {
  for (++at; (at = text.find_first_of("\"\\", at)) != std::string_view::npos; at += 2)
    if (text[at] == '"') return at;
  return at;
}

}  // namespace

std::optional<std::vector<std::string_view>> Json::elements(std::string_view text) {
  std::vector<std::string_view> found;
  std::size_t begin = text.find_first_not_of(blanks);
  if (begin == std::string_view::npos || text[begin] != '[') return std::nullopt;
  std::size_t depth = 1;
  for (std::size_t at = ++begin; at < text.size(); ++at) {
    const char c = text[at];
    if (c == '"' && (at = endOfString(text, at)) == std::string_view::npos) return std::nullopt;
    if (c == '[' || c == '{') ++depth;
    if (c == ']' || c == '}') --depth;
    if (depth > 1 || (c != ',' && depth == 1)) continue;
    found.push_back(text::trim(text.substr(begin, at - begin), blanks));
    begin = at + 1;
    if (depth == 0) break;
  }
  const bool isWhole = depth == 0 && text.find_first_not_of(blanks, begin) == std::string_view::npos;
  if (!isWhole) return std::nullopt;
  if (found.size() == 1 && found.front().empty()) found.clear();
  const auto isMissing = [](std::string_view element) { return element.empty(); };
  return std::none_of(found.begin(), found.end(), isMissing) ? std::optional(std::move(found)) : std::nullopt;
}

}  // namespace vesk
