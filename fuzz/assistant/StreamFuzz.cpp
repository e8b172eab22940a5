#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "core/assistant/AssistantStreamParser.h"
#include "core/assistant/ChatLinks.h"
#include "core/assistant/JsonLine.h"
#include "core/base/Json.h"
#include "core/base/Text.h"

namespace {

using namespace vesk;

void require(bool holds) {
  if (!holds) std::abort();
}

void requireSame(const JsonLine::Value& value, const Json& json) {
  using Kind = JsonLine::Kind;
  require((value.kind() == Kind::object) == (json.object() != nullptr));
  require((value.kind() == Kind::array) == (json.array() != nullptr));
  require((value.kind() == Kind::number) == (json.number() != nullptr));
  require(value.isTrue() == (json.boolean() == true));
  require(value.string().has_value() == (json.string() != nullptr));
  if (json.string()) require(value.string() == *json.string() && value.isString(*json.string()));
  if (json.object())
    for (const auto& [key, member] : *json.object()) requireSame(value[key], member);
  if (!json.array()) return;
  const auto elements = value.elements();
  require(elements.size() == json.array()->size());
  for (std::size_t i = 0; i < elements.size(); ++i) requireSame(elements[i], (*json.array())[i]);
}

// A number that is beyond what Json takes.
bool holdsLargeNumber(std::string_view text) {
  for (std::size_t at = text.find_first_of("0123456789"); at < text.size();) {
    const std::size_t end = std::min(text.find_first_not_of("0123456789.eE+-", at), text.size());
    if (std::isinf(std::strtold(std::string(text.substr(at, end - at)).c_str(), nullptr))) return true;
    at = text.find_first_of("0123456789", end);
  }
  return false;
}

// What the reader keeps of the lines before must not matter.
void checkLine(std::string_view line, JsonLine& reader) {
  const auto value = reader.read(line);
  try {
    requireSame(value, Json::parse(line));
  } catch (const JsonError&) {
    require(value.kind() == JsonLine::Kind::none || holdsLargeNumber(line));
  }
}

std::vector<AssistantEvent> events(AssistantProvider provider, std::string_view bytes, std::size_t piece) {
  AssistantStreamParser parser(provider);
  LineBuffer buffer;
  std::vector<AssistantEvent> all;
  for (; !bytes.empty(); bytes.remove_prefix(std::min(piece, bytes.size())))
    for (const std::string_view line : buffer.append(bytes.substr(0, piece))) parser.parse(line, all);
  return all;
}

// How the bytes are cut makes no difference.
void checkStream(AssistantProvider provider, std::string_view bytes) {
  const auto whole = events(provider, bytes, bytes.size() + 1);
  require(events(provider, bytes, 1) == whole && events(provider, bytes, 7) == whole);
  for (const AssistantEvent& event : whole)
    require(text::isValidUtf8(event.text) && text::isValidUtf8(event.tool.name));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  for (const AssistantProvider provider : assistantProviders) checkStream(provider, bytes);
  JsonLine reader;
  for (const std::string_view line : LineBuffer().append(bytes)) checkLine(line, reader);
  checkLine(bytes, reader);
  if (text::isValidUtf8(bytes)) require(ChatLinks::linkingNotes(bytes).size() >= bytes.size());
  if (const auto title = ChatLinks::noteTitle(bytes)) require(text::isValidUtf8(*title));
  return 0;
}
