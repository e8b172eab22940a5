#include "core/base/Json.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <iterator>
#include <stdexcept>
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "core/base/Text.h"
#include "core/base/Unicode.h"

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
  explicit Builder(std::string_view text) : text_(text) {}

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
  bool start_array(std::size_t) { return open(Json::Array()); }
  bool end_object() { return close(); }
  bool end_array() { return close(); }

  bool key(std::string& name) {
    Json::Object& object = *open_.back()->object();
    // What Vesk wrote itself is sorted: the end is the right place, and costs no search.
    member_ = &object.try_emplace(object.end(), std::move(name))->second;
    return true;
  }

  bool parse_error(std::size_t bytesRead, const std::string&, const Reader::exception&) {
    throw malformed(text_, bytesRead == 0 ? 0 : bytesRead - 1);
  }

 private:
  bool add(Json value) {
    place(std::move(value));
    return true;
  }

  bool open(Json container) {
    if (open_.size() == Json::maximumDepth) throw tooDeep();
    open_.push_back(&place(std::move(container)));
    return true;
  }

  bool close() {
    open_.pop_back();
    return true;
  }

  Json& place(Json value) {
    if (open_.empty()) return root_ = std::move(value);
    if (Json::Array* array = open_.back()->array()) return array->emplace_back(std::move(value));
    return *member_ = std::move(value);
  }

  std::string_view text_;
  Json root_;
  std::vector<Json*> open_;  // from the outermost in; none moves, as only the innermost grows
  Json* member_ = nullptr;   // where the value of the key just read belongs
};

enum class Layout { compact, pretty };

// 0 for a byte that stands for itself in a string, 'u' for one that is written by its number, else the letter that
// follows the backslash.
constexpr std::array<char, 256> escapes = [] {
  std::array<char, 256> table{};
  std::fill_n(table.begin(), 0x20, 'u');
  table['\b'] = 'b';
  table['\t'] = 't';
  table['\n'] = 'n';
  table['\f'] = 'f';
  table['\r'] = 'r';
  table['"'] = '"';
  table['\\'] = '\\';
  return table;
}();

char escapeOf(char byte) { return escapes[static_cast<unsigned char>(byte)]; }

// `text` with U+FFFD for each byte that belongs to no character.
std::string wellFormed(std::string_view text) {
  constexpr std::string_view replacement = "\uFFFD";
  std::string result;
  result.reserve(text.size() + replacement.size());
  for (std::size_t at = 0; at < text.size();) {
    const auto [value, length] = unicode::decode(text, at);
    result += value == U'\uFFFD' ? replacement : text.substr(at, length);
    at += length;
  }
  return result;
}

class Writer {
 public:
  explicit Writer(Layout layout) : pretty_(layout == Layout::pretty) {}

  std::string take() { return std::move(out_); }

  void write(const Json& value) {
    if (const auto* string = value.string()) return writeString(*string);
    if (const auto* object = value.object()) return writeObject(*object);
    if (const auto* array = value.array()) return writeArray(*array);
    if (const auto* number = value.number()) return append(number->text);
    const std::optional<bool> boolean = value.boolean();
    append(!boolean ? "null" : *boolean ? "true" : "false");
  }

 private:
  void append(std::string_view text) { out_ += text; }

  void writeArray(const Json::Array& array) {
    writeItems('[', ']', array, [this](const Json& item) { write(item); });
  }

  void writeObject(const Json::Object& object) {
    writeItems('{', '}', object, [this](const auto& member) {
      writeString(member.first);
      append(pretty_ ? " : " : ":");
      write(member.second);
    });
  }

  template <typename Items, typename WriteItem>
  void writeItems(char opening, char closing, const Items& items, WriteItem writeItem) {
    out_ += opening;
    ++level_;
    bool first = true;
    for (const auto& item : items) {
      if (!first) out_ += ',';
      first = false;
      breakLine();
      writeItem(item);
    }
    --level_;
    if (!items.empty()) breakLine();
    out_ += closing;
  }

  void breakLine() {
    if (!pretty_) return;
    out_ += '\n';
    out_.append(2 * level_, ' ');
  }

  void writeString(std::string_view text) {
    out_ += '"';
    if (text::isValidUtf8(text)) {
      writeEscaped(text);
    } else {
      writeEscaped(wellFormed(text));
    }
    out_ += '"';
  }

  // Runs of plain characters are copied at once.
  void writeEscaped(std::string_view text) {
    for (auto at = text.begin(); at != text.end(); ++at) {
      const auto plainEnd = std::find_if(at, text.end(), escapeOf);
      out_.append(at, plainEnd);
      if (plainEnd == text.end()) return;
      at = plainEnd;
      writeEscape(*at);
    }
  }

  void writeEscape(char byte) {
    const char letter = escapeOf(byte);
    out_ += '\\';
    out_ += letter;
    if (letter == 'u') fmt::format_to(std::back_inserter(out_), "{:04x}", byte);
  }

  bool pretty_;
  std::size_t level_ = 0;
  std::string out_;
};

std::string written(const Json& value, Layout layout) {
  Writer writer(layout);
  writer.write(value);
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

Json Json::parse(std::string_view text) {
  // The reader would take a NUL byte for the end.
  if (const std::size_t nul = text.find('\0'); nul != std::string_view::npos) throw malformed(text, nul);
  Builder builder(text);
  Reader::sax_parse(text.begin(), text.end(), &builder);
  return builder.take();
}

bool Json::isNull() const { return std::holds_alternative<std::nullptr_t>(value_); }
const std::string* Json::string() const { return std::get_if<std::string>(&value_); }
const Json::Array* Json::array() const { return std::get_if<Array>(&value_); }
const Json::Object* Json::object() const { return std::get_if<Object>(&value_); }
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

std::optional<double> Json::real() const { return number() ? fromText<double>(number()->text) : std::nullopt; }

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

std::string Json::compact() const { return written(*this, Layout::compact); }

std::string Json::pretty() const { return written(*this, Layout::pretty); }

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
