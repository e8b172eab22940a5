#include "core/mail/IMAPCommand.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "core/base/Text.h"
#include "core/mail/MailError.h"

namespace vesk {

namespace {

constexpr std::size_t maximumSetLength = 8000;  // bytes: the line that servers are asked to take (RFC 7162, 4)
constexpr std::uint32_t maximumSetCount = 10'000;

bool isPrintable(char c) { return c >= ' ' && c <= '~'; }

bool isAtom(std::string_view text) {
  const auto mayStand = [](char c) {
    return isPrintable(c) && std::string_view(" (){%*\"\\]").find(c) == std::string_view::npos;
  };
  return !text.empty() && std::all_of(text.begin(), text.end(), mayStand);
}

}  // namespace

IMAPCommand::IMAPCommand(std::string tag, std::string_view text) : tag_(std::move(tag)), parts_(1) {
  parts_.back().line.append(tag_);
  word(text);
}

IMAPCommand& IMAPCommand::word(std::string_view text) {
  parts_.back().line.append(" ");
  parts_.back().line.append(text);
  return *this;
}

IMAPCommand& IMAPCommand::string(std::string_view value) {
  if (value.find('\0') != std::string_view::npos)
    throw MailError::refused("names and passwords can't hold a NUL character.");
  return std::all_of(value.begin(), value.end(), isPrintable) ? word(imap::quoted(value).view()) : literal(value);
}

IMAPCommand& IMAPCommand::literal(std::string_view bytes) {
  word(fmt::format("{{{}}}", bytes.size()));
  parts_.back().literal = bytes;
  parts_.back().endsInLiteral = true;
  parts_.emplace_back();
  return *this;
}

WipedText imap::quoted(std::string_view value) {
  WipedText text;
  text.append("\"");
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (value[i] == '"' || value[i] == '\\') text.append("\\");
    text.append(value.substr(i, 1));
  }
  text.append("\"");
  return text;
}

std::vector<std::string> imap::uidSets(std::vector<std::uint32_t> uids) {
  std::sort(uids.begin(), uids.end());
  uids.erase(std::unique(uids.begin(), uids.end()), uids.end());
  std::vector<std::string> sets;
  std::size_t room = 0;  // for UIDs, in the last set
  for (auto first = uids.begin(); first != uids.end();) {
    if (room == 0 || sets.back().size() > maximumSetLength) {
      sets.emplace_back();
      room = maximumSetCount;
    }
    auto last = first;
    while (last + 1 != uids.end() && *(last + 1) == *last + 1 && last + 1 - first < static_cast<std::ptrdiff_t>(room))
      ++last;
    if (!sets.back().empty()) sets.back() += ',';
    sets.back() += first == last ? fmt::format("{}", *first) : fmt::format("{}:{}", *first, *last);
    room -= static_cast<std::size_t>(last + 1 - first);
    first = last + 1;
  }
  return sets;
}

std::string imap::date(Day day) {
  static constexpr std::string_view months = "JanFebMarAprMayJunJulAugSepOctNovDec";
  const unsigned month = static_cast<unsigned>(day.month());
  return fmt::format("{:02}-{}-{:04}", static_cast<unsigned>(day.day()), months.substr(3 * (month - 1), 3),
                     static_cast<int>(day.year()));
}

std::string imap::flagList(const std::vector<std::string>& flags) {
  for (const std::string_view flag : flags)
    if (!isAtom(flag.substr(flag.starts_with('\\') ? 1 : 0))) throw MailError::refused("a flag is a single word.");
  return fmt::format("({})", text::join(flags, " "));
}

}  // namespace vesk
