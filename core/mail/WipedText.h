#pragma once

#include <string.h>
#include <string>
#include <string_view>

namespace vesk {

// Text that may hold a password: what memory it had is overwritten when it goes.
class WipedText {
 public:
  WipedText() = default;
  WipedText(WipedText&&) = default;
  WipedText& operator=(WipedText&&) = delete;
  ~WipedText() { wipe(text_); }

  void append(std::string_view more) {
    if (text_.capacity() - text_.size() < more.size()) {
      std::string grown;
      grown.reserve(2 * (text_.size() + more.size()));
      grown = text_;
      wipe(text_);  // before it changes places: a short one lies in the object itself
      text_.swap(grown);
    }
    text_ += more;
  }

  std::string_view view() const { return text_; }

 private:
  static void wipe(std::string& text) {
    text.resize(text.capacity());
    ::explicit_bzero(text.data(), text.size());
  }

  std::string text_;
};

}  // namespace vesk
