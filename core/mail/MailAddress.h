#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vesk {

// A person or a list, as a mail names them.
struct MailAddress {
  std::string name = {};     // "" when only the address is given
  std::string address = {};  // "ana@example.org"
  bool operator==(const MailAddress&) const = default;

  // The addresses of a header, decoded or not (RFC 5322, 3.4, and its obsolete forms). Groups give their members;
  // comments are left out, but for a name where there is no other ("ana@example.org (Ana)"). What has no "@"
  // is passed over, but in "<>", where local mail has the names of users. Takes time linear in the header.
  static std::vector<MailAddress> list(std::string_view header);
};

}  // namespace vesk
