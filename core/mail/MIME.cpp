#include "core/mail/MIME.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <map>
#include <utility>
#include <vector>

#include "core/base/AsciiSearch.h"
#include "core/base/Charset.h"
#include "core/base/Text.h"
#include "core/mail/MailHeader.h"
#include "core/mail/MailParts.h"

namespace vesk::MIME {

namespace {

constexpr std::size_t none = std::string_view::npos;

// "\n" for every line break of any system, in place.
void unifyLineBreaks(std::string& text) {
  char* const end = text.data() + text.size();
  const auto nextReturn = [end](char* from) {
    void* const found = std::memchr(from, '\r', static_cast<std::size_t>(end - from));
    return found ? static_cast<char*>(found) : end;
  };
  char* read = nextReturn(text.data());
  char* write = read;
  while (read != end) {
    if (read + 1 == end || read[1] != '\n') *write++ = '\n';
    char* const next = nextReturn(++read);
    write = std::copy(read, next, write);
    read = next;
  }
  text.resize(static_cast<std::size_t>(write - text.data()));
}

// Whether the lines end as they did on old systems, in bare returns.
bool endsLinesInReturns(std::string_view message) {
  return message.find('\n') == std::string_view::npos && message.find('\r') != std::string_view::npos;
}

std::string withUnifiedLineBreaks(std::string_view message) {
  std::string text(message);
  unifyLineBreaks(text);
  return text;
}

// The charset that an HTML document names in a <meta> at its beginning, with the tag; nothing where it names none.
struct NamedCharset {
  std::string_view name = {};
  std::string_view tag = {};
};

NamedCharset charsetNamedIn(std::string_view html) {
  constexpr std::size_t farthest = 1024;  // the first bytes, as browsers have it
  constexpr std::string_view around = " \t\r\n\f\"'";
  static const text::AsciiSearch meta("<meta");
  static const text::AsciiSearch charset("charset");
  html = html.substr(0, farthest);
  for (std::size_t at = meta.find(html, 0); at != none; at = meta.find(html, at + 1)) {
    const std::string_view tag = html.substr(at, html.find('>', at) - at);
    const std::size_t named = charset.find(tag, 0);
    if (named == none) continue;
    const std::size_t equals = tag.find_first_not_of(around, named + std::string_view("charset").size());
    if (equals == none || tag[equals] != '=') continue;
    const std::size_t begin = std::min(tag.find_first_not_of(around, equals + 1), tag.size());
    const std::size_t end = std::min(tag.find_first_of(" \t\r\n\f\"';/", begin), tag.size());
    return {tag.substr(begin, end - begin), tag};
  }
  return {};
}

std::string textOf(std::string&& bytes, const MailPart& part) {
  if (part.kind == MailPart::Kind::html && part.charset.empty()) {
    const auto [name, tag] = charsetNamedIn(bytes);
    // Where the tag itself can't be read by what it names (UTF-16), that isn't the charset.
    auto text = name.empty() ? std::nullopt : charset::strictText(bytes, name);
    if (text && text->find(tag) != none) return std::move(*text);
  }
  return charset::text(std::move(bytes), part.charset);
}

std::string textOf(const MailPart& part) {
  const bool isEncoded = part.encoding != TransferEncoding::none;
  std::string text = textOf(isEncoded ? decoded(part.body, part.encoding) : std::string(part.body), part);
  unifyLineBreaks(text);
  return text;
}

// Adds the text of another part to a body.
void append(std::string& body, std::string&& text) {
  if (body.empty()) {
    body = std::move(text);
  } else if (!text.empty()) {
    if (!body.ends_with('\n')) body += '\n';
    body += text;
  }
}

bool saysNothing(std::string_view text) { return text::trimWhitespace(text).empty(); }

// Where a multipart/alternative offers plain text that says something.
class PlainChoices {
 public:
  void add(const MailPart& text) {
    for (const auto& [multipart, section] : text.choices) {
      const auto [known, isNew] = sections_.try_emplace(multipart, section);
      if (!isNew && known->second != section) known->second = several;
    }
  }

  // Whether it stands in another section than this part, for readers to choose between them.
  bool isBeside(const MailPart& part) const {
    return std::ranges::any_of(part.choices, [&](const MailPart::Choice& choice) {
      const auto found = sections_.find(choice.multipart);
      return found != sections_.end() && found->second != choice.section;
    });
  }

 private:
  static constexpr std::size_t several = none;
  std::map<std::size_t, std::size_t> sections_;  // that hold the text, by their multipart
};

// The text of a mail that holds both texts and HTML that is nowhere but in itself.
std::string textWithHTML(const std::vector<MailPart>& parts, const PlainChoices& plain) {
  std::string all;
  for (const MailPart& part : parts) {
    if (part.kind == MailPart::Kind::text) append(all, textOf(part));
    if (part.kind == MailPart::Kind::html && !plain.isBeside(part)) append(all, visibleTextOfHTML(textOf(part)).text);
  }
  return all;
}

void readBodies(ParsedMail& mail, const std::vector<MailPart>& parts) {
  PlainChoices plain;
  for (const MailPart& part : parts) {
    if (part.kind == MailPart::Kind::html) append(mail.html, textOf(part));
    if (part.kind != MailPart::Kind::text) continue;
    std::string text = textOf(part);
    if (!saysNothing(text)) plain.add(part);
    append(mail.text, std::move(text));
  }
  if (mail.html.empty() || saysNothing(mail.text)) return;
  const bool isWhole = std::ranges::all_of(
      parts, [&](const MailPart& part) { return part.kind != MailPart::Kind::html || plain.isBeside(part); });
  if (!isWhole) mail.text = textWithHTML(parts, plain);
}

std::vector<MailAddress> addresses(const MailHeader& header, MailField field) {
  return header.raw(field).empty() ? std::vector<MailAddress>() : MailAddress::list(header.unfolded(field));
}

std::optional<MailAddress> sender(const MailHeader& header) {
  std::vector<MailAddress> all = addresses(header, MailField::from);
  if (!all.empty()) return std::move(all.front());
  const std::string name = oneLine(decodeWords(header.unfolded(MailField::from)));
  if (name.empty()) return std::nullopt;
  return MailAddress{.name = name};
}

}  // namespace

ParsedMail parse(std::string_view message) {
  if (endsLinesInReturns(message)) return parse(withUnifiedLineBreaks(message));
  const MailHeader header = readMessageHeader(message);
  ParsedMail mail;
  mail.subject = oneLine(decodeWords(header.unfolded(MailField::subject)));
  mail.from = sender(header);
  mail.to = addresses(header, MailField::to);
  mail.cc = addresses(header, MailField::cc);
  mail.replyTo = addresses(header, MailField::replyTo);
  mail.date = date(header.unfolded(MailField::date));
  mail.messageID = header.unfolded(MailField::messageID);
  mail.inReplyTo = header.unfolded(MailField::inReplyTo);
  mail.references = header.unfolded(MailField::references);
  const std::vector<MailPart> parts = mailParts(message, header);
  readBodies(mail, parts);
  for (const MailPart& part : parts)
    if (part.kind == MailPart::Kind::attachment)
      mail.attachments.push_back({part.name, part.type, decodedSize(part.body, part.encoding)});
  return mail;
}

std::optional<std::string> attachment(std::size_t index, std::string_view message) {
  if (endsLinesInReturns(message)) return attachment(index, withUnifiedLineBreaks(message));
  for (const MailPart& part : mailParts(message, readMessageHeader(message)))
    if (part.kind == MailPart::Kind::attachment && index-- == 0) return decoded(part.body, part.encoding);
  return std::nullopt;
}

}  // namespace vesk::MIME
