#include "app/Arrangement.h"

#include "core/vault/Places.h"

namespace vesk::app {

using Method = Organization::Method;

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

std::vector<std::string> carryOut(const Vault& vault, const OrganizationChange& change) {
  std::vector<std::string> changedMeanwhile = vault.apply(change);
  vault.adopt(change.target, {});  // makes the places that nothing moved to
  return changedMeanwhile;
}

}  // namespace vesk::app
