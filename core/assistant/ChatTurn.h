#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vesk {

// The assistants of which a vault may hold chats; the last one's are imported only.
enum class ChatProvider { claude, codex, chatGPT };
inline constexpr std::array chatProviders = {ChatProvider::claude, ChatProvider::codex, ChatProvider::chatGPT};

std::string_view id(ChatProvider provider);    // as a note's front matter has it: "chatgpt"
std::string_view name(ChatProvider provider);  // "ChatGPT"
std::optional<ChatProvider> chatProviderWithID(std::string_view id);

enum class ChatSpeaker { user, assistant };

struct ChatTurn {
  ChatSpeaker speaker = ChatSpeaker::user;
  std::string text = {};  // Markdown
  bool operator==(const ChatTurn&) const = default;
};

// The turns of a chat as the Markdown of its note: "## You" or "## Claude", and below it what was said.
namespace ChatTurns {

// The text as its turn reads back: valid UTF-8, "\n" at each line's end, no white space around it, and a block of code
// that was left open closed, as it would go on over the turns that follow.
std::string kept(std::string_view text);

// The turn, with a blank line above it. A line of the text that a reader, or another program, could take for a turn's
// heading, and one from which on HTML would hide what follows, gets a backslash before it.
std::string render(const ChatTurn& turn, ChatProvider provider);

// The turns in a note's text, without those backslashes; what stands above the first belongs to none. Linear.
std::vector<ChatTurn> parse(std::string_view body);

}  // namespace ChatTurns

}  // namespace vesk
