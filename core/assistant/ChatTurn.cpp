#include "core/assistant/ChatTurn.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include <fmt/format.h>

#include "core/base/Text.h"

namespace vesk {

namespace {

struct ProviderWords {
  std::string_view id;
  std::string_view name;
};

constexpr std::array<ProviderWords, chatProviders.size()> providerWords = {
    {{"claude", "Claude"}, {"codex", "Codex"}, {"chatgpt", "ChatGPT"}}};

constexpr std::string_view user = "You";
constexpr std::string_view headingMark = "## ";
constexpr char escape = '\\';

std::optional<ChatSpeaker> speakerNamed(std::string_view typed) {
  // The names are ASCII: what isn't as long is none of them, and most lines are longer.
  const auto isTyped = [&](std::string_view name) {
    return typed.size() == name.size() && text::equalIgnoringCase(typed, name);
  };
  if (isTyped(user)) return ChatSpeaker::user;
  for (const ProviderWords& words : providerWords)
    if (isTyped(words.name)) return ChatSpeaker::assistant;
  return std::nullopt;
}

// Whose turn begins with this line.
std::optional<ChatSpeaker> turnHeading(std::string_view line) {
  if (!line.starts_with(headingMark)) return std::nullopt;
  return speakerNamed(text::trim(line.substr(headingMark.size()), " \t"));
}

// ---- What a turn's text must not look like

// The spaces a line may begin with that leave it what it is; a fourth makes it code.
std::size_t indentation(std::string_view line) {
  const std::size_t spaces = std::min(line.find_first_not_of(' '), line.size());
  return spaces <= 3 ? spaces : 0;
}

// Whether the lines read so far end within a fenced block of code (CommonMark 0.31, 4.5).
class Fences {
 public:
  void read(std::string_view line) {
    line.remove_prefix(indentation(line));
    const char mark = line.empty() ? '\0' : line.front();
    if (mark != '`' && mark != '~') return;
    const std::size_t length = std::min(line.find_first_not_of(mark), line.size());
    const std::string_view rest = line.substr(length);
    if (isOpen()) {
      if (mark == fence_.front() && length >= fence_.size() && text::trim(rest, " \t").empty()) fence_ = {};
    } else if (length >= 3 && (mark == '~' || rest.find('`') == std::string_view::npos)) {
      fence_ = line.substr(0, length);
    }
  }

  bool isOpen() const { return !fence_.empty(); }
  std::string_view fence() const { return fence_; }

 private:
  std::string_view fence_;  // that opened the block
};

// Whether HTML that begins so goes on over blank lines (CommonMark 0.31, 4.6, kinds 1 to 5).
bool opensHtml(std::string_view line) {
  constexpr std::array<std::string_view, 6> openings = {"<!", "<?", "<script", "<pre", "<style", "<textarea"};
  return std::any_of(openings.begin(), openings.end(),
                     [&](std::string_view each) { return text::equalIgnoringCase(line.substr(0, each.size()), each); });
}

// Goes through the lines of a turn's text, and says of each whether it needs a backslash, no matter how many it has.
class Lookalikes {
 public:
  bool isOne(std::string_view line) {
    const bool isLookalike = judge(line);
    fences_.read(line);
    isBelowSpeaker_ = speakerNamed(text::trimWhitespace(line)).has_value();
    return isLookalike;
  }

 private:
  bool judge(std::string_view line) const {
    line.remove_prefix(indentation(line));
    line.remove_prefix(std::min(line.find_first_not_of(escape), line.size()));
    // In code, too: a reader of notes need look for nothing but headings.
    if (line.starts_with('#')) return speakerNamed(text::trim(text::trimWhitespace(line), " \t#*_")).has_value();
    if (fences_.isOpen()) return false;
    const bool isUnderline = !line.empty() && text::trim(line, "-= \t").empty();
    return opensHtml(line) || (isUnderline && isBelowSpeaker_);
  }

  Fences fences_;
  bool isBelowSpeaker_ = false;  // where a line of dashes would make a heading of the name
};

std::string escaped(std::string_view text) {
  std::string result;
  Lookalikes lookalikes;
  for (const std::string_view line : text::split(text, '\n')) {
    const std::size_t indent = lookalikes.isOne(line) ? indentation(line) : std::string_view::npos;
    result += line.substr(0, indent);
    if (indent != std::string_view::npos) result.append(1, escape).append(line.substr(indent));
    result += '\n';
  }
  result.pop_back();
  return result;
}

std::string unescaped(std::string_view text) {
  std::string result;
  Lookalikes lookalikes;
  for (const std::string_view line : text::split(text, '\n')) {
    const std::size_t indent = indentation(line);
    const bool isEscaped = lookalikes.isOne(line) && line.substr(indent).starts_with(escape);
    result.append(line.substr(0, indent)).append(line.substr(indent + (isEscaped ? 1 : 0))).append("\n");
  }
  result.pop_back();
  return result;
}

}  // namespace

std::string_view id(ChatProvider provider) { return providerWords[static_cast<std::size_t>(provider)].id; }

std::string_view name(ChatProvider provider) { return providerWords[static_cast<std::size_t>(provider)].name; }

std::optional<ChatProvider> chatProviderWithID(std::string_view typed) {
  for (const ChatProvider provider : chatProviders)
    if (id(provider) == typed) return provider;
  return std::nullopt;
}

namespace ChatTurns {

std::string kept(std::string_view text) {
  std::string whole = text::withLineBreaks(text::wellFormed(text), "\n");
  std::replace(whole.begin(), whole.end(), '\r', '\n');  // alone, it ends a line in Markdown as well
  std::string result(text::trimWhitespace(whole));
  Fences fences;
  for (const std::string_view line : text::split(result, '\n')) fences.read(line);
  if (!fences.isOpen()) return result;
  const std::string end(fences.fence());
  return result.append("\n").append(end);
}

std::string render(const ChatTurn& turn, ChatProvider provider) {
  const std::string_view speaker = turn.speaker == ChatSpeaker::user ? user : name(provider);
  const std::string text = kept(turn.text);
  return fmt::format("\n{}{}\n{}{}{}", headingMark, speaker, text.empty() ? "" : "\n", escaped(text),
                     text.empty() ? "" : "\n");
}

std::vector<ChatTurn> parse(std::string_view body) {
  std::vector<ChatTurn> turns;
  for (std::string_view line : text::split(body, '\n')) {
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (const auto speaker = turnHeading(line))
      turns.push_back({.speaker = *speaker});
    else if (!turns.empty())
      turns.back().text.append(line).append("\n");
  }
  for (ChatTurn& turn : turns) turn.text = unescaped(text::trimWhitespace(turn.text));
  return turns;
}

}  // namespace ChatTurns

}  // namespace vesk
