#include "core/mail/MailBuffer.h"

namespace vesk {

namespace {

constexpr std::size_t keptCapacity = std::size_t{1} << 20;  // of an empty buffer; the room of large mails is given back

}  // namespace

void MailBuffer::append(std::string_view bytes) {
  dropRead();
  bytes_ += bytes;
}

void MailBuffer::reserve(std::size_t size) {
  dropRead();
  bytes_.reserve(begin_ + size);
}

std::optional<std::string_view> MailBuffer::takeLine() {
  for (std::size_t end = bytes_.find('\n', searched_); end != std::string::npos; end = bytes_.find('\n', searched_)) {
    searched_ = end + 1;
    if (end == begin_ || bytes_[end - 1] != '\r') continue;
    const auto line = std::string_view(bytes_).substr(begin_, searched_ - begin_);
    begin_ = searched_;
    return line;
  }
  searched_ = bytes_.size();
  return std::nullopt;
}

std::optional<std::string> MailBuffer::take(std::size_t count) {
  if (size() < count) return std::nullopt;
  std::string piece = bytes_.substr(begin_, count);
  begin_ += count;
  searched_ = begin_;
  return piece;
}

// What was read goes when it is at least half of all, so that every byte is moved up only once on average.
void MailBuffer::dropRead() {
  if (begin_ < size() || begin_ == 0) return;
  bytes_.erase(0, begin_);
  searched_ -= begin_;
  begin_ = 0;
  if (bytes_.empty() && bytes_.capacity() > keptCapacity) std::string().swap(bytes_);
}

}  // namespace vesk
