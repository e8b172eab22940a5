#include "core/mail/EncodedWords.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/base/Base64.h"
#include "core/base/Charset.h"
#include "core/base/Text.h"
#include "core/base/Unicode.h"
#include "core/mail/MIME.h"
#include "core/mail/TransferEncoding.h"

namespace vesk {

namespace {

constexpr std::size_t none = std::string_view::npos;

// "=?charset?encoding?text?=", and white space before the next one.
struct EncodedWord {
  std::string_view charset = {};
  char encoding = 0;  // one of "bBqQ"
  std::string_view text = {};
  std::size_t end = 0;

  std::string bytes() const {
    return encoding == 'b' || encoding == 'B' ? base64::decoded(text) : quotedPrintable(text, true);
  }
};

// What stands at `at` up to the next question mark or white space.
std::string_view run(std::string_view text, std::size_t at) {
  std::size_t end = at;
  while (end < text.size() && text[end] != '?') {
    const unicode::CodePoint c = unicode::decode(text, end);
    if (unicode::isWhitespace(c.value)) break;
    end += c.length;
  }
  return text.substr(at, end - at);
}

// Behind the white space at `at` when another word may begin there; else `at`.
std::size_t skipSpaceBetweenWords(std::string_view text, std::size_t at) {
  std::size_t end = at;
  while (end < text.size()) {
    const unicode::CodePoint c = unicode::decode(text, end);
    if (!unicode::isWhitespace(c.value)) break;
    end += c.length;
  }
  return text.substr(end).starts_with("=?") ? end : at;
}

// The word that begins with the "=?" at `begin`; one whose end is 0 when none does.
EncodedWord wordAt(std::string_view text, std::size_t begin) {
  EncodedWord word;
  word.charset = run(text, begin + 2);
  const std::size_t encoding = begin + 2 + word.charset.size() + 1;
  if (word.charset.empty() || encoding + 1 >= text.size() || text[encoding - 1] != '?') return {};
  word.encoding = text[encoding];
  if (std::string_view("bBqQ").find(word.encoding) == none || text[encoding + 1] != '?') return {};
  word.text = run(text, encoding + 2);
  const std::size_t end = encoding + 2 + word.text.size();
  if (!text.substr(end).starts_with("?=")) return {};
  word.end = skipSpaceBetweenWords(text, end + 2);
  return word;
}

// Adjacent words of one charset are one text: senders cut characters in two. When that is none, because one of them was
// cut short or miswritten, each stands for itself.
class Words {
 public:
  void add(const EncodedWord& word) {
    const std::string_view charset = word.charset.substr(0, word.charset.find('*'));  // a language may follow
    if (!text::equalIgnoringCase(charset, charset_)) flush();
    charset_ = charset;
    bytes_ += word.bytes();
    ends_.push_back(bytes_.size());
  }

  void addPlain(std::string_view text) {
    if (text.empty()) return;
    flush();
    text_ += text;
  }

  std::string take() {
    flush();
    return std::move(text_);
  }

 private:
  void flush() {
    if (ends_.empty()) return;
    if (const auto joined = charset::strictText(bytes_, charset_))
      text_ += *joined;
    else
      addOneByOne();
    bytes_.clear();
    ends_.clear();
  }

  void addOneByOne() {
    std::size_t begin = 0;
    for (const std::size_t end : ends_) {
      text_ += charset::text(std::string_view(bytes_).substr(begin, end - begin), charset_);
      begin = end;
    }
  }

  std::string text_;
  std::string bytes_;              // of the words that are not in the text yet
  std::vector<std::size_t> ends_;  // of each of them, in the bytes
  std::string_view charset_;
};

std::string decodeWordsOfText(std::string_view header) {
  Words words;
  std::size_t position = 0;
  for (std::size_t at = header.find("=?"); at != none;) {
    const EncodedWord word = wordAt(header, at);
    if (word.end > 0) {
      words.addPlain(header.substr(position, at - position));
      words.add(word);
      position = word.end;
    }
    at = header.find("=?", std::max(at + 1, position));
  }
  words.addPlain(header.substr(position));
  return words.take();
}

}  // namespace

std::size_t endOfEncodedWord(std::string_view text, std::size_t begin) {
  const std::size_t end = text.substr(begin).starts_with("=?") ? wordAt(text, begin).end : 0;
  return end > 0 ? end : none;
}

std::string MIME::decodeWords(std::string_view header) {
  if (!text::isValidUtf8(header)) return decodeWordsOfText(charset::text(header, {}));
  return header.find("=?") == none ? std::string(header) : decodeWordsOfText(header);
}

}  // namespace vesk
