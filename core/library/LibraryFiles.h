#pragma once

#include <span>
#include <string_view>

namespace vesk {

// A Markdown file of this folder. The build compiles them all in: none is read at run time.
struct LibraryFile {
  std::string_view path = {};  // "guides/en/para.md"
  std::string_view text = {};
};

std::span<const LibraryFile> libraryFiles();

}  // namespace vesk
