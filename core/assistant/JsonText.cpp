#include "core/assistant/JsonText.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <vector>

#include <fmt/format.h>

namespace vesk::jsonText {

namespace {

constexpr std::string_view whiteSpace = " \t\r\n";

// Where a member stands in the text. Places are in bytes.
struct Member {
  std::string key = {};
  std::size_t begin = 0;  // of the key
  std::size_t value = 0;
  std::size_t end = 0;  // behind the value
};

struct Object {
  std::size_t begin = 0;  // of "{"
  std::size_t end = 0;    // of "}"
  std::vector<Member> members = {};

  // Of a key given twice the last value holds.
  const Member* find(std::string_view key) const {
    const auto found = std::ranges::find(members.rbegin(), members.rend(), key, &Member::key);
    return found == members.rend() ? nullptr : &*found;
  }
};

std::size_t skipSpace(std::string_view text, std::size_t i) {
  return std::min(text.find_first_not_of(whiteSpace, i), text.size());
}

// `i` is at the first quote; the result behind the last one.
std::size_t skipString(std::string_view text, std::size_t i) {
  for (++i; i < text.size() && text[i] != '"'; ++i)
    if (text[i] == '\\') ++i;
  return i + 1;
}

// `i` is at the first character of a value; the result behind its last one.
std::size_t skipValue(std::string_view text, std::size_t i) {
  if (text[i] == '"') return skipString(text, i);
  if (text[i] != '{' && text[i] != '[') return std::min(text.find_first_of(",]} \t\r\n", i), text.size());
  for (int depth = 0; i < text.size();) {
    if (text[i] == '"') {
      i = skipString(text, i);
      continue;
    }
    if (text[i] == '{' || text[i] == '[') ++depth;
    if ((text[i] == '}' || text[i] == ']') && --depth == 0) return i + 1;
    ++i;
  }
  return i;
}

// `begin` is at the "{".
Object objectAt(std::string_view text, std::size_t begin) {
  Object object{.begin = begin};
  std::size_t i = skipSpace(text, begin + 1);
  while (i < text.size() && text[i] == '"') {
    Member member{.begin = i};
    i = skipString(text, i);
    member.key = *Json::parse(text.substr(member.begin, i - member.begin)).string();
    member.value = skipSpace(text, skipSpace(text, i) + 1);  // the colon between them
    member.end = skipValue(text, member.value);
    object.members.push_back(member);
    i = skipSpace(text, member.end);
    if (i < text.size() && text[i] == ',') i = skipSpace(text, i + 1);
  }
  object.end = i;
  return object;
}

Object outermost(std::string_view text) { return objectAt(text, text.find('{')); }

// The object that is a member; nullopt when it is missing or no object.
std::optional<Object> memberObject(std::string_view text, const Object& outer, std::string_view key) {
  const Member* member = outer.find(key);
  if (!member || text[member->value] != '{') return std::nullopt;
  return objectAt(text, member->value);
}

// The white space that the line begins with in which a place is.
std::string indentAt(std::string_view text, std::size_t place) {
  const std::size_t line = text.rfind('\n', place) + 1;  // 0 in the first line
  const std::size_t end = std::min(text.find_first_not_of(" \t", line), place);
  return std::string(text.substr(line, end - line));
}

bool isOnOneLine(std::string_view text, const Object& object) {
  return text.substr(object.begin, object.end - object.begin).find('\n') == std::string_view::npos;
}

// A value as it is written behind a key in a line with that indent. Line breaks in strings are escaped.
std::string indented(const Json& value, std::string_view indent) {
  std::string lines;
  for (const char c : value.pretty()) {
    lines += c;
    if (c == '\n') lines += indent;
  }
  return lines;
}

std::string replaced(std::string_view text, std::size_t begin, std::size_t end, std::string_view by) {
  return std::string(text.substr(0, begin)).append(by).append(text.substr(end));
}

// Sets a member in the manner in which the object is written.
std::string with(std::string_view text, const Object& object, std::string_view key, const Json& value) {
  if (const Member* member = object.find(key))
    return replaced(text, member->value, member->end, indented(value, indentAt(text, member->begin)));
  const std::string quoted = Json(key).compact();
  if (object.members.empty()) {
    const std::string outer = indentAt(text, object.begin);
    const std::string inner = outer + "  ";
    return replaced(text, object.begin, object.end + 1,
                    fmt::format("{{\n{}{} : {}\n{}}}", inner, quoted, indented(value, inner), outer));
  }
  const Member& last = object.members.back();
  if (isOnOneLine(text, object))
    return replaced(text, last.end, last.end, fmt::format(",{}:{}", quoted, value.compact()));
  const std::string indent = indentAt(text, last.begin);
  return replaced(text, last.end, last.end, fmt::format(",\n{}{} : {}", indent, quoted, indented(value, indent)));
}

// Takes a member out with the comma that sets it off, and the white space before it.
std::string without(std::string_view text, const Object& object, const Member& member) {
  const std::size_t place = static_cast<std::size_t>(&member - object.members.data());
  if (object.members.size() == 1) return replaced(text, object.begin, object.end + 1, "{}");
  if (place == 0) return replaced(text, member.begin, object.members[1].begin, "");
  return replaced(text, object.members[place - 1].end, member.end, "");
}

}  // namespace

std::string with(std::string_view text, std::string_view object, std::string_view key, const Json& value) {
  const Object outer = outermost(text);
  if (const auto inner = memberObject(text, outer, object)) return with(text, *inner, key, value);
  return with(text, outer, object, Json::Object{{std::string(key), value}});
}

std::string without(std::string_view text, std::string_view object, std::string_view key) {
  std::string left(text);
  while (const auto inner = memberObject(left, outermost(left), object)) {
    const Member* member = inner->find(key);
    if (!member) break;
    left = without(left, *inner, *member);
  }
  return left;
}

}  // namespace vesk::jsonText
