#include "core/mail/MailWriting.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <utility>

#include <fmt/format.h>

#include "core/base/Base64.h"
#include "core/base/Text.h"
#include "core/base/Unicode.h"
#include "core/mail/MailHeader.h"

namespace vesk::mailWriting {

namespace {

constexpr std::size_t longestLine = 78;         // bytes; RFC 5322, 2.1.1
constexpr std::size_t longestEncodedLine = 76;  // RFC 2045, 6.7, and RFC 2047, 2
constexpr std::size_t longestEncodedWord = 66;  // has a line beside "Subject: "; RFC 2047, 2, has 75

bool isPrintable(char c) { return c >= ' ' && c < 0x7F; }

// ---- Encoded words

constexpr std::string_view wordBegin = "=?utf-8?";
constexpr std::string_view wordEnd = "?=";
constexpr std::size_t roomInWord = longestEncodedWord - wordBegin.size() - wordEnd.size() - 2;  // "B?" or "Q?"

// What may stand for itself in a name, too (RFC 2047, 5, rule 3).
bool isPlainInWord(char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '!' || c == '*' ||
         c == '+' || c == '-' || c == '/';
}

std::size_t quotedSize(std::string_view text) {
  const auto plain = std::ranges::count_if(text, [](char c) { return isPlainInWord(c) || c == ' '; });
  return 3 * text.size() - 2 * static_cast<std::size_t>(plain);
}

std::string quotedWord(std::string_view text) {
  std::string word;
  for (const char c : text) {
    if (c == ' ')
      word += '_';
    else if (isPlainInWord(c))
      word += c;
    else
      word += fmt::format("={:02X}", static_cast<unsigned char>(c));
  }
  return word;
}

std::size_t base64Size(std::string_view text) { return (text.size() + 2) / 3 * 4; }

// How much of the text a word takes. No character is cut in two, and where that can be, no base64 is padded before the
// end: some programs read nothing behind the padding.
std::size_t takenByWord(std::string_view text, bool isBase64) {
  const auto fits = [&](std::string_view piece) {
    return (isBase64 ? base64Size(piece) : quotedSize(piece)) <= roomInWord;
  };
  std::size_t taken = 0;
  std::size_t withoutPadding = 0;
  for (std::size_t end = 0; end < text.size();) {
    end += unicode::decode(text, end).length;
    if (!fits(text.substr(0, end))) return isBase64 && withoutPadding > 0 ? withoutPadding : taken;
    taken = end;
    if (end % 3 == 0) withoutPadding = end;
  }
  return taken;
}

std::vector<std::string> encodedWords(std::string_view text) {
  const bool isBase64 = quotedSize(text) > 2 * text.size();  // hardly anything of it could be read as it stands
  std::vector<std::string> words;
  while (!text.empty()) {
    const std::string_view piece = text.substr(0, takenByWord(text, isBase64));
    const std::string letters = isBase64 ? base64::encoded(piece) : quotedWord(piece);
    words.push_back(fmt::format("{}{}?{}{}", wordBegin, isBase64 ? 'B' : 'Q', letters, wordEnd));
    text.remove_prefix(piece.size());
  }
  return words;
}

// ---- Words of a header

// Whether a text may be folded at its spaces and read back as it is.
bool isPlainText(std::string_view text) {
  constexpr std::size_t longestWord = 60;  // bytes, so that it has a line beside the field's name
  if (!std::ranges::all_of(text, isPrintable) || text.find("=?") != std::string_view::npos) return false;
  const auto words = text::split(text, ' ');
  return std::ranges::all_of(words, [](std::string_view word) { return !word.empty() && word.size() <= longestWord; });
}

std::vector<std::string> wordsOf(std::string_view text) {
  if (!isPlainText(text)) return encodedWords(text);
  const auto words = text::split(text, ' ');
  return {words.begin(), words.end()};
}

// In quotes, unless it is made of atoms (RFC 5322, 3.2.3).
std::vector<std::string> nameWords(std::string_view name) {
  constexpr std::string_view special = "()<>[]:;@\\,.\"";
  if (!isPlainText(name)) return encodedWords(name);
  if (name.find_first_of(special) == std::string_view::npos) return wordsOf(name);
  std::string quoted = "\"";
  for (const char c : name) {
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  quoted += '"';
  return isPlainText(quoted) ? wordsOf(quoted) : encodedWords(name);
}

// One line, whatever it was.
std::string line(std::string_view text) { return oneLine(text::wellFormed(text)); }

// ---- Bodies

constexpr std::string_view otherMail = "From ";  // some programs take a line with that for the beginning of one

// Whether each line can stand as it is.
bool isPlainBody(std::string_view text) {
  const auto lines = text::split(text, '\n');
  return std::ranges::all_of(lines, [](std::string_view line) {
    return line.size() <= longestLine && !line.ends_with(' ') && !line.ends_with('\t') &&
           !line.starts_with(otherMail) &&
           std::ranges::all_of(line, [](char c) { return isPrintable(c) || c == '\t'; });
  });
}

// A line as quoted-printable, cut by soft breaks.
void appendQuoted(std::string& body, std::string_view line) {
  std::size_t lineBegin = body.size();
  for (std::size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    const bool isLast = i + 1 == line.size();
    const bool isText = c == '\t' ? !isLast : isPrintable(c) && c != '=' && !(c == ' ' && isLast);
    const std::size_t room = longestEncodedLine - (isLast ? 0 : 1);  // for the "=" of a soft break
    if (body.size() - lineBegin + (isText ? 1 : 3) > room) {
      body += "=\r\n";
      lineBegin = body.size();
    }
    const bool isMistakable = body.size() == lineBegin && line.substr(i).starts_with(otherMail);
    if (isText && !isMistakable)
      body += c;
    else
      body += fmt::format("={:02X}", static_cast<unsigned char>(c));
  }
}

}  // namespace

std::string field(std::string_view name, const std::vector<std::string>& words) {
  std::string text = fmt::format("{}:", name);
  std::size_t lineBegin = 0;
  for (const std::string& word : words) {
    const bool isFirst = text.size() == name.size() + 1;
    if (!isFirst && text.size() - lineBegin + 1 + word.size() > longestEncodedLine) {
      text += "\r\n";
      lineBegin = text.size();
    }
    text += ' ';
    text += word;
  }
  return text + "\r\n";
}

std::string textField(std::string_view name, std::string_view text) { return field(name, wordsOf(line(text))); }

std::string addressField(std::string_view name, const std::vector<MailAddress>& addresses) {
  std::vector<std::string> words;
  for (const MailAddress& each : addresses) {
    if (!words.empty()) words.back() += ',';
    const std::string shown = line(each.name);
    if (!shown.empty())
      for (std::string& word : nameWords(shown)) words.push_back(std::move(word));
    words.push_back(shown.empty() ? each.address : fmt::format("<{}>", each.address));
  }
  return field(name, words);
}

std::string date(Timestamp moment, const Calendar& calendar) {
  static constexpr std::string_view days = "SunMonTueWedThuFriSat";
  static constexpr std::string_view months = "JanFebMarAprMayJunJulAugSepOctNovDec";
  const Day day = calendar.day(moment);
  const TimeOfDay time = calendar.time(moment);
  const auto seconds = std::chrono::floor<std::chrono::seconds>(moment);
  const auto minute = std::chrono::floor<std::chrono::minutes>(moment);
  const auto local = std::chrono::sys_days(day) + std::chrono::hours(time.hour) + std::chrono::minutes(time.minute);
  const auto offset = (local - minute).count();
  const unsigned weekday = std::chrono::weekday(std::chrono::sys_days(day)).c_encoding();
  return fmt::format("{}, {:02} {} {:04} {:02}:{:02}:{:02} {}{:02}{:02}", days.substr(3 * weekday, 3),
                     static_cast<unsigned>(day.day()), months.substr(3 * (static_cast<unsigned>(day.month()) - 1), 3),
                     static_cast<int>(day.year()), time.hour, time.minute, (seconds - minute).count(),
                     offset < 0 ? '-' : '+', std::abs(offset) / 60, std::abs(offset) % 60);
}

Body body(std::string_view text) {
  const std::string lines = text::withLineBreaks(text::wellFormed(text), "\n");
  const bool isPlain = isPlainBody(lines);
  Body body{.encoding = isPlain ? "7bit" : "quoted-printable"};
  for (std::string_view rest = lines; !rest.empty();) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    if (isPlain)
      body.text += rest.substr(0, end);
    else
      appendQuoted(body.text, rest.substr(0, end));
    body.text += "\r\n";
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return body;
}

}  // namespace vesk::mailWriting
