#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vesk {

// A Message-ID that no other mail has, "<…@example.org>", of a mail from this address.
std::string newMessageID(std::string_view address);

// The Message-IDs in the value of a header, "<" and ">" included. What else stands there is passed over, and so are
// those that hold other than printable ASCII or are over 250 bytes long.
std::vector<std::string> messageIDsIn(std::string_view value);

// Of a long thread's the first and the last 20.
std::vector<std::string> shortenedThread(std::vector<std::string> messageIDs);

}  // namespace vesk
