#include "core/mail/MailHeader.h"

#include <algorithm>

#include "core/base/Ascii.h"
#include "core/base/Charset.h"
#include "core/base/Text.h"

namespace vesk {

namespace {

constexpr std::size_t none = std::string_view::npos;

// Far more than any honest field takes, ten thousand recipients included; keeps a hostile one from being copied whole.
constexpr std::size_t longestField = 1 << 20;

constexpr std::array<std::string_view, mailFieldCount> fieldNames = {"from",
                                                                     "to",
                                                                     "cc",
                                                                     "reply-to",
                                                                     "subject",
                                                                     "date",
                                                                     "message-id",
                                                                     "in-reply-to",
                                                                     "references",
                                                                     "content-type",
                                                                     "content-disposition",
                                                                     "content-transfer-encoding"};

bool equalsLowered(std::string_view name, std::string_view lower) {
  return std::equal(name.begin(), name.end(), lower.begin(), lower.end(),
                    [](char a, char b) { return ascii::lower(a) == b; });
}

bool isBlank(char c) { return c == ' ' || c == '\t'; }

// Behind the line that begins at `begin`.
std::size_t nextLine(std::string_view text, std::size_t begin) {
  const std::size_t end = text.find('\n', begin);
  return end == none ? text.size() : end + 1;
}

bool isEmptyLine(std::string_view line) { return line.empty() || line == "\n" || line == "\r\n"; }

// The place of the colon behind the name of a field; npos in a line that is none.
std::size_t colonOfField(std::string_view line) {
  if (line.starts_with("--")) return none;  // no field is named so, but a boundary may have colons
  std::size_t end = 0;
  while (end < line.size() && line[end] > ' ' && line[end] <= '~' && line[end] != ':') ++end;
  const std::size_t nameEnd = end;
  while (end < line.size() && isBlank(line[end])) ++end;
  return nameEnd > 0 && end < line.size() && line[end] == ':' ? end : none;
}

void keep(MailHeader& header, std::string_view name, std::string_view value) {
  for (std::size_t i = 0; i < fieldNames.size(); ++i) {
    if (!equalsLowered(name, fieldNames[i])) continue;
    if (header.values[i].empty()) header.values[i] = value.substr(0, longestField);
    return;
  }
}

}  // namespace

MailHeader readMailHeader(std::string_view message, std::size_t begin) {
  MailHeader header;
  while (begin < message.size()) {
    std::size_t end = nextLine(message, begin);
    const std::string_view line = message.substr(begin, end - begin);
    if (isEmptyLine(line)) {
      begin = end;
      break;
    }
    const std::size_t colon = colonOfField(line);
    if (colon == none) break;
    while (end < message.size() && isBlank(message[end])) end = nextLine(message, end);
    const std::string_view name = text::trim(line.substr(0, colon), " \t");
    keep(header, name, message.substr(begin + colon + 1, end - begin - colon - 1));
    begin = end;
  }
  header.end = begin;
  return header;
}

MailHeader readMessageHeader(std::string_view message) {
  std::size_t begin = message.starts_with("\xEF\xBB\xBF") ? 3 : 0;
  while (begin < message.size() && isEmptyLine(message.substr(begin, message[begin] == '\r' ? 2 : 1)))
    begin = nextLine(message, begin);
  for (const std::string_view separator : {"From ", ">From "})
    if (message.substr(begin).starts_with(separator)) begin = nextLine(message, begin);
  return readMailHeader(message, begin);
}

std::string withoutComments(std::string_view value) {
  std::string text;
  std::size_t depth = 0;
  for (std::size_t at = 0; at < value.size(); ++at) {
    const char c = value[at];
    if (depth > 0 && c == '\\')
      ++at;
    else if (c == '(')
      ++depth;
    else if (depth > 0 && c == ')')
      --depth;
    else if (depth == 0)
      text += c;
  }
  return text;
}

std::string oneLine(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }, ' ');
  const std::string_view trimmed = text::trim(text, " ");
  return trimmed.size() == text.size() ? text : std::string(trimmed);
}

std::string MailHeader::unfolded(MailField field) const {
  std::string_view rest = text::trim(raw(field), " \t\r\n");
  std::string line;
  line.reserve(rest.size());
  for (std::size_t fold = rest.find('\n'); fold != none; fold = rest.find('\n')) {
    line.append(text::trim(rest.substr(0, fold), "\r")).push_back(' ');
    rest.remove_prefix(std::min(rest.find_first_not_of(" \t", fold + 1), rest.size()));
  }
  return oneLine(charset::text(line.append(rest), {}));
}

}  // namespace vesk
