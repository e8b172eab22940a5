#include "core/meetings/MeetingReplies.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "core/base/Text.h"
#include "core/base/Unicode.h"
#include "core/base/Uuid.h"

namespace vesk {

namespace {

constexpr std::size_t none = std::string_view::npos;

std::size_t afterWhitespace(std::string_view text, std::size_t at) {
  while (at < text.size()) {
    const auto next = unicode::decode(text, at);
    if (!unicode::isWhitespace(next.value)) break;
    at += next.length;
  }
  return at;
}

// What a proposal begins with: <proposal(?:\s+skill="([^"]*)")?\s*>
struct Opening {
  std::size_t begin = 0;
  std::size_t end = 0;
  std::string_view skill = {};  // empty without one
};

// The first that begins at or after `from`. No character is looked at often: a skill ends before that of the next
// opening begins.
std::optional<Opening> nextOpening(std::string_view text, std::size_t from) {
  constexpr std::string_view word = "<proposal";
  constexpr std::string_view attribute = "skill=\"";
  for (std::size_t begin = text.find(word, from); begin != none; begin = text.find(word, begin + 1)) {
    Opening opening{.begin = begin};
    const std::size_t wordEnd = begin + word.size();
    opening.end = afterWhitespace(text, wordEnd);
    if (opening.end > wordEnd && text.substr(opening.end).starts_with(attribute)) {
      const std::size_t skill = opening.end + attribute.size();
      const std::size_t quote = text.find('"', skill);
      if (quote == none) continue;  // and no other opening has a skill
      opening.skill = text.substr(skill, quote - skill);
      opening.end = afterWhitespace(text, quote + 1);
    }
    if (!text.substr(opening.end).starts_with('>')) continue;
    ++opening.end;
    return opening;
  }
  return std::nullopt;
}

std::string without(std::string_view text, std::string_view words) {
  std::string rest;
  std::size_t begin = 0;
  for (std::size_t at = text.find(words); at != none; at = text.find(words, begin)) {
    rest += text.substr(begin, at - begin);
    begin = at + words.size();
  }
  return rest += text.substr(begin);
}

std::string_view withoutBullet(std::string_view line) {
  for (const std::string_view bullet : {"- [ ] ", "- ", "* "}) {
    if (line.starts_with(bullet)) return line.substr(bullet.size());
  }
  return line;
}

std::vector<std::string> actionItemsIn(std::string_view list) {
  std::vector<std::string> items;
  for (std::size_t begin = 0; begin < list.size();) {
    const std::size_t end = std::min(list.find_first_of("\r\n", begin), list.size());
    const std::string_view item = withoutBullet(text::trim(list.substr(begin, end - begin), " \t"));
    if (!item.empty()) items.emplace_back(item);
    begin = end + 1;
  }
  return items;
}

}  // namespace

MeetingAgentReply MeetingAgentReply::parse(std::string_view reply) {
  constexpr std::string_view closing = "</proposal>";
  // Only what begins before the last closing tag is looked at: every opening there is closed.
  const std::size_t lastClosing = reply.rfind(closing);
  const std::string_view closable = reply.substr(0, lastClosing == none ? 0 : lastClosing);
  MeetingAgentReply parsed;
  std::string rest;
  std::size_t position = 0;
  while (const auto opening = nextOpening(closable, position)) {
    const std::size_t end = reply.find(closing, opening->end);
    rest += reply.substr(position, opening->begin - position);
    position = end + closing.size();
    const std::string_view action = text::trimWhitespace(reply.substr(opening->end, end - opening->end));
    if (action.empty()) continue;
    std::optional<std::string> skill;
    if (!opening->skill.empty()) skill = opening->skill;
    parsed.proposals.push_back({newUuid(), std::string(action), std::move(skill)});
  }
  rest += reply.substr(position);
  parsed.text = text::trimWhitespace(without(rest, "<nothing/>"));
  return parsed;
}

MeetingSummary MeetingSummary::parse(std::string_view reply) {
  constexpr std::string_view opening = "<tasks>";
  constexpr std::string_view closing = "</tasks>";
  const std::size_t begin = reply.find(opening);
  const std::size_t end = begin == none ? none : reply.find(closing, begin);
  if (end == none) return {std::string(text::trimWhitespace(reply)), {}};
  const std::string rest = std::string(reply.substr(0, begin)).append(reply.substr(end + closing.size()));
  const std::size_t list = begin + opening.size();
  return {std::string(text::trimWhitespace(rest)), actionItemsIn(reply.substr(list, end - list))};
}

}  // namespace vesk
