#pragma once

#include <optional>
#include <string>
#include <string_view>

// The one-time codes that services send to be typed in.
namespace vesk::MailCode {

// The first code of a mail: in its subject, else in its text. A code is a number of four to eight digits that is not
// part of a longer number, a decimal, a time or a path: (?<![\d.,/:-])\d{4,8}(?![\d.,/:]*\d). Digits that are spaced
// for reading ("482 913", "4 8 2 9 1 3") are taken for one number.
std::optional<std::string> find(std::string_view subject, std::string_view text);

}  // namespace vesk::MailCode
