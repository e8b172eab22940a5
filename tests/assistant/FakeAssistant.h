#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "core/base/Text.h"
#include "core/platform/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk::test {

// A home whose programs are shell scripts. Each notes what it was given before it does what its script says.
class FakeAssistant {
 public:
  void install(std::string_view command, std::string_view script) const {
    const std::string file = fmt::format("home/.local/bin/{}", command);
    folder_.write(file, fmt::format("#!/bin/sh\n"
                                    "printf '%s\\0' \"$@\" '' >>\"$HOME/arguments\"\n"
                                    "env -0 >\"$HOME/environment\"; pwd >\"$HOME/folder\"\n{}\n",
                                    script));
    std::filesystem::permissions(folder_.at(file), std::filesystem::perms::owner_all);
  }

  const TemporaryFolder& folder() const { return folder_; }
  std::string home() const { return folder_.at("home"); }
  ProcessEnvironment environment() const { return {{"HOME", home()}, {"PATH", "/usr/bin:/bin"}}; }

  // The words of all calls, one after another, "" behind those of each.
  std::vector<std::string> arguments() const { return words("home/arguments"); }
  std::vector<std::string> variables() const { return words("home/environment"); }

 private:
  std::vector<std::string> words(std::string_view file) const {
    const std::string text = folder_.has(file) ? folder_.read(file) : "";
    const auto pieces = text::split(text, '\0');
    return {pieces.begin(), pieces.end() - 1};
  }

  TemporaryFolder folder_;
};

}  // namespace vesk::test
