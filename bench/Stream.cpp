#include "bench/Stream.h"

#include <cerrno>
#include <fstream>
#include <iterator>
#include <stdlib.h>
#include <string_view>

#include <fmt/format.h>

#include "bench/generator/Random.h"
#include "core/assistant/AssistantRunner.h"
#include "core/base/Error.h"
#include "core/platform/FileError.h"

namespace vesk::bench {

namespace {

namespace fs = std::filesystem;

// A home whose `claude` prints the file; gone with the object.
class HomeOfCat {
 public:
  explicit HomeOfCat(const fs::path& file) {
    if (!::mkdtemp(path_.data())) throw FileError("make", path_, errno);
    const fs::path programs = fs::path(path_) / ".local/bin";
    fs::create_directories(programs);
    std::ofstream(programs / "claude") << fmt::format("#!/bin/sh\nexec cat '{}'\n", fs::absolute(file).native());
    fs::permissions(programs / "claude", fs::perms::owner_all);
  }
  ~HomeOfCat() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  HomeOfCat(const HomeOfCat&) = delete;
  HomeOfCat& operator=(const HomeOfCat&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_ = fs::temp_directory_path() / "vesk-bench-XXXXXX";
};

}  // namespace

std::string streamText(std::size_t lines) {
  static constexpr std::string_view words[] = {"The ",        "garden ", "plan",     " is ready, ", "see [[Plan]]. ",
                                               "für ",        "ação, ",  "\\n\\n",   "- ",          "資料",
                                               " \\\"so\\\"", "and ",    "next week"};
  Random random(lines);
  std::string text;
  for (std::size_t line = 0; line < lines; ++line) {
    std::string piece(random.pick(words));
    while (random.percent(50)) piece += random.pick(words);
    fmt::format_to(std::back_inserter(text),
                   R"({{"type":"stream_event","event":{{"index":0,"delta":{{"type":"text_delta","text":"{}"}},)"
                   R"("type":"content_block_delta"}},"session_id":"9dfd2566-cb45-4e79-a6ce-1a0e668fba78",)"
                   R"("parent_tool_use_id":null,"uuid":"{:08x}-cb45-4e79-a6ce-{:012x}","api_message_id":"msg_1"}})"
                   "\n",
                   piece, random.next() & 0xFFFFFFFF, random.next() & 0xFFFFFFFFFFFF);
  }
  return text;
}

std::size_t relay(const fs::path& file) {
  const HomeOfCat home(file);
  ProcessEnvironment environment = ownEnvironment();
  environment["HOME"] = home.path();
  auto stream = AssistantRunner::stream({.prompt = "?", .workspace = home.path() + "/work"}, environment);
  std::size_t bytes = 0;
  while (const auto event = stream.next()) {
    if (event->kind == AssistantEvent::Kind::failure) throw Error(event->text);
    bytes += event->text.size();
  }
  return bytes;
}

}  // namespace vesk::bench
