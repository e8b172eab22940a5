#include "app/ToolServer.h"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "core/base/Ascii.h"
#include "core/platform/Environment.h"

namespace vesk::app {

namespace fs = std::filesystem;

namespace {

bool isPlainInShell(char c) {
  const char lower = ascii::lower(c);
  return (lower >= 'a' && lower <= 'z') || ascii::isDigit(c) || !ascii::isAscii(c) ||
         std::string_view("/._-+=:,@").find(c) != std::string_view::npos;
}

// One word of a shell's command line.
std::string quoted(const std::string& word) {
  if (!word.empty() && std::all_of(word.begin(), word.end(), isPlainInShell)) return word;
  std::string text = "'";
  for (const char c : word) c == '\'' ? text += "'\\''" : text += c;
  return text + "'";
}

// " -e VESK_SUPPORT_DIR=…", or nothing when the tool server finds the directory by itself.
std::string supportOption(std::string_view option) {
  const auto directory = toolServerEntry().supportDirectory;
  return directory ? fmt::format(" {} {}", option, quoted("VESK_SUPPORT_DIR=" + *directory)) : "";
}

}  // namespace

std::string toolServerPath() { return fs::read_symlink("/proc/self/exe").parent_path() / "vesk-mcp"; }

std::string usualSupportDirectory() { return environment::home() + "/.local/share/Vesk"; }

ToolServerEntry toolServerEntry() {
  ToolServerEntry entry{.command = toolServerPath()};
  std::string directory = fs::absolute(environment::supportDirectory()).lexically_normal();
  if (directory != usualSupportDirectory()) entry.supportDirectory = std::move(directory);
  return entry;
}

// The name comes first: what follows "-e" would else be taken for more of its values.
std::string claudeCommand() {
  return fmt::format("claude mcp add --scope user vesk{} -- {}", supportOption("-e"), quoted(toolServerPath()));
}

std::string codexCommand() {
  return fmt::format("codex mcp add vesk{} -- {}", supportOption("--env"), quoted(toolServerPath()));
}

}  // namespace vesk::app
