#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace vesk {

// The bytes that came from a server and weren't read yet. Every byte is looked at once, however they were cut.
class MailBuffer {
 public:
  void append(std::string_view bytes);

  // Makes room, so that this many unread bytes are held without being copied again.
  void reserve(std::size_t size);

  // The bytes up to and with the next CRLF, valid until the next append; nullopt when no line is complete.
  std::optional<std::string_view> takeLine();

  // Exactly so many bytes; nullopt when there are fewer.
  std::optional<std::string> take(std::size_t count);

  std::size_t size() const { return bytes_.size() - begin_; }
  bool isEmpty() const { return size() == 0; }

 private:
  void dropRead();

  std::string bytes_;
  std::size_t begin_ = 0;     // of what wasn't read
  std::size_t searched_ = 0;  // no line ends before it
};

}  // namespace vesk
