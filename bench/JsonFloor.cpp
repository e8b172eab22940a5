// What the JSON library itself takes for a file, without anything that Vesk does:
//
//   json-floor parse FILE      reads the text into the library's own values
//   json-floor rewrite FILE    and makes a text of them again
//
// Prints the bytes of the file and the milliseconds it took, without those of reading it from the disk.

#include <chrono>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "core/base/Error.h"

namespace vesk::bench {

namespace {

std::string textOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw Error(fmt::format("{} can't be read.", path));
  return {std::istreambuf_iterator<char>(file), {}};
}

// `verb` is known to be "parse" or "rewrite".
void run(std::string_view verb, const std::string& path) {
  const std::string text = textOf(path);
  const auto start = std::chrono::steady_clock::now();
  const auto json = nlohmann::json::parse(text);
  const std::string written = verb == "rewrite" ? json.dump(2) : "";
  const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
  fmt::print("{} bytes, {:.3f} ms\n", text.size(), took.count());
}

}  // namespace

}  // namespace vesk::bench

int main(int argc, char** argv) {
  const std::string_view verb = argc == 3 ? argv[1] : "";
  if (verb != "parse" && verb != "rewrite") {
    fmt::print(stderr, "Usage: json-floor parse FILE\n       json-floor rewrite FILE\n");
    return 2;
  }
  try {
    vesk::bench::run(verb, argv[2]);
    return 0;
  } catch (const std::exception& error) {
    fmt::print(stderr, "json-floor: {}\n", error.what());
    return 1;
  }
}
