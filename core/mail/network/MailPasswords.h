#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/mail/MailTypes.h"
#include "core/mail/WipedText.h"

// The passwords of the mail accounts: in the desktop's secret service, or where there is none, as on a server, in a
// file "mail/passwords" that only the user can read. No error tells anything of them.
namespace vesk::mailPasswords {

enum class Place { secretService, file };

// `directory` is the support directory in all of these.
std::string filePath(std::string_view directory);

// Keeps an account's password in place of the one that is there. Throws Error for one that no line of a file can hold,
// and FileError.
Place save(const std::string& directory, const MailAccount& account, std::string_view password);

// Nullopt when none is kept.
std::optional<WipedText> find(const std::string& directory, const std::string& accountID);

// False when none was kept, or the secret service didn't answer.
bool remove(const std::string& directory, const std::string& accountID);

}  // namespace vesk::mailPasswords
