#pragma once

#include <string>
#include <string_view>

namespace vesk::app {

// Writes a file that the user named for a command's output, whole and in one step, over one that is there. Throws Error
// for what is no file, such as a pipe.
void writeOutputFile(const std::string& path, std::string_view text);

}  // namespace vesk::app
