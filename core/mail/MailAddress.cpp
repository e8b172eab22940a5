#include "core/mail/MailAddress.h"

#include <algorithm>
#include <cstddef>
#include <optional>
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
    if (c == ':' && angle_.empty() && at_ == none) {
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
    if (phrase_.ends_with(' ')) phrase_.pop_back();
    at_ = phrase_.size();
  }

  // Passes over what separates words.
  void skip(std::size_t count) {
    position_ += count;
    if (!phrase_.empty() && phrase_.back() != ' ' && phrase_.back() != '@') phrase_ += ' ';
    if (!name_.empty() && name_.back() != ' ') name_ += ' ';
  }

  // False when the quote is never closed; it stands for itself then.
  bool takeQuoted() {
    const auto end = endOfQuoted(position_);
    if (!end) return false;
    quoteBegin_ = phrase_.size();
    phrase_ += header_.substr(position_, *end + 1 - position_);
    quoteEnd_ = phrase_.size();
    for (std::size_t at = position_ + 1; at < *end; ++at) name_ += header_[header_[at] == '\\' ? ++at : at];
    position_ = *end + 1;
    return true;
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

  // Up to the ">", or, where that is missing, to where the next address begins.
  void takeAngle() {
    const std::size_t behindQuoted = endOfQuotedUser(position_ + 1);
    const std::size_t stop = std::min(header_.find_first_of("<>", behindQuoted), header_.size());
    const bool isClosed = stop < header_.size() && header_[stop] == '>';
    const std::size_t end = isClosed ? stop : std::min(header_.substr(0, stop).find_first_of(",;", behindQuoted), stop);
    std::string_view inside = header_.substr(position_ + 1, end - position_ - 1);
    if (inside.starts_with('@')) inside.remove_prefix(std::min(inside.find(':'), inside.size() - 1) + 1);  // a route
    if (angle_.empty()) angle_ = withoutSpaces(withoutComments(inside));
    position_ = end + (isClosed ? 1 : 0);
  }

  // Behind the quoted string that begins at `begin` and names the user of an address; `begin` where none does.
  std::size_t endOfQuotedUser(std::size_t begin) {
    if (begin == header_.size() || header_[begin] != '"') return begin;
    const std::size_t end = endOfQuoted(begin).value_or(begin);
    return header_.substr(end).starts_with("\"@") && end > begin ? end + 1 : begin;
  }

  // Where the quote that begins there is closed; nullopt when it never is.
  std::optional<std::size_t> endOfQuoted(std::size_t begin) {
    if (!mayCloseQuote_) return std::nullopt;
    for (std::size_t end = begin + 1; end < header_.size(); ++end) {
      if (header_[end] == '"') return end;
      if (header_[end] == '\\') ++end;
    }
    mayCloseQuote_ = false;
    return std::nullopt;
  }

  // An address without "<>" is the word with the last "@"; the others are the name.
  void splitPhrase() {
    if (at_ == 0) return;
    const std::size_t space = phrase_.rfind(' ', at_);
    const std::size_t wordBegin = space == none ? 0 : space + 1;
    const std::size_t begin = quoteEnd_ == at_ ? quoteBegin_ : wordBegin;
    const std::size_t end = std::min(phrase_.find(' ', at_), phrase_.size());
    angle_ = phrase_.substr(begin, end - begin);
    name_ = phrase_.erase(begin, end - begin);
    std::erase(name_, '"');
  }

  void finish() {
    if (angle_.empty() && at_ != none) splitPhrase();
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
    at_ = none;
    quoteBegin_ = quoteEnd_ = none;
  }

  std::string_view header_;
  std::size_t position_ = 0;
  bool mayCloseQuote_ = true;
  bool mayCloseComment_ = true;

  std::string phrase_;             // of the address being read: its words outside of "<>", as written
  std::string name_;               // the same without quotes
  std::string angle_;              // what stands within "<>"
  std::string comment_;            // the last one
  std::size_t at_ = none;          // of the last "@" in the phrase
  std::size_t quoteBegin_ = none;  // of the last quoted string in it
  std::size_t quoteEnd_ = none;
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
