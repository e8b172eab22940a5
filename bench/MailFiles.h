#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace vesk::bench {

// What was found in the messages of a folder, by whatever program: two that agree have done the same.
struct MailTotals {
  std::size_t messages = 0;
  std::size_t bytes = 0;
  std::size_t addresses = 0;
  std::size_t dates = 0;
  std::size_t texts = 0;  // bytes of UTF-8, without carriage returns
  std::size_t attachments = 0;
  std::size_t attachmentBytes = 0;
};

// Gives every file of a folder to `parse`, which adds what it finds, one after the other. Prints the totals, and the
// time from the first to the last. Throws FileError for what can't be read.
void measureMails(const std::string& folder, const std::function<void(std::string_view, MailTotals&)>& parse);

}  // namespace vesk::bench
