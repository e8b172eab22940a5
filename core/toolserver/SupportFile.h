#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/base/Json.h"

// The small JSON files that Vesk's programs share in the support directory. They are the user's alone: the directory
// has mode 0700 and the files 0600.
namespace vesk::supportFile {

// Makes the support directory where it is missing.
void makeDirectory(const std::string& directory);

// Nullopt when the file is missing, unreadable, no regular file, over 64 MiB, or no JSON. Never blocks.
std::optional<Json> read(const std::string& directory, std::string_view name);

// What a writer starts from: the file's JSON, or null. A file that is there and can't be read as JSON is kept aside
// under a name with the day and time ("ai-access.unreadable-20261121T101929Z.json"), as it will be written anew.
Json readToRewrite(const std::string& directory, std::string_view name);

// Writes the whole file atomically, pretty-printed; the directory is made when it is missing.
void write(const std::string& directory, std::string_view name, const Json& json);

}  // namespace vesk::supportFile
