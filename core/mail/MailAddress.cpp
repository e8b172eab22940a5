#include "core/mail/MailAddress.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "core/base/Charset.h"
#include "core/base/Text.h"
#include "core/mail/EncodedWords.h"
#include "core/mail/MIME.h"
#include "core/mail/MailHeader.h"

namespace vesk {

namespace {

constexpr std::size_t none = std::string_view::npos;

// More than any mail program lets a person write to at once; a hostile header of a megabyte holds many times this.
constexpr std::size_t mostAddresses = 10'000;

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::string withoutSpaces(std::string_view text) {
  std::string result;
  std::copy_if(text.begin(), text.end(), std::back_inserter(result), [](char c) { return !isSpace(c); });
  return result;
}

// Where the last word of `phrase` that holds an "@" begins; npos without one. A quoted string is part of its word.
std::size_t addressBegin(std::string_view phrase) {
  const std::size_t at = phrase.rfind('@');
  if (at == none || at == 0) return none;
  const std::size_t open = phrase[at - 1] == '"' && at > 1 ? phrase.rfind('"', at - 2) : none;
  if (open != none) return open;
  const std::size_t space = phrase.rfind(' ', at);
  return space == none ? 0 : space + 1;
}

// Reads the addresses of a header one after the other. Every place is looked at once, or, for the end of what is
// never closed, twice.
class AddressReader {
 public:
  explicit AddressReader(std::string_view header) : header_(header) {}

  std::vector<MailAddress> read() {
    while (position_ < header_.size() && addresses_.size() < mostAddresses) step();
    finish();
    return std::move(addresses_);
  }

 private:
  void step() {
    const char c = header_[position_];
    if (isSpace(c)) return skip(1);
    if (c == '"' && takeQuoted()) return;
    if (c == '(' && takeComment()) return;
    if (c == '=' && takeEncodedWord()) return;
    if (c == '<') return takeAngle();
    if (c == ',' || c == ';') {
      finish();
      return skip(1);
    }
    // The name of a group goes before its members; elsewhere a colon is nothing special.
    if (c == ':' && angle_.empty() && !hasAt_) {
      forget();
      return skip(1);
    }
    if (c == '@') takeAt();
    phrase_ += c;
    name_ += c;
    ++position_;
  }

  // White space and comments may stand around it.
  void takeAt() {
    hasAt_ = true;
    if (phrase_.ends_with(' ')) phrase_.pop_back();
  }

  // Passes over what separates words.
  void skip(std::size_t count) {
    position_ += count;
    if (!phrase_.empty() && phrase_.back() != ' ' && phrase_.back() != '@') phrase_ += ' ';
    if (!name_.empty() && name_.back() != ' ') name_ += ' ';
  }

  // False when the quote is never closed; it stands for itself then.
  bool takeQuoted() {
    if (!mayCloseQuote_) return false;
    std::string text;
    for (std::size_t end = position_ + 1; end < header_.size(); ++end) {
      if (header_[end] == '"') {
        phrase_ += header_.substr(position_, end + 1 - position_);
        name_ += text;
        position_ = end + 1;
        return true;
      }
      if (header_[end] == '\\' && end + 1 < header_.size()) ++end;
      text += header_[end];
    }
    return mayCloseQuote_ = false;
  }

  // Many senders leave characters in it that would mean something outside of it.
  bool takeEncodedWord() {
    const std::size_t end = endOfEncodedWord(header_, position_);
    if (end == none) return false;
    phrase_ += header_.substr(position_, end - position_);
    name_ += header_.substr(position_, end - position_);
    position_ = end;
    return true;
  }

  // The same as for quotes for a comment, which may hold others.
  bool takeComment() {
    if (!mayCloseComment_) return false;
    std::size_t depth = 0;
    std::string text;
    for (std::size_t end = position_; end < header_.size(); ++end) {
      if (header_[end] == '\\' && end + 1 < header_.size()) {
        ++end;
      } else if (header_[end] == '(') {
        if (depth++ == 0) continue;
      } else if (header_[end] == ')' && --depth == 0) {
        comment_ = std::move(text);
        skip(end + 1 - position_);
        return true;
      }
      text += header_[end];
    }
    return mayCloseComment_ = false;
  }

  // Up to the ">", or, without one, to where the next address begins.
  void takeAngle() {
    std::size_t end = mayCloseAngle_ ? header_.find('>', position_) : none;
    mayCloseAngle_ = end != none;
    if (end == none) end = std::min(header_.find_first_of(",;", position_), header_.size());
    std::string_view inside = header_.substr(position_ + 1, end - position_ - 1);
    if (inside.starts_with('@')) inside.remove_prefix(std::min(inside.find(':'), inside.size() - 1) + 1);  // a route
    if (angle_.empty()) angle_ = withoutSpaces(withoutComments(inside));
    position_ = std::min(end + (mayCloseAngle_ ? 1 : 0), header_.size());
  }

  // An address without "<>" is the word with the "@"; the others are the name.
  void splitPhrase() {
    const std::size_t begin = addressBegin(phrase_);
    if (begin == none) return;
    const std::size_t end = std::min(phrase_.find(' ', phrase_.rfind('@')), phrase_.size());
    angle_ = phrase_.substr(begin, end - begin);
    name_ = phrase_.erase(begin, end - begin);
    std::erase(name_, '"');
  }

  void finish() {
    if (angle_.empty() && hasAt_) splitPhrase();
    std::string address = oneLine(std::move(angle_));
    if (!address.empty()) addresses_.push_back({displayName(), std::move(address)});
    forget();
  }

  // Old mail programs, and what sends mail on its own, write the name as a comment.
  std::string displayName() const {
    std::string name = oneLine(MIME::decodeWords(name_));
    return name.empty() ? oneLine(MIME::decodeWords(comment_)) : name;
  }

  void forget() {
    phrase_.clear();
    name_.clear();
    angle_.clear();
    comment_.clear();
    hasAt_ = false;
  }

  std::string_view header_;
  std::size_t position_ = 0;
  bool mayCloseQuote_ = true;
  bool mayCloseComment_ = true;
  bool mayCloseAngle_ = true;

  std::string phrase_;   // of the address being read: its words outside of "<>", as written
  std::string name_;     // the same without quotes
  std::string angle_;    // what stands within "<>"
  std::string comment_;  // the last one
  bool hasAt_ = false;   // in the phrase
  std::vector<MailAddress> addresses_;
};

}  // namespace

std::vector<MailAddress> MailAddress::list(std::string_view header) {
  const std::string text = text::isValidUtf8(header) ? std::string(header) : charset::text(header, {});
  std::vector<MailAddress> addresses = AddressReader(text).read();
  // Some encode the address along with the name.
  if (addresses.empty() && text.find("=?") != none) addresses = AddressReader(MIME::decodeWords(text)).read();
  return addresses;
}

}  // namespace vesk
