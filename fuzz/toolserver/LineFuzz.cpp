#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdlib.h>
#include <string>
#include <string_view>
#include <utility>

#include "core/base/Json.h"
#include "core/base/Text.h"
#include "core/toolserver/AIAccess.h"
#include "core/toolserver/MCPServer.h"
#include "core/toolserver/ToolResult.h"

namespace {

namespace fs = std::filesystem;
using vesk::Json;

void require(bool holds) {
  if (!holds) std::abort();
}

// A small vault with the server over it, in a folder that goes with the process.
class ServedVault {
 public:
  ServedVault() {
    std::string pattern = (fs::temp_directory_path() / "vesk-fuzz-XXXXXX").string();
    require(::mkdtemp(pattern.data()) != nullptr);
    folder_ = pattern;
    write("vault/Inbox/Ana.md", "---\ntags: [work]\n---\n# Ana\nCall [[Plan]] #site/web\n");
    write("vault/Projects/Plan.md", "First \xF0\x9F\x98\x80 line\n\n`code` [[Ana|her]] \"quoted\"\n");
    write("vault/AGENTS.md", "Answer in one sentence.\n");
    vesk::AIAccess{.vaultPath = folder_ + "/vault"}.save(folder_ + "/support");
  }
  ~ServedVault() {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
  }
  ServedVault(const ServedVault&) = delete;
  ServedVault& operator=(const ServedVault&) = delete;

  vesk::MCPServer server() const { return vesk::MCPServer(folder_ + "/support"); }

 private:
  void write(const char* path, std::string_view text) const {
    const fs::path file = fs::path(folder_) / path;
    fs::create_directories(file.parent_path());
    std::ofstream(file) << text;
  }

  std::string folder_;
};

// An answer is one line of JSON-RPC with a result or an error; a tool's text is one that clients accept.
void checkAnswer(std::string_view line) {
  require(line.find('\n') == std::string_view::npos);
  const Json answer = Json::parse(line);
  require(answer.find("jsonrpc") && answer.find("id"));
  const Json* result = answer.find("result");
  require((result != nullptr) != (answer.find("error") != nullptr));
  if (!result || !result->find("content")) return;
  const Json* text = result->find("content")->array()->at(0).find("text");
  require(vesk::text::unitCount(*text->string()) <= vesk::toolResult::maximumUnits);
}

std::string callOf(std::string_view tool, std::string_view argument, std::string_view text) {
  Json call;
  call["id"] = 1;
  call["method"] = "tools/call";
  call["params"]["name"] = tool;
  call["params"]["arguments"][argument] = text;
  return call.compact();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const ServedVault vault;
  static const vesk::MCPServer server = vault.server();
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  if (const auto answer = server.handle(text)) checkAnswer(*answer);
  // Each input as one argument too; a call reads the whole vault, so one is enough.
  constexpr std::array<std::pair<std::string_view, std::string_view>, 4> arguments = {
      {{"search_notes", "query"}, {"read_note", "note"}, {"list_notes", "folder"}, {"list_notes", "tag"}}};
  const auto& [tool, argument] = arguments[size % arguments.size()];
  checkAnswer(server.handle(callOf(tool, argument, text)).value());
  return 0;
}
