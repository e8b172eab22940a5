#include "core/mail/IMAPAnswers.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <system_error>
#include <utility>

#include "core/base/Text.h"
#include "core/mail/ModifiedUtf7.h"

namespace vesk {

namespace {

using Kind = IMAPValue::Kind;

// The whole text as a decimal number; nullopt when it is none, or too large.
template <typename Number>
std::optional<Number> number(std::string_view digits) {
  Number value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  return error == std::errc() && end == digits.data() + digits.size() ? std::optional(value) : std::nullopt;
}

// Takes the first word off a text.
std::string_view nextWord(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  const auto word = text.substr(0, text.find(' '));
  text.remove_prefix(word.size());
  return word;
}

// "* 5 EXISTS" and "* SEARCH 1 2", taken apart.
struct Untagged {
  std::optional<std::size_t> number = {};
  std::string_view kind = {};
  std::string_view rest = {};

  explicit Untagged(const IMAPResponse& response) : rest(response.text) {
    if (nextWord(rest) != "*") return;
    kind = nextWord(rest);
    number = vesk::number<std::size_t>(kind);
    if (number) kind = nextWord(rest);
  }
  bool is(std::string_view wanted) const {
    return kind.size() == wanted.size() && text::equalIgnoringCase(kind, wanted);
  }
};

std::string upperCased(std::string_view word) {
  std::string upper(word);
  for (char& c : upper)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  return upper;
}

bool hasFlag(const IMAPMessage& message, std::string_view flag) {
  return std::any_of(message.flags.begin(), message.flags.end(),
                     [&](const std::string& each) { return text::equalIgnoringCase(each, flag); });
}

std::vector<std::string> texts(const IMAPValue& list) {
  std::vector<std::string> found;
  for (const IMAPValue& value : list.values)
    if (const auto text = value.text()) found.emplace_back(*text);
  return found;
}

std::string displayName(std::string_view path, const IMAPValue& delimiter) {
  const bool hasDelimiter = delimiter.kind == Kind::string && delimiter.bytes.size() == 1;
  const std::size_t before = hasDelimiter ? path.rfind(delimiter.bytes) : std::string_view::npos;
  const auto last = before == std::string_view::npos ? path : path.substr(before + 1);
  return decodedModifiedUtf7(last.empty() ? path : last);
}

// Of the values of "* LIST (\Sent) "/" "Sent"".
std::optional<IMAPFolder> folder(const std::vector<IMAPValue>& values) {
  if (values.size() < 5) return std::nullopt;
  const auto path = values[4].text();
  if (!path || path->find('\0') != std::string_view::npos) return std::nullopt;  // no command could name it
  const std::vector<std::string> flags = texts(values[2]);
  for (const std::string& flag : flags)
    if (text::equalIgnoringCase(flag, "\\noselect") || text::equalIgnoringCase(flag, "\\nonexistent"))
      return std::nullopt;
  return IMAPFolder{.path = std::string(*path),
                    .name = displayName(*path, values[3]),
                    .role = mailFolderRole(flags, decodedModifiedUtf7(*path))};
}

// Of the list in "* 12 FETCH (UID 5 FLAGS (\Seen) BODY[] {310}".
std::optional<IMAPMessage> message(std::vector<IMAPValue>&& items) {
  IMAPMessage message;
  for (std::size_t i = 0; i + 1 < items.size(); i += 2) {
    if (items[i].kind != Kind::atom) continue;
    const std::string key = upperCased(items[i].bytes);
    IMAPValue& value = items[i + 1];
    const bool isText = value.kind == Kind::literal || value.kind == Kind::string;
    if (key == "UID") message.uid = number<std::uint32_t>(value.bytes).value_or(0);
    if (key == "FLAGS") message.flags = texts(value);
    if (key == "RFC822.SIZE") message.size = number<std::size_t>(value.bytes);
    // "BODY[HEADER.FIELDS (MESSAGE-ID)]" is read as three values.
    if ((key.starts_with("BODY[") || key == "]") && isText) message.body = std::move(value.bytes);
  }
  return message.uid == 0 ? std::nullopt : std::optional(std::move(message));
}

// The number in the first "[NAME 123]".
std::optional<std::uint32_t> code(std::string_view text, std::string_view name) {
  for (std::size_t open = text.find('['); open != std::string_view::npos; open = text.find('[', open + 1)) {
    std::string_view rest = text.substr(open + 1);
    if (!text::equalIgnoringCase(rest.substr(0, name.size()), name)) continue;
    rest.remove_prefix(name.size());
    const std::size_t close = rest.find_first_not_of("0123456789", 1);
    if (rest.starts_with(' ') && close != std::string_view::npos && close > 1 && rest[close] == ']')
      return number<std::uint32_t>(rest.substr(1, close - 1)).value_or(0);
  }
  return std::nullopt;
}

}  // namespace

bool IMAPMessage::isRead() const { return hasFlag(*this, "\\seen"); }

bool IMAPMessage::isFlagged() const { return hasFlag(*this, "\\flagged"); }

std::set<std::string> imap::capabilities(const std::vector<IMAPResponse>& responses) {
  std::set<std::string> words;
  for (const IMAPResponse& response : responses) {
    Untagged line(response);
    if (!line.is("CAPABILITY")) continue;
    for (auto word = nextWord(line.rest); !word.empty(); word = nextWord(line.rest)) words.insert(upperCased(word));
  }
  return words;
}

std::vector<IMAPFolder> imap::folders(std::vector<IMAPResponse>&& responses, const IMAPLimits& limits) {
  std::vector<IMAPFolder> read;
  for (IMAPResponse& response : responses)
    if (const Untagged line(response); line.is("LIST") && !line.number)
      if (auto each = folder(IMAPValue::list(std::move(response), limits))) read.push_back(std::move(*each));
  return read;
}

IMAPSelection imap::selection(const std::vector<IMAPResponse>& responses) {
  std::optional<std::size_t> exists;
  std::optional<std::uint32_t> uidValidity;
  std::optional<std::uint32_t> uidNext;
  for (const IMAPResponse& response : responses) {
    if (const Untagged line(response); line.is("EXISTS")) exists = line.number;
    if (!uidValidity) uidValidity = code(response.text, "UIDVALIDITY");
    if (!uidNext) uidNext = code(response.text, "UIDNEXT");
  }
  return {.exists = exists.value_or(0), .uidValidity = uidValidity.value_or(0), .uidNext = uidNext.value_or(0)};
}

std::vector<std::uint32_t> imap::found(const std::vector<IMAPResponse>& responses) {
  std::vector<std::uint32_t> numbers;
  for (const IMAPResponse& response : responses) {
    Untagged line(response);
    if (!line.is("SEARCH")) continue;
    for (auto word = nextWord(line.rest); !word.empty(); word = nextWord(line.rest))
      if (const auto uid = number<std::uint32_t>(word)) numbers.push_back(*uid);
  }
  return numbers;
}

std::vector<IMAPMessage> imap::messages(std::vector<IMAPResponse>&& responses, const IMAPLimits& limits) {
  std::vector<IMAPMessage> read;
  for (IMAPResponse& response : responses) {
    if (const Untagged line(response); !line.is("FETCH") || !line.number) continue;
    std::vector<IMAPValue> values = IMAPValue::list(std::move(response), limits);
    if (values.size() < 4 || values[3].kind != Kind::list) continue;
    if (auto each = message(std::move(values[3].values))) read.push_back(std::move(*each));
  }
  return read;
}

bool imap::tellComingOrGoing(const std::vector<IMAPResponse>& responses) {
  return std::any_of(responses.begin(), responses.end(), [](const IMAPResponse& response) {
    const Untagged line(response);
    return line.number && (line.is("EXISTS") || line.is("EXPUNGE"));
  });
}

bool imap::tellChange(const std::vector<IMAPResponse>& responses) {
  return std::any_of(responses.begin(), responses.end(), [](const IMAPResponse& response) {
    const Untagged line(response);
    return line.number && (line.is("EXISTS") || line.is("EXPUNGE") || line.is("FETCH"));
  });
}

}  // namespace vesk
