#pragma once

#include <string_view>
#include <vector>

#include "core/mail/MailAddress.h"

// The addresses that mail is to be sent to. Strict, where a reader of mail takes what it gets.
namespace vesk::recipients {

// "ana@example.org" (RFC 5321, 4.1.2, without quotes and address literals; RFC 6531). Beyond ASCII it has letters,
// their marks and digits alone.
bool isAddress(std::string_view text);

// Whether a name looks like an address, and not like its own. Mail programs show the name alone: nobody would see where
// the mail goes.
bool isAnotherAddress(std::string_view name, std::string_view address);

// A list as it is typed: addresses between commas, each by itself or in "<>" behind a name. Throws Error for what is no
// address.
std::vector<MailAddress> from(std::string_view list);

}  // namespace vesk::recipients
