#include "bench/generator/MailText.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <iconv.h>
#include <iterator>
#include <string_view>
#include <system_error>

#include <fmt/format.h>

#include "bench/generator/Random.h"
#include "bench/generator/Words.h"
#include "core/base/Base64.h"

namespace vesk::bench {

namespace {

enum class Encoding { none, quotedPrintable, base64 };

// How the mails of a language are written.
struct Writing {
  Script script = Script::english;
  const char* charset = "";
  Encoding encodings[3] = {};  // one of these
  bool isTypeset = false;      // with quotation marks and dashes
};

constexpr Encoding none = Encoding::none;
constexpr Encoding printable = Encoding::quotedPrintable;
constexpr Encoding base64Text = Encoding::base64;

constexpr Writing writings[] = {
    {Script::english, "us-ascii", {none, none, printable}},
    {Script::english, "utf-8", {none, printable, base64Text}, true},
    {Script::portuguese, "utf-8", {none, printable, base64Text}, true},
    {Script::portuguese, "iso-8859-1", {none, printable, printable}},
    {Script::portuguese, "windows-1252", {none, printable, printable}, true},
    {Script::german, "iso-8859-15", {none, printable, printable}},
    {Script::german, "utf-8", {printable, printable, base64Text}, true},
    {Script::russian, "koi8-r", {none, base64Text, base64Text}},
    {Script::russian, "windows-1251", {none, base64Text, printable}, true},
    {Script::russian, "utf-8", {none, base64Text, base64Text}, true},
    {Script::greek, "iso-8859-7", {none, printable, base64Text}},
    {Script::japanese, "iso-2022-jp", {none, none, none}},
    {Script::japanese, "utf-8", {none, base64Text, base64Text}},
};

constexpr std::string_view hexDigits = "0123456789ABCDEF";

std::string inCharset(std::string text, const char* charset) {
  if (std::string_view(charset) == "utf-8") return text;
  const iconv_t conversion = ::iconv_open(charset, "utf-8");
  if (conversion == iconv_t(-1)) throw std::system_error(errno, std::generic_category(), charset);
  std::string result(text.size() * 2 + 16, '\0');
  char* in = text.data();
  char* out = result.data();
  std::size_t inLeft = text.size();
  std::size_t outLeft = result.size();
  const bool isWhole = ::iconv(conversion, &in, &inLeft, &out, &outLeft) != std::size_t(-1) &&
                       ::iconv(conversion, nullptr, nullptr, &out, &outLeft) != std::size_t(-1);
  const int code = errno;
  ::iconv_close(conversion);
  if (!isWhole) throw std::system_error(code, std::generic_category(), charset);
  result.resize(result.size() - outLeft);
  return result;
}

std::string inBase64(std::string_view bytes) {
  constexpr std::size_t bytesOfLine = 57;
  std::string text;
  text.reserve(bytes.size() * 3 / 2);
  for (; !bytes.empty(); bytes.remove_prefix(std::min(bytesOfLine, bytes.size())))
    text.append(base64::encoded(bytes.substr(0, bytesOfLine))).append("\r\n");
  return text;
}

bool isPlain(char c) { return c >= ' ' && c <= '~' && c != '='; }

std::string inQuotedPrintable(std::string_view bytes) {
  constexpr std::size_t longestLine = 72;
  std::string text;
  std::size_t line = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const char c = bytes[i];
    if (c == '\r' || c == '\n') {
      text += c;
      line = 0;
      continue;
    }
    if (line > longestLine) {
      text += "=\r\n";
      line = 0;
    }
    const bool endsLine = i + 1 == bytes.size() || bytes[i + 1] == '\r';
    if (isPlain(c) && !(c == ' ' && endsLine)) {
      text += c;
      ++line;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      text += {'=', hexDigits[byte >> 4], hexDigits[byte & 15]};
      line += 3;
    }
  }
  return text;
}

// As the text of an encoded word.
std::string inWord(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == ' ')
      text += '_';
    else if (byte < 0x80 && std::isalnum(byte))
      text += c;
    else
      text += {'=', hexDigits[byte >> 4], hexDigits[byte & 15]};
  }
  return text;
}

std::string encoded(const std::string& bytes, Encoding encoding) {
  if (encoding == Encoding::base64) return inBase64(bytes);
  return encoding == Encoding::quotedPrintable ? inQuotedPrintable(bytes) : bytes;
}

std::string_view nameOf(Encoding encoding, std::string_view charset) {
  if (encoding == Encoding::base64) return "base64";
  if (encoding == Encoding::quotedPrintable) return "quoted-printable";
  return charset == "us-ascii" || charset == "iso-2022-jp" ? "7bit" : "8bit";
}

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// Log-normal, in integers: median · 2^(deviations · sixteenths / 16).
std::size_t logNormal(Random& random, std::size_t median, std::int64_t sixteenths) {
  std::int64_t sum = 0;  // of mean 0 and standard deviation 1,000
  for (int draw = 0; draw < 12; ++draw) sum += static_cast<std::int64_t>(random.below(1001)) - 500;
  std::size_t size = median;
  std::int64_t steps = sum * sixteenths / 1000;
  for (; steps > 0; --steps) size = size * 68438 / 65536;
  for (; steps < 0; ++steps) size = size * 65536 / 68438;
  return size;
}

class MailWriter {
 public:
  explicit MailWriter(std::uint64_t seed)
      : random_(seed),
        id_(seed),
        writing_(writings[random_.below(std::size(writings))]),
        language_(language(writing_.script)),
        encoding_(writing_.encodings[random_.below(3)]) {}

  std::string write(std::size_t text, std::size_t html, std::size_t attached, std::size_t attachments) {
    header();
    const std::string mixed = attachments > 0 ? beginMultipart("mixed") : "";
    if (attachments > 0) boundaryLine(mixed);
    body(text, html);
    for (; attachments > 0; --attachments) {
      boundaryLine(mixed);
      attachment(attached / attachments);
      attached -= attached / attachments;
    }
    if (!mixed.empty()) mail_.append("--").append(mixed).append("--\r\n");
    return std::move(mail_);
  }

  // Most mails are as long as their text; the long ones are so for what is attached.
  std::string write() {
    const std::size_t size = std::min<std::size_t>(logNormal(random_, 7'300, 38), 8'000'000);
    const std::size_t body = std::min(size, logNormal(random_, 7'500, 16));
    const bool hasHtml = random_.percent(60);
    const std::size_t text = hasHtml ? body / 3 : body;
    const std::size_t rest = size - body;
    return write(text, hasHtml ? body - text : 0, rest * 3 / 4, rest < 2'000 ? 0 : random_.between(1, 4));
  }

 private:
  template <typename... Arguments>
  void line(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    fmt::format_to(std::back_inserter(mail_), format, std::forward<Arguments>(arguments)...);
    mail_ += "\r\n";
  }

  std::string_view word() { return random_.pick(language_.words); }

  std::string words(std::size_t count) {
    std::string text(word());
    while (--count > 0) text.append(language_.space).append(word());
    return text;
  }

  std::string letters(std::size_t count) {
    std::string text;
    for (; count > 0; --count) text += "abcdefghijklmnopqrstuvwxyz0123456789"[random_.below(36)];
    return text;
  }

  // Encoded words where they are needed, each in a line of its own.
  std::string headerText(const std::string& text) {
    if (isAscii(text)) return text;
    constexpr std::size_t longest = 36;  // bytes of UTF-8 in a word
    const bool isBase64 = random_.percent(50);
    std::string value;
    for (std::size_t begin = 0; begin < text.size();) {
      std::size_t end = std::min(begin + longest, text.size());
      while (end < text.size() && (text[end] & 0xC0) == 0x80) --end;
      const std::string part = inCharset(text.substr(begin, end - begin), writing_.charset);
      if (begin > 0) value += "\r\n ";
      fmt::format_to(std::back_inserter(value), "=?{}?{}?=", writing_.charset,
                     isBase64 ? "B?" + base64::encoded(part) : "Q?" + inWord(part));
      begin = end;
    }
    return value;
  }

  std::string address() {
    const std::string name = words(2);
    const std::string mailbox = fmt::format("<{}.{}@{}.example.org>", letters(6), letters(4), letters(8));
    return isAscii(name) && random_.percent(30) ? fmt::format("\"{}\" {}", name, mailbox)
                                                : fmt::format("{} {}", headerText(name), mailbox);
  }

  void addresses(std::string_view field, std::size_t count) {
    mail_.append(field).append(": ").append(address());
    while (--count > 0) mail_.append(",\r\n ").append(address());
    mail_ += "\r\n";
  }

  std::string date() {
    constexpr std::string_view days[] = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
    constexpr std::string_view months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov"};
    const std::string_view month = random_.pick(months);
    const std::size_t day = random_.between(1, 28);
    return fmt::format("{}, {} {} {} {:02}:{:02}:{:02} {}", random_.pick(days), day, month, random_.between(2019, 2026),
                       random_.below(24), random_.below(60), random_.below(60),
                       random_.percent(50) ? "+0000 (UTC)" : "+0100");
  }

  std::string messageID() { return fmt::format("<{}.{}@mail.example.org>", letters(20), id_); }

  void header() {
    for (std::size_t hops = random_.between(2, 5); hops > 0; --hops) {
      line("Received: from {}.example.org ({}.example.org [192.0.2.{}])", letters(8), letters(8), random_.below(256));
      line("\tby mx.example.net (Postfix) with ESMTPS id {}", letters(12));
      line("\tfor <ana@example.net>; {}", date());
    }
    line("DKIM-Signature: v=1; a=rsa-sha256; c=relaxed/relaxed; d=example.org; s=mail;");
    line("\th=from:to:subject:date:message-id; bh={}=;", letters(43));
    line("\tb={}", letters(70));
    for (int more = 0; more < 3; ++more) line("\t {}", letters(70));
    addresses("From", 1);
    addresses("To", random_.percent(5) ? 20 : random_.between(1, 3));
    if (random_.percent(30)) addresses("Cc", random_.between(1, 4));
    if (random_.percent(10)) addresses("Reply-To", 1);
    line("Subject: {}", headerText((random_.percent(40) ? "Re: " : "") + words(random_.between(2, 8))));
    line("Date: {}", date());
    line("Message-ID: {}", messageID());
    if (random_.percent(40)) {
      line("In-Reply-To: {}", messageID());
      line("References: {}\r\n {}", messageID(), messageID());
    }
    line("X-Mailer: {} {}.{}", letters(7), random_.below(20), random_.below(10));
    line("MIME-Version: 1.0");
  }

  std::string beginMultipart(std::string_view subtype) {
    std::string boundary = fmt::format("=_{}_{}", letters(24), id_);
    line("Content-Type: multipart/{};\r\n boundary=\"{}\"\r\n", subtype, boundary);
    line("This is a message with several parts.");
    return boundary;
  }

  void boundaryLine(std::string_view boundary) { line("\r\n--{}", boundary); }

  void body(std::size_t text, std::size_t html) {
    if (html == 0) return textPart("plain", plainText(text));
    const std::string alternative = beginMultipart("alternative");
    boundaryLine(alternative);
    textPart("plain", plainText(text));
    boundaryLine(alternative);
    textPart("html", htmlText(html));
    line("\r\n--{}--", alternative);
  }

  void textPart(std::string_view subtype, const std::string& text) {
    line("Content-Type: text/{}; charset={}", subtype, writing_.charset);
    line("Content-Transfer-Encoding: {}\r\n", nameOf(encoding_, writing_.charset));
    mail_ += encoded(inCharset(text, writing_.charset), encoding_);
  }

  std::string sentence() {
    std::string text = words(random_.between(3, 9));
    text += writing_.isTypeset && random_.percent(30) ? " — " : language_.comma;
    if (writing_.isTypeset && random_.percent(20))
      text.append("“").append(words(2)).append("”").append(language_.space);
    return text.append(words(random_.between(2, 8))).append(language_.fullStop);
  }

  std::string plainText(std::size_t size) {
    constexpr std::size_t lineLength = 72;
    std::string text;
    text.reserve(size + 1000);
    std::size_t lineBegin = 0;
    while (text.size() < size) {
      text += sentence();
      if (text.size() - lineBegin < lineLength) continue;
      text += random_.percent(20) ? "\r\n\r\n" : "\r\n";
      lineBegin = text.size();
    }
    return text;
  }

  std::string htmlText(std::size_t size) {
    std::string text =
        "<!DOCTYPE html>\r\n<html><head><meta name=\"viewport\" content=\"width=device-width\">\r\n<style "
        "type=\"text/css\">\r\n"
        "body { margin: 0; padding: 0; font-family: Helvetica, sans-serif; }\r\n.card { border: 1px solid #dddddd; "
        "}\r\n"
        "</style></head>\r\n<body bgcolor=\"#ffffff\">\r\n";
    while (text.size() < size) {
      text +=
          "<table width=\"600\" cellpadding=\"0\" cellspacing=\"0\" style=\"border-collapse:collapse\"><tr>\r\n"
          "<td style=\"padding:12px 24px;font-size:14px;color:#333333\">";
      text.append("<p>").append(sentence()).append("&nbsp;").append(sentence()).append("</p>\r\n");
      fmt::format_to(std::back_inserter(text), "<a href=\"https://example.org/{}?id={}\" class=\"card\">{}</a><br>\r\n",
                     letters(12), letters(24), words(2));
      text += "</td></tr></table>\r\n";
    }
    return text += "</body></html>\r\n";
  }

  void attachment(std::size_t size) {
    constexpr std::string_view types[] = {"application/pdf", "image/png", "image/jpeg", "application/zip"};
    constexpr std::string_view endings[] = {"pdf", "png", "jpg", "zip"};
    const std::size_t kind = random_.below(std::size(types));
    const std::string name = fmt::format("{} {}.{}", words(2), random_.below(1000), endings[kind]);
    line("Content-Type: {};\r\n name=\"{}\"", types[kind], headerText(name));
    line("Content-Disposition: attachment;\r\n {}", fileName(name));
    line("Content-Transfer-Encoding: base64\r\n");
    std::string bytes(size / 8 * 8, '\0');
    for (std::size_t i = 0; i < bytes.size(); i += 8) {
      const std::uint64_t eight = random_.next();
      for (std::size_t j = 0; j < 8; ++j) bytes[i + j] = static_cast<char>(eight >> 8 * j);
    }
    mail_ += inBase64(bytes);
  }

  std::string fileName(const std::string& name) {
    if (isAscii(name)) return fmt::format("filename=\"{}\"", name);
    std::string value = "filename*=utf-8''";
    for (const char c : name) {
      const auto byte = static_cast<unsigned char>(c);
      if (byte < 0x80 && c != ' ')
        value += c;
      else
        value += {'%', hexDigits[byte >> 4], hexDigits[byte & 15]};
    }
    return value;
  }

  Random random_;
  std::uint64_t id_;
  const Writing& writing_;
  const Language& language_;
  Encoding encoding_;
  std::string mail_;
};

}  // namespace

std::string mailText(std::uint64_t seed) { return MailWriter(seed).write(); }

std::string largeMailText(std::size_t size) {
  constexpr std::uint64_t seed = 50;
  return MailWriter(seed).write(size / 10, size / 10, size / 10 * 8 * 57 / 78, 8);
}

}  // namespace vesk::bench
