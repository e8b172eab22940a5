#include "core/sync/RemoteAddress.h"

#include <algorithm>

#include "core/base/Text.h"

namespace vesk::remoteAddress {

namespace {

bool has(std::string_view text, std::string_view part) { return text.find(part) != std::string_view::npos; }

bool isControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

// Takes the beginning off an address; false when it begins otherwise.
bool skip(std::string_view& address, std::string_view beginning) {
  if (!address.starts_with(beginning)) return false;
  address.remove_prefix(beginning.size());
  return true;
}

// "host:path"
bool isSafeShortSsh(std::string_view rest) {
  return !has(rest, " ") && !rest.starts_with('-') && !has(rest, "@-") && !has(rest, ":-") && !has(rest, "[-");
}

// "user@host:port/path". Git decodes "%2D" to "-" before it starts ssh.
bool isSafeSsh(std::string_view rest) {
  const std::string_view authority = rest.substr(0, rest.find('/'));
  const std::size_t at = authority.rfind('@');
  const bool hasPassword = at != std::string_view::npos && has(authority.substr(0, at), ":");
  return isSafeShortSsh(authority) && !has(rest, " ") && !has(authority, "%") && !hasPassword;
}

// What stands between "//" and "@" is a name, a password or a token, unless it is a path.
bool isSecret(std::string_view beforeAt) { return beforeAt != "git" && (!has(beforeAt, "/") || has(beforeAt, ":")); }

std::string wordWithoutCredentials(std::string_view word) {
  const std::size_t slashes = word.find("//");
  const std::size_t at = word.rfind('@');
  const std::size_t user = slashes + 2;
  const bool hasUser = slashes != std::string_view::npos && at != std::string_view::npos && user <= at;
  std::string shown(word);
  if (hasUser && isSecret(word.substr(user, at - user)))
    shown = std::string(word.substr(0, user)).append("…").append(word.substr(at));
  // A token may also stand behind the path.
  const std::size_t question = slashes == std::string_view::npos ? slashes : shown.find('?', slashes);
  return question == std::string::npos ? shown : shown.substr(0, question + 1) + "…";
}

}  // namespace

bool isSafe(std::string_view address) {
  address = text::trimSpaces(address);
  if (std::any_of(address.begin(), address.end(), isControl)) return false;
  if (address.starts_with('/')) return true;
  if (skip(address, "git@")) return isSafeShortSsh(address);
  if (skip(address, "ssh://")) return isSafeSsh(address);
  if (skip(address, "https://")) return !has(address, "@") && !has(address, " ") && !address.starts_with('-');
  return skip(address, "file://") && !address.starts_with('-');
}

// By words, as a password may hold anything but white space.
std::string withoutCredentials(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find_first_of(" \t\r\n"), text.size());
    result += wordWithoutCredentials(text.substr(0, end));
    if (end < text.size()) result += text[end];
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return result;
}

}  // namespace vesk::remoteAddress
