#pragma once

#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/assistant/AssistantProvider.h"
#include "core/assistant/JsonLine.h"
#include "core/base/Json.h"

namespace vesk {

// A tool that an assistant called.
struct ChatToolUse {
  std::string name = {};                   // without what the assistant puts before the names of the server's tools
  std::optional<std::string> detail = {};  // the argument that says most: what is searched for, the note

  bool operator==(const ChatToolUse&) const = default;
};

// As a chat is kept; nullopt when the JSON is no tool use.
Json toJson(const ChatToolUse& use);
std::optional<ChatToolUse> chatToolUseFrom(const Json& json);

// What an assistant does, as it does it.
struct AssistantEvent {
  enum class Kind {
    session,  // the conversation's identifier, with which the next turn goes on
    text,     // a piece of the answer, to be put behind what came before
    tool,     // a tool was called
    failure,  // what the user is to be told
  };
  Kind kind = Kind::text;
  std::string text = {};
  ChatToolUse tool = {};
  bool isOfExit = false;  // a failure that only the program's end tells of: any that it told of itself says more

  bool operator==(const AssistantEvent&) const = default;
};

// Cuts what a program writes into lines.
struct LineBuffer {
  // A longer line is nothing that an assistant writes. It comes out empty.
  static constexpr std::size_t maximumLine = std::size_t{16} << 20;  // bytes

  std::string pending = {};  // what came after the last "\n"
  bool isTooLong = false;    // and wasn't kept

  // The lines that are complete now, without their "\n". They are valid until the next call, and as long as the bytes.
  std::vector<std::string_view> append(std::string_view bytes);

 private:
  std::string_view complete(std::string_view rest);

  std::string line_ = {};  // the one that was pending
};

// Reads what an assistant prints in one run: a JSON object a line. What it doesn't know is passed over; it never fails.
class AssistantStreamParser {
 public:
  explicit AssistantStreamParser(AssistantProvider provider) : provider_(provider) {}

  // Puts what the line tells at the end of the events.
  void parse(std::string_view line, std::vector<AssistantEvent>& events);

 private:
  using Events = std::vector<AssistantEvent>;

  void parseClaude(const JsonLine::Value& line, Events& events);
  void parsePartialMessage(const JsonLine::Value& line, Events& events);
  bool addText(Events& events);
  void parseCodex(const JsonLine::Value& line, Events& events);
  void parseItem(const JsonLine::Value& item, bool isCompleted, Events& events);

  AssistantProvider provider_;
  bool hasText_ = false;             // a piece of the answer was handed out
  std::set<std::string> seenItems_;  // the identifiers of Codex's tool calls, each of which comes twice
  JsonLine json_;

  // Where the line before, a piece of the answer, has what tells that it is one, and the text. Such lines come by the
  // thousand, and alike.
  struct TextDelta {
    JsonLine::Value lineType = {};
    JsonLine::Value eventType = {};
    JsonLine::Value type = {};
    JsonLine::Value text = {};
  };
  TextDelta textDelta_ = {};
};

}  // namespace vesk
