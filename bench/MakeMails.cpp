// Makes folders of messages to measure with: make-mails FOLDER COUNT. FOLDER/many gets that many of all kinds,
// FOLDER/large one of 50 MB. The same count makes the same bytes everywhere.

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <string_view>
#include <unistd.h>

#include <fmt/format.h>

#include "bench/generator/MailText.h"
#include "core/platform/Fd.h"
#include "core/platform/FileError.h"

namespace vesk::bench {

namespace {

namespace fs = std::filesystem;

void writeFile(const fs::path& path, std::string_view content) {
  const Fd file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
  if (!file) throw FileError("make", path.native(), errno);
  if (::write(file.get(), content.data(), content.size()) != static_cast<ssize_t>(content.size()))
    throw FileError("write", path.native(), errno);
}

void makeMails(const fs::path& folder, std::size_t count) {
  constexpr std::size_t large = 50'000'000;
  fs::create_directories(folder / "many");
  fs::create_directories(folder / "large");
  for (std::size_t i = 1; i <= count; ++i) writeFile(folder / "many" / fmt::format("{:06}.eml", i), mailText(i));
  writeFile(folder / "large" / "50MB.eml", largeMailText(large));
}

}  // namespace

}  // namespace vesk::bench

int main(int argc, char** argv) {
  if (argc != 3) {
    fmt::print(stderr, "Usage: make-mails FOLDER COUNT\n");
    return 2;
  }
  try {
    vesk::bench::makeMails(argv[1], std::stoul(argv[2]));
    return 0;
  } catch (const std::exception& error) {
    fmt::print(stderr, "make-mails: {}\n", error.what());
    return 1;
  }
}
