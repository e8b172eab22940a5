#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "core/base/Text.h"
#include "core/base/Unicode.h"
#include "core/mail/HiddenHtml.h"
#include "core/mail/HtmlText.h"
#include "core/mail/MIME.h"
#include "core/mail/MailHeader.h"

namespace vesk::MIME {

namespace {

bool isJoiner(char32_t c) { return c == 0x200C || c == 0x200D; }
bool isSoftHyphen(char32_t c) { return c == 0xAD; }
bool isTag(char32_t c) { return c >= 0xE0000 && c <= 0xE007F; }
bool isMongolian(char32_t c) { return c >= 0x1820 && c <= 0x18AA; }
bool isMongolianSelector(char32_t c) { return (c >= 0x180B && c <= 0x180D) || c == 0x180F; }

bool isVariationSelector(char32_t c) {
  return (c >= 0xFE00 && c <= 0xFE0F) || (c >= 0xE0100 && c <= 0xE01EF) || isMongolianSelector(c);
}

// The marks that set the direction of text.
bool isDirection(char32_t c) {
  return c == 0x061C || c == 0x200E || c == 0x200F || (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

bool isControl(char32_t c) { return c < 0x20 || (c >= 0x7F && c < 0xA0); }

// What is there and shows nothing. The marks that set the direction of text are not among it.
bool isUnseen(char32_t c) {
  if (isControl(c)) return !unicode::isWhitespace(c);
  return c >= 0x80 && !isDirection(c) && unicode::isIgnorable(c);
}

bool isSeen(char32_t c) { return !unicode::isWhitespace(c) && !isUnseen(c) && !isDirection(c); }

// The characters up to U+FFFF by the first of their bytes: how many they take, or 0 where one of them shows nothing.
std::array<std::uint8_t, 256> makeSeenSizes() {
  std::array<std::uint8_t, 256> sizes = {};
  for (std::size_t lead = 0; lead < 0xF0; ++lead) sizes[lead] = lead < 0x80 ? 1 : lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : 3;
  for (char32_t c = 0; c < 0x10000; ++c) {
    const auto lead = static_cast<std::size_t>(c < 0x80 ? c : c < 0x800 ? 0xC0 | c >> 6 : 0xE0 | c >> 12);
    if (isUnseen(c)) sizes[lead] = 0;
  }
  return sizes;
}

// The bytes at the beginning of a text that are seen, as far as they tell at a glance: nearly all there are.
std::size_t seenLength(std::string_view text) {
  static const std::array<std::uint8_t, 256> sizes = makeSeenSizes();
  const auto continues = [&](std::size_t at) { return at < text.size() && (text[at] & 0xC0) == 0x80; };
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t size = sizes[static_cast<unsigned char>(text[at])];
    if (size == 0 || (size > 1 && !continues(at + 1)) || (size > 2 && !continues(at + 2))) break;
    at += size;
  }
  return at;
}

// The size of the flag at `at`: a black flag, the letters of a region as tags, and the last tag. 0 where there is none.
std::size_t flagAt(std::string_view text, std::size_t at) {
  constexpr std::string_view blackFlag = "\U0001F3F4";
  constexpr std::string_view lastTag = "\U000E007F";
  constexpr std::size_t mostLetters = 6;
  if (!text.substr(at).starts_with(blackFlag)) return 0;
  std::size_t end = at + blackFlag.size();
  for (std::size_t letters = 0; letters <= mostLetters && end < text.size(); ++letters) {
    if (text.substr(end).starts_with(lastTag)) return end + lastTag.size() - at;
    const unicode::CodePoint c = unicode::decode(text, end);
    if (!isTag(c.value)) return 0;
    end += c.length;
  }
  return 0;
}

// What a joiner may stand beside: it shapes letters of some scripts, and makes one emoji of several.
bool mayBeJoined(char32_t c) {
  return c >= 0x80 && !unicode::isWhitespace(c) && (!isUnseen(c) || isVariationSelector(c));
}

// What a variation selector may follow.
bool hasVariants(char32_t c, char32_t selector) {
  if (isMongolianSelector(selector)) return isMongolian(c);
  if (selector >= 0xE0100) return c >= 0x3400 && unicode::isLetter(c);  // an ideograph
  return (c >= 0x80 && !isUnseen(c)) || (c >= '0' && c <= '9') || c == '#' || c == '*';
}

class Seer {
 public:
  explicit Seer(std::string_view text) : text_(text) {}

  VisibleText read() {
    seen_.text.reserve(text_.size());
    for (std::size_t at = 0; at < text_.size();) {
      if (const std::size_t length = seenLength(text_.substr(at)); length > 0) {
        seen_.text += text_.substr(at, length);
        at += length;
        before_ = unicode::decodeBefore(text_, at).value;
      } else {
        at += take(at);
      }
    }
    return std::move(seen_);
  }

 private:
  // Returns the bytes taken.
  std::size_t take(std::size_t at) {
    const std::size_t flag = flagAt(text_, at);
    const unicode::CodePoint c = unicode::decode(text_, at);
    const std::size_t length = std::max(flag, c.length);
    if (flag > 0 || !isUnseen(c.value) || belongs(c.value, at + length)) {
      seen_.text += text_.substr(at, length);
    } else {
      seen_.hidden += isSoftHyphen(c.value) ? 0 : 1;  // senders mean well by those
    }
    before_ = c.value;
    return length;
  }

  // Whether what shows nothing by itself is a part of what stands around it.
  bool belongs(char32_t c, std::size_t end) const {
    if (isVariationSelector(c)) return hasVariants(before_, c);
    if (!isJoiner(c) || end == text_.size()) return false;
    return mayBeJoined(before_) && mayBeJoined(unicode::decode(text_, end).value);
  }

  std::string_view text_;
  char32_t before_ = 0;
  VisibleText seen_;
};

std::size_t charactersSeen(std::string_view text) {
  std::size_t count = 0;
  for (std::size_t at = 0; at < text.size();) {
    const unicode::CodePoint c = unicode::decode(text, at);
    count += isSeen(c.value);
    at += c.length;
  }
  return count;
}

bool showsNothing(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    const unicode::CodePoint c = unicode::decode(text, at);
    if (isSeen(c.value)) return false;
    at += c.length;
  }
  return true;
}

}  // namespace

std::string plainText(std::string_view html) {
  if (html.find('\r') == std::string_view::npos) return html::text(html::withoutBlocks(html));
  return html::text(html::withoutBlocks(text::withLineBreaks(html, "\n")));
}

VisibleText visibleText(std::string_view text) { return Seer(text).read(); }

std::string visibleLine(std::string_view text) { return text::collapseWhitespace(oneLine(visibleText(text).text)); }

VisibleText visibleTextOfHTML(std::string_view html) {
  const std::string lines = text::withLineBreaks(html, "\n");
  const html::SplitDocument document = html::splitHidden(html::withoutBlocks(lines), html::readStyleSheet(lines));
  VisibleText seen = visibleText(html::text(document.seen));
  seen.text = text::trimWhitespace(seen.text);
  seen.hidden += charactersSeen(html::text(document.hidden));
  return seen;
}

bool isReadAsHTML(std::string_view text, std::string_view html) { return !html.empty() && showsNothing(text); }

VisibleText visibleBody(std::string_view text, std::string_view html) {
  return isReadAsHTML(text, html) ? visibleTextOfHTML(html) : visibleText(text);
}

}  // namespace vesk::MIME
