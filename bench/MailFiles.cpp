#include "bench/MailFiles.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>
#include <vector>

#include <fmt/format.h>
#include <sys/stat.h>

#include "core/platform/Fd.h"
#include "core/platform/FileError.h"

namespace vesk::bench {

namespace {

namespace fs = std::filesystem;

std::vector<std::string> filesOf(const std::string& folder) {
  std::vector<std::string> paths;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) paths.push_back(entry.path());
  std::sort(paths.begin(), paths.end());
  return paths;
}

// Into `buffer`, which keeps its memory from one file to the next.
std::string_view readFile(const std::string& path, std::string& buffer) {
  const Fd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat attributes = {};
  if (!file || ::fstat(file.get(), &attributes) != 0) throw FileError("read", path, errno);
  const auto size = static_cast<std::size_t>(attributes.st_size);
  if (buffer.size() < size) {
    buffer = {};
    buffer.resize(size);
  }
  const ssize_t got = ::read(file.get(), buffer.data(), size);
  if (got != attributes.st_size) throw FileError("read", path, errno);
  return std::string_view(buffer).substr(0, size);
}

}  // namespace

void measureMails(const std::string& folder, const std::function<void(std::string_view, MailTotals&)>& parse) {
  MailTotals totals;
  std::string buffer;
  const std::vector<std::string> paths = filesOf(folder);
  const auto start = std::chrono::steady_clock::now();
  for (const std::string& path : paths) {
    const std::string_view message = readFile(path, buffer);
    ++totals.messages;
    totals.bytes += message.size();
    parse(message, totals);
  }
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
  fmt::print("{} addresses, {} dates, {} bytes of text, {} attachments of {} bytes\n", totals.addresses, totals.dates,
             totals.texts, totals.attachments, totals.attachmentBytes);
  fmt::print("{} messages, {} bytes, {:.3f} ms, {:.1f} MB/s\n", totals.messages, totals.bytes, took.count() * 1e3,
             static_cast<double>(totals.bytes) / 1e6 / took.count());
}

}  // namespace vesk::bench
