#include "core/toolserver/SupportFile.h"

#include <chrono>
#include <cstdint>
#include <filesystem>

#include <fmt/format.h>

#include "core/base/Time.h"
#include "core/platform/FileError.h"
#include "core/platform/Folder.h"

namespace vesk::supportFile {

namespace {

constexpr std::uint64_t maximumSize = std::uint64_t{64} << 20;

// The number-th name, from 1, that a file has aside.
std::string nameAside(std::string_view name, int number) {
  const std::string_view stem = name.substr(0, name.rfind('.'));
  std::string moment = time::iso8601(std::chrono::system_clock::now());
  std::erase_if(moment, [](char c) { return c == '-' || c == ':'; });
  const std::string counted = number == 1 ? std::string() : fmt::format("-{}", number);
  return fmt::format("{}.unreadable-{}{}{}", stem, moment, counted, name.substr(stem.size()));
}

}  // namespace

FileLock lockReviews(const std::string& directory) {
  makePrivateFolder(directory);
  return FileLock::onFile(joinPath(directory, "reviews.lock"));
}

std::optional<std::string> readText(const std::string& directory, std::string_view name) {
  try {
    const Folder folder = Folder::open(directory);
    const auto info = folder.info(name);
    if (!info || info->size > maximumSize) return std::nullopt;
    return folder.read(name);
  } catch (const Error&) {
    return std::nullopt;
  }
}

std::optional<Json> read(const std::string& directory, std::string_view name) {
  const auto text = readText(directory, name);
  try {
    return text ? std::optional(Json::parse(*text)) : std::nullopt;
  } catch (const JsonError&) {
    return std::nullopt;
  }
}

Json readToRewrite(const std::string& directory, std::string_view name) {
  if (auto json = read(directory, name)) return std::move(*json);
  keepAside(directory, name);
  return Json();
}

void keepAside(const std::string& directory, std::string_view name) {
  try {
    const Folder folder = Folder::open(directory);
    int number = 1;
    while (folder.exists(nameAside(name, number))) ++number;
    if (folder.exists(name)) folder.move(name, nameAside(name, number));
  } catch (const FileError& error) {
    if (!error.isMissing()) throw;
  }
}

void write(const std::string& directory, std::string_view name, const Json& json) {
  writeText(directory, name, json.pretty());
}

void writeText(const std::string& directory, std::string_view name, std::string_view text) {
  if (text.size() > maximumSize) throw Error(fmt::format("{} in Vesk's settings is full.", name));
  makePrivateFolder(directory);
  const Folder folder = Folder::open(directory);
  if (!folder.createFile(name, text, 0600)) folder.replaceFile(name, text);
}

}  // namespace vesk::supportFile
