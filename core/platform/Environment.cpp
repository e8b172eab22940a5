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

Language language() {
  // As the C library picks the language of messages.
  for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"})
    if (const auto locale = value(variable)) return languageNamed(*locale).value_or(Language::english);
  return Language::english;
}

}  // namespace vesk::environment
