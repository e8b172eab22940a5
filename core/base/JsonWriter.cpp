#include "core/base/JsonWriter.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "core/base/Text.h"

namespace vesk {

namespace {

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

}  // namespace

void JsonWriter::key(std::string_view name) {
  startItem();
  writeString(name);
  text_ += isPretty_ ? " : " : ":";
  followsKey_ = true;
}

void JsonWriter::value(const Json& value) {
  if (const auto* object = value.object()) return writeObject(*object);
  if (const auto* array = value.array()) return writeArray(*array);
  startItem();
  if (const auto* string = value.string()) return writeString(*string);
  if (const auto* number = value.number()) {
    text_ += number->text;
    return;
  }
  const std::optional<bool> boolean = value.boolean();
  text_ += !boolean ? "null" : *boolean ? "true" : "false";
}

void JsonWriter::begin(char bracket) {
  startItem();
  text_ += bracket;
  hasItems_.push_back(false);
}

void JsonWriter::end(char bracket) {
  const bool isEmpty = !hasItems_.back();
  hasItems_.pop_back();
  if (!isEmpty) breakLine();
  text_ += bracket;
}

// What stands in front of a key, an element, or the value of a key.
void JsonWriter::startItem() {
  const bool isValueOfKey = std::exchange(followsKey_, false);
  if (isValueOfKey || hasItems_.empty()) return;
  if (hasItems_.back()) text_ += ',';
  hasItems_.back() = true;
  breakLine();
}

void JsonWriter::breakLine() {
  if (!isPretty_) return;
  text_ += '\n';
  text_.append(2 * hasItems_.size(), ' ');
}

void JsonWriter::writeArray(const Json::Array& array) {
  beginArray();
  for (const Json& element : array) value(element);
  endArray();
}

void JsonWriter::writeObject(const Json::Object& object) {
  beginObject();
  for (const auto& [name, member] : object) {
    key(name);
    value(member);
  }
  endObject();
}

void JsonWriter::writeString(std::string_view text) {
  text_ += '"';
  if (text::isValidUtf8(text)) {
    writeEscaped(text);
  } else {
    writeEscaped(text::wellFormed(text));
  }
  text_ += '"';
}

// Runs of plain characters are copied at once.
void JsonWriter::writeEscaped(std::string_view text) {
  for (auto at = text.begin(); at != text.end(); ++at) {
    const auto plainEnd = std::find_if(at, text.end(), escapeOf);
    text_.append(at, plainEnd);
    if (plainEnd == text.end()) return;
    at = plainEnd;
    writeEscape(*at);
  }
}

void JsonWriter::writeEscape(char byte) {
  const char letter = escapeOf(byte);
  text_ += '\\';
  text_ += letter;
  if (letter == 'u') fmt::format_to(std::back_inserter(text_), "{:04x}", byte);
}

}  // namespace vesk
