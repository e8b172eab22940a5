#pragma once

#include <string>
#include <string_view>

#include "core/base/Error.h"

namespace vesk {

// A system error with the path it is about: "Can't read Projects/Plan.md: Permission denied."
class FileError : public Error {
 public:
  // `action` completes "Can't …" ("read", "move"); `code` is an errno value.
  FileError(std::string_view action, std::string_view path, int code);

  int code() const noexcept { return code_; }
  bool isMissing() const noexcept;  // nothing is there (ENOENT, or a file where a folder is needed)

 private:
  int code_;
};

// A path that led out of the folder it was given to, through ".." or a symbolic link (EXDEV).
class OutsideFolderError : public FileError {
 public:
  using FileError::FileError;
};

}  // namespace vesk
