#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/base/Json.h"
#include "core/platform/FileLock.h"

// The small JSON files that Vesk's programs share in the support directory. They are the user's alone: the directory
// has mode 0700 and the files 0600.
namespace vesk::supportFile {

// Keeps other reviews and undos out as long as it is held; the directory's own lock stays free for what they write.
FileLock lockReviews(const std::string& directory);

// Nullopt when the file is missing, unreadable, no regular file, over 64 MiB, or no JSON. Never blocks.
std::optional<Json> read(const std::string& directory, std::string_view name);

// What a writer starts from: the file's JSON, or null. A file that is there and can't be read as JSON is kept aside
// under a name with the day and time ("ai-access.unreadable-20261121T101929Z.json"), as it will be written anew.
Json readToRewrite(const std::string& directory, std::string_view name);

// Renames a file that can't be used, to a name as above.
void keepAside(const std::string& directory, std::string_view name);

// What read() takes for JSON, as it stands.
std::optional<std::string> readText(const std::string& directory, std::string_view name);

// Writes the whole file atomically, pretty-printed; the directory is made when it is missing. Throws Error
// for more than read() takes.
void write(const std::string& directory, std::string_view name, const Json& json);
void writeText(const std::string& directory, std::string_view name, std::string_view text);

}  // namespace vesk::supportFile
