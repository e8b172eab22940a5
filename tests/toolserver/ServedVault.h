#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "core/toolserver/AIAccess.h"
#include "core/toolserver/MCPServer.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk::test {

inline std::string repeated(std::string_view text, std::size_t count) {
  std::string result;
  for (std::size_t i = 0; i < count; ++i) result += text;
  return result;
}

// A vault of a test's own, and the server over it.
class ServedVault {
 public:
  ServedVault() { allow({}); }

  // Sets the user's switches, with this vault as the open one.
  void allow(AIAccess access) const {
    access.vaultPath = folder.path();
    access.save(folder.supportDirectory());
  }

  // Switches everything on.
  void allowAll(ApprovalLevel level) const {
    AIAccess access{.approval = level};
    for (const AccessSwitch& each : accessSwitches()) access.*each.value = true;
    allow(access);
  }

  std::optional<std::string> handle(std::string_view line) const { return server.handle(line); }

  // A note with its date (seconds since 1970).
  void note(std::string_view path, std::string_view text, long modified) const {
    folder.write(path, text);
    folder.setModified(path, modified);
  }

  // What the assistant reads of a call that succeeds: the text, and the JSON that it holds.
  std::string text(std::string_view tool, std::string_view arguments = "{}") const {
    return textOf(tool, arguments, false);
  }
  Json json(std::string_view tool, std::string_view arguments = "{}") const {
    return Json::parse(text(tool, arguments));
  }

  // The sentence of a call that fails.
  std::string failure(std::string_view tool, std::string_view arguments = "{}") const {
    return textOf(tool, arguments, true);
  }

  TemporaryFolder folder;
  MCPServer server{folder.supportDirectory()};

 private:
  std::string textOf(std::string_view tool, std::string_view arguments, bool isFailure) const {
    const Json answer = Json::parse(*handle(fmt::format(
        R"({{"id":1,"method":"tools/call","params":{{"name":{},"arguments":{}}}}})", Json(tool).compact(), arguments)));
    const Json& result = *answer.find("result");
    const Json& item = result.find("content")->array()->at(0);
    EXPECT_EQ(item.find("type")->compact(), R"("text")");
    EXPECT_EQ(result.find("isError") != nullptr, isFailure) << item.compact();
    return *item.find("text")->string();
  }
};

}  // namespace vesk::test
