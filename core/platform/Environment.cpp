#include "core/platform/Environment.h"

#include <cstdlib>
#include <pwd.h>
#include <unistd.h>

namespace vesk::environment {

std::optional<std::string> value(const char* name) {
  const char* text = std::getenv(name);
  if (!text || !*text) return std::nullopt;
  return text;
}

std::string home() {
  if (auto folder = value("HOME")) return *folder;
  const passwd* user = ::getpwuid(::getuid());
  return user && user->pw_dir ? user->pw_dir : "/";
}

std::string dataHome() {
  const auto folder = value("XDG_DATA_HOME");
  return folder && folder->front() == '/' ? *folder : home() + "/.local/share";
}

std::string supportDirectory() {
  if (auto folder = value("VESK_SUPPORT_DIR")) return *folder;
  return dataHome() + "/Vesk";
}

}  // namespace vesk::environment
