#include "core/assistant/AssistantStreamParser.h"

#include <utility>

namespace vesk {

namespace {

using Kind = AssistantEvent::Kind;
using Value = JsonLine::Value;

constexpr std::string_view betweenTexts = "\n\n";

void addFailure(std::optional<std::string> text, std::vector<AssistantEvent>& events) {
  events.push_back({Kind::failure, std::move(text).value_or("The assistant stopped with an error.")});
}

void addSession(const Value& identifier, std::vector<AssistantEvent>& events) {
  if (auto text = identifier.string()) events.push_back({Kind::session, std::move(*text)});
}

std::optional<std::string> detailIn(const Value& arguments) {
  for (const std::string_view key : {"query", "note", "title", "name"})
    if (auto text = arguments[key].string(); text && !text->empty()) return text;
  return std::nullopt;
}

std::string withoutServer(std::string name) {
  constexpr std::string_view server = "mcp__vesk__";
  for (std::size_t at = name.find(server); at != std::string::npos; at = name.find(server, at))
    name.erase(at, server.size());
  return name;
}

// `input` is an object, or a string that holds one as JSON.
void addToolUse(std::string name, const Value& input, std::vector<AssistantEvent>& events) {
  JsonLine inner;
  const auto written = input.string();
  const Value arguments = written ? inner.read(*written) : input;
  events.push_back({Kind::tool, {}, {withoutServer(std::move(name)), detailIn(arguments)}});
}

std::optional<std::string> failureIn(const Value& result) {
  if (auto text = result["result"].string()) return text;
  const auto errors = result["errors"].elements();
  return errors.empty() ? std::nullopt : errors.front().string();
}

}  // namespace

Json toJson(const ChatToolUse& use) {
  Json json;
  json["name"] = use.name;
  if (use.detail) json["detail"] = *use.detail;
  return json;
}

std::optional<ChatToolUse> chatToolUseFrom(const Json& json) {
  const Json* name = json.find("name");
  const Json* detail = json.find("detail");
  if (!name || !name->string()) return std::nullopt;
  if (!detail || detail->isNull()) return ChatToolUse{*name->string()};
  if (!detail->string()) return std::nullopt;
  return ChatToolUse{*name->string(), *detail->string()};
}

std::vector<std::string_view> LineBuffer::append(std::string_view bytes) {
  std::vector<std::string_view> lines;
  for (std::size_t end = 0; (end = bytes.find('\n')) != std::string_view::npos; bytes.remove_prefix(end + 1))
    lines.push_back(complete(bytes.substr(0, end)));
  isTooLong = isTooLong || pending.size() + bytes.size() > maximumLine;
  isTooLong ? std::string().swap(pending) : void(pending.append(bytes));
  return lines;
}

// Only the first of several lines has a beginning that was pending.
std::string_view LineBuffer::complete(std::string_view rest) {
  if (std::exchange(isTooLong, false) || pending.size() + rest.size() > maximumLine) {
    pending.clear();
    return {};
  }
  if (pending.empty()) return rest;
  line_ = std::exchange(pending, {}).append(rest);
  return line_;
}

void AssistantStreamParser::parse(std::string_view line, Events& events) {
  const Value object = json_.read(line);
  if (!json_.isLikeBefore()) textDelta_ = {};
  if (addText(events)) return;
  provider_ == AssistantProvider::claude ? parseClaude(object, events) : parseCodex(object, events);
}

void AssistantStreamParser::parseClaude(const Value& line, Events& events) {
  const Value type = line["type"];
  if (type.isString("stream_event")) return parsePartialMessage(line, events);
  if (type.isString("result") && line["is_error"].isTrue()) addFailure(failureIn(line), events);
  if (type.isString("system") && line["subtype"].isString("init")) addSession(line["session_id"], events);
  if (!type.isString("assistant")) return;
  // Its text has come in pieces before.
  for (const Value& block : line["message"]["content"].elements())
    if (auto name = block["name"].string(); name && block["type"].isString("tool_use"))
      addToolUse(std::move(*name), block["input"], events);
}

void AssistantStreamParser::parsePartialMessage(const Value& line, Events& events) {
  const Value event = line["event"];
  const Value type = event["type"];
  if (type.isString("content_block_start") && event["content_block"]["type"].isString("text") && hasText_)
    events.push_back({Kind::text, std::string(betweenTexts)});
  const Value delta = event["delta"];
  textDelta_ = {line["type"], type, delta["type"], delta["text"]};
  addText(events);
}

// Whether the line is a piece of the answer.
bool AssistantStreamParser::addText(Events& events) {
  if (!textDelta_.type.isString("text_delta") || !textDelta_.eventType.isString("content_block_delta") ||
      !textDelta_.lineType.isString("stream_event"))
    return false;
  auto text = textDelta_.text.string();
  if (!text) return false;
  hasText_ = true;
  events.emplace_back().text = std::move(*text);
  return true;
}

void AssistantStreamParser::parseCodex(const Value& line, Events& events) {
  const Value type = line["type"];
  if (type.isString("thread.started")) addSession(line["thread_id"], events);
  if (type.isString("item.started")) parseItem(line["item"], false, events);
  if (type.isString("item.completed")) parseItem(line["item"], true, events);
  if (type.isString("turn.failed")) addFailure(line["error"]["message"].string(), events);
  if (type.isString("error")) addFailure(line["message"].string(), events);
}

// A tool call comes when it starts and when it is completed.
void AssistantStreamParser::parseItem(const Value& item, bool isCompleted, Events& events) {
  const Value type = item["type"];
  if (auto tool = item["tool"].string(); tool && type.isString("mcp_tool_call")) {
    const auto id = item["id"].string();
    const bool isNew = !id || seenItems_.insert(*id).second;
    if (isNew) addToolUse(std::move(*tool), item["arguments"], events);
    return;
  }
  auto text = item["text"].string();
  if (!text || !isCompleted || !type.isString("agent_message")) return;
  if (std::exchange(hasText_, true)) text->insert(0, betweenTexts);
  events.push_back({Kind::text, std::move(*text)});
}

}  // namespace vesk
