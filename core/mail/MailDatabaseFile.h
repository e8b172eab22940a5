#pragma once

#include <optional>
#include <string>

// The file "mail/mail.sqlite" in a directory.
namespace vesk::mailDatabaseFile {

// The statements that make its tables where they are missing.
extern const char* const schema;

// The absolute path of the database, made with the folders it lies in when it is missing. What is made is the user's
// alone. Never makes one in place of a damaged one: an empty file, or a log without its database, throws MailError.
// Throws FileError when it can't be made.
std::string make(const std::string& directory);

// Makes nothing. Nullopt when there is none; as above when it is empty.
std::optional<std::string> find(const std::string& directory);

}  // namespace vesk::mailDatabaseFile
