#include "app/Arrangement.h"

#include <algorithm>
#include <utility>

#include "core/base/Text.h"
#include "core/platform/Folder.h"

namespace vesk::app {

using Method = Organization::Method;

namespace {

std::vector<std::string> topLevelFolders(const Vault& vault) {
  std::vector<std::string> names;
  for (FolderEntry& entry : Folder::open(vault.root()).entries())
    if (entry.kind == FileKind::folder) names.push_back(std::move(entry.name));
  std::sort(names.begin(), names.end(),
            [](const std::string& a, const std::string& b) { return text::compareNames(a, b) < 0; });
  return names;
}

}  // namespace

std::vector<std::string> methodNames() {
  std::vector<std::string> names;
  for (const Method method : {Method::vesk, Method::para, Method::ideas, Method::custom})
    names.emplace_back(name(method));
  return names;
}

Organization organizationFor(const Vault& vault, Method method, Language language) {
  return method == Method::custom ? Organization::custom(topLevelFolders(vault))
                                  : Organization::starting(method, language);
}

}  // namespace vesk::app
