#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/base/Json.h"

namespace vesk {

// Writes JSON piece by piece, in the layouts of Json: for a long list that need not be there as a whole. Keys come in
// the order in which they are given.
class JsonWriter {
 public:
  enum class Layout { compact, pretty };

  explicit JsonWriter(Layout layout) : isPretty_(layout == Layout::pretty) {}

  void beginObject() { begin('{'); }
  void endObject() { end('}'); }
  void beginArray() { begin('['); }
  void endArray() { end(']'); }

  // The next member of an object; its value follows.
  void key(std::string_view name);

  // The value of that member, or the next element of an array.
  void value(const Json& value);

  // What was written so far.
  std::string take() { return std::move(text_); }

 private:
  void begin(char bracket);
  void end(char bracket);
  void startItem();
  void breakLine();
  void writeArray(const Json::Array& array);
  void writeObject(const Json::Object& object);
  void writeString(std::string_view text);
  void writeEscaped(std::string_view text);
  void writeEscape(char byte);

  bool isPretty_;
  bool followsKey_ = false;
  std::vector<bool> hasItems_;  // of each open array and object, from the outermost in
  std::string text_;
};

}  // namespace vesk
