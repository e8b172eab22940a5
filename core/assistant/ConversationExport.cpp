#include "core/assistant/ConversationExport.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/base/Time.h"

namespace vesk::ConversationExport {

namespace {

// ---- What a member holds

std::string_view string(const Json* json) { return json && json->string() ? *json->string() : std::string_view(); }

std::string_view string(const Json& json, std::string_view key) { return string(json.find(key)); }

const Json* member(const Json* json, std::string_view key) { return json ? json->find(key) : nullptr; }

const Json::Array& array(const Json* json) {
  static const Json::Array none;
  return json && json->array() ? *json->array() : none;
}

// In seconds since 1970, or in ISO 8601, of which "+00:00" is as good as "Z".
Timestamp moment(const Json* json) {
  using std::chrono::seconds, std::chrono::floor;
  constexpr double mostSeconds = 9.2e9;  // to the year 2261
  if (const auto number = json ? json->real() : std::nullopt) {
    if (std::abs(*number) > mostSeconds) return distantPast;
    return std::chrono::sys_seconds(seconds(static_cast<std::int64_t>(std::floor(*number))));
  }
  constexpr std::string_view utc = "+00:00";
  std::string text(string(json));
  if (text.ends_with(utc)) text.replace(text.size() - utc.size(), utc.size(), "Z");
  return time::nearest(floor<seconds>(time::parseIso8601(text).value_or(distantPast)));
}

// ---- What is said

// "[file: plan.pdf]". Foreign words must not make a link of it.
std::string named(std::string_view kind, std::string_view which = {}) {
  constexpr std::size_t characters = 80;
  std::string words(kind);
  if (!which.empty()) words.append(words.empty() ? "" : ": ").append(which);
  std::replace_if(
      words.begin(), words.end(), [](char c) { return c == '[' || c == ']' || c == '_'; }, ' ');
  const std::string line = text::collapseWhitespace(words);
  return fmt::format("[{}]", line.empty() ? "something unnamed" : text::firstCharacters(line, characters));
}

// Code between fences that it can't close.
std::string codeBlock(std::string_view code, std::string_view language) {
  std::size_t longest = 2;
  for (std::size_t i = 0, run = 0; i < code.size(); ++i)
    longest = std::max(longest, run = code[i] == '`' ? run + 1 : 0);
  const std::string fence(longest + 1, '`');
  const bool isName = language.size() < 20 && language.find_first_of(" \t\r\n`") == std::string_view::npos;
  return fmt::format("{}{}\n{}\n{}", fence, isName && language != "unknown" ? language : "", code, fence);
}

// Adds a piece of what somebody says. Pieces of one speaker are one turn.
void say(std::vector<ChatTurn>& turns, ChatSpeaker speaker, std::string_view piece) {
  const std::string text = ChatTurns::kept(piece);
  if (text.empty()) return;
  if (turns.empty() || turns.back().speaker != speaker)
    turns.push_back({speaker, text});
  else
    turns.back().text.append("\n\n").append(text);
}

void sayFiles(std::vector<ChatTurn>& turns, ChatSpeaker speaker, const Json* files, std::string_view nameKey) {
  for (const Json& file : array(files)) say(turns, speaker, named("file", string(file, nameKey)));
}

// ---- ChatGPT

// Of a message's content or of one of its parts.
std::string contentText(const Json& content) {
  if (const std::string* text = content.string()) return *text;
  const std::string_view type = string(content, "content_type");
  const std::string_view text = string(content, "text");
  if (type == "code") return codeBlock(text, string(content, "language"));
  const bool isEmpty = type == "text" || content.isNull();
  return !text.empty() || isEmpty ? std::string(text) : named(type);
}

void sayContent(std::vector<ChatTurn>& turns, ChatSpeaker speaker, const Json& content) {
  const Json* parts = content.find("parts");
  if (!parts || !parts->array()) return say(turns, speaker, contentText(content));
  for (const Json& part : *parts->array()) say(turns, speaker, contentText(part));
}

bool isHidden(const Json& message) {
  const Json* hidden = member(message.find("metadata"), "is_visually_hidden_from_conversation");
  return hidden && hidden->boolean() == true;
}

void sayMessage(std::vector<ChatTurn>& turns, const Json& message) {
  const Json* content = message.find("content");
  if (!content || isHidden(message)) return;
  const Json* author = message.find("author");
  const std::string_view role = string(member(author, "role"));
  if (role == "user" || role == "assistant") {
    const ChatSpeaker speaker = role == "user" ? ChatSpeaker::user : ChatSpeaker::assistant;
    sayContent(turns, speaker, *content);
    return sayFiles(turns, speaker, member(message.find("metadata"), "attachments"), "name");
  }
  // What tools found is long, and the answer says what is in it.
  std::vector<ChatTurn> said;
  sayContent(said, ChatSpeaker::assistant, *content);
  const std::string_view tool = string(member(author, "name"));
  if (!said.empty())
    say(turns, ChatSpeaker::assistant, named(tool.empty() ? role : tool, string(*content, "content_type")));
}

// The node at which the conversation ends.
const Json* lastNode(const Json& conversation, const Json& nodes) {
  if (const Json* current = nodes.find(string(conversation, "current_node"))) return current;
  const auto isFirst = [&](const auto& node) { return !nodes.find(string(node.second, "parent")); };
  const auto first = std::find_if(nodes.object()->begin(), nodes.object()->end(), isFirst);
  const Json* node = first == nodes.object()->end() ? nullptr : &first->second;
  for (std::size_t left = nodes.object()->size(); node && left > 0; --left) {
    const Json::Array& children = array(node->find("children"));
    const Json* next = children.empty() ? nullptr : nodes.find(string(&children.back()));
    if (!next) break;
    node = next;
  }
  return node;
}

std::vector<ChatTurn> chatGPTTurns(const Json& conversation, const Json& nodes) {
  std::vector<const Json*> branch;
  if (!nodes.object()) throw Error("Its messages can't be read.");
  for (const Json* node = lastNode(conversation, nodes); node; node = nodes.find(string(*node, "parent"))) {
    if (branch.size() == nodes.object()->size()) throw Error("Its messages go round in a circle.");
    branch.push_back(node);
  }
  std::vector<ChatTurn> turns;
  for (auto node = branch.rbegin(); node != branch.rend(); ++node)
    if (const Json* message = (*node)->find("message")) sayMessage(turns, *message);
  return turns;
}

// ---- Claude

std::string blockText(const Json& block) {
  const std::string_view type = string(block, "type");
  return type == "text" ? std::string(string(block, "text")) : named(type, string(block, "name"));
}

std::vector<ChatTurn> claudeTurns(const Json& messages) {
  std::vector<ChatTurn> turns;
  for (const Json& message : array(&messages)) {
    const ChatSpeaker speaker = string(message, "sender") == "human" ? ChatSpeaker::user : ChatSpeaker::assistant;
    const Json::Array& blocks = array(message.find("content"));
    if (blocks.empty()) say(turns, speaker, string(message, "text"));
    for (const Json& block : blocks) say(turns, speaker, blockText(block));
    sayFiles(turns, speaker, message.find("attachments"), "file_name");
    sayFiles(turns, speaker, message.find("files"), "file_name");
  }
  return turns;
}

// The first of the members that is an id.
std::string idOf(const Json& conversation, std::initializer_list<std::string_view> keys) {
  for (const std::string_view key : keys)
    if (const std::string_view id = string(conversation, key); isChatID(id)) return std::string(id);
  throw Error("It has no id by which to know it again.");
}

}  // namespace

std::optional<ChatProvider> provider(const Json& conversation) {
  if (conversation.find("mapping")) return ChatProvider::chatGPT;
  if (conversation.find("chat_messages")) return ChatProvider::claude;
  return std::nullopt;
}

SavedChat read(const Json& conversation) {
  const auto exporter = provider(conversation);
  if (!exporter) throw Error("It is no conversation.");
  const bool isClaude = exporter == ChatProvider::claude;
  SavedChat chat{.provider = *exporter};
  chat.imported = isClaude ? idOf(conversation, {"uuid"}) : idOf(conversation, {"conversation_id", "id"});
  chat.title = text::collapseWhitespace(string(conversation, isClaude ? "name" : "title"));
  chat.started = moment(conversation.find(isClaude ? "created_at" : "create_time"));
  chat.turns = isClaude ? claudeTurns(*conversation.find("chat_messages"))
                        : chatGPTTurns(conversation, *conversation.find("mapping"));
  if (chat.turns.empty()) throw Error("Nothing is said in it.");
  if (chat.title.empty()) chat.title = chatTitle(chat.turns.front().text);
  return chat;
}

}  // namespace vesk::ConversationExport
