#include "core/mail/MIME.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "core/base/Charset.h"
#include "core/mail/MailHeader.h"
#include "core/mail/MailParts.h"

namespace vesk::MIME {

namespace {

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

// Adds the text of another part to a body.
void append(std::string& body, const MailPart& part) {
  std::string text = part.encoding == TransferEncoding::none
                         ? charset::text(part.body, part.charset)
                         : charset::text(decoded(part.body, part.encoding), part.charset);
  unifyLineBreaks(text);
  if (body.empty()) {
    body = std::move(text);
  } else if (!text.empty()) {
    if (!body.ends_with('\n')) body += '\n';
    body += text;
  }
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
  for (const MailPart& part : mailParts(message, header)) {
    if (part.kind == MailPart::Kind::text) append(mail.text, part);
    if (part.kind == MailPart::Kind::html) append(mail.html, part);
    if (part.kind == MailPart::Kind::attachment)
      mail.attachments.push_back({part.name, part.type, decodedSize(part.body, part.encoding)});
  }
  return mail;
}

std::optional<std::string> attachment(std::size_t index, std::string_view message) {
  if (endsLinesInReturns(message)) return attachment(index, withUnifiedLineBreaks(message));
  for (const MailPart& part : mailParts(message, readMessageHeader(message)))
    if (part.kind == MailPart::Kind::attachment && index-- == 0) return decoded(part.body, part.encoding);
  return std::nullopt;
}

}  // namespace vesk::MIME
