#pragma once

#include <string>
#include <string_view>

// A file of lines that several processes add to at once and that only ever grows, such as a log. Paths are absolute.
namespace vesk::lineFile {

enum class Durability {
  none,
  disk,  // survives a power cut once append() has returned
};

// Adds a line, and its "\n", with a single write at the file's end. A last line that was never ended is ended first.
// The file is made when it is missing, for its user alone. FileError; then nothing was added.
void append(const std::string& path, std::string_view line, Durability durability);

// Throws the FileError that append() would when it can't open the file.
void requireWritable(const std::string& path);

}  // namespace vesk::lineFile
