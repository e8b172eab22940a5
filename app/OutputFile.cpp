#include "app/OutputFile.h"

#include <cerrno>
#include <filesystem>

#include <fmt/format.h>

#include "core/base/Error.h"
#include "core/platform/FileError.h"
#include "core/platform/Folder.h"

namespace vesk::app {

void writeOutputFile(const std::string& path, std::string_view text) {
  namespace fs = std::filesystem;
  if (path.empty()) throw Error("Name the file to write.");
  if (fs::is_directory(path)) throw FileError("write", path, EISDIR);
  if (fs::exists(path) && !fs::is_regular_file(path))
    throw Error(fmt::format("{} is no file. Write - to have it in the output.", path));
  const fs::path absolute = fs::absolute(path);
  const Folder folder = Folder::open(absolute.parent_path());
  const std::string name = absolute.filename();
  if (!folder.createFile(name, text)) folder.replaceFile(name, text);
}

}  // namespace vesk::app
