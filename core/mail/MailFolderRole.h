#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace vesk {

// What a mail folder is for.
enum class MailFolderRole { inbox, sent, drafts, archive, trash, spam, other };

// As it is stored: "inbox".
std::string_view name(MailFolderRole role);
std::optional<MailFolderRole> mailFolderRoleNamed(std::string_view name);

// The role of a server's folder: by its special-use flags (RFC 6154; in any case), else by the last component of its
// path in English, Portuguese or Spanish. Only "/" separates components, whatever the server's delimiter is.
MailFolderRole mailFolderRole(std::span<const std::string> flags, std::string_view path);

}  // namespace vesk
