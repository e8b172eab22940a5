#include "core/mail/MailFolderRole.h"

#include <algorithm>
#include <array>
#include <utility>

#include "core/base/Text.h"
#include "core/platform/Folder.h"

namespace vesk {

namespace {

using Role = MailFolderRole;

constexpr std::array<std::pair<Role, std::string_view>, 7> names = {{{Role::inbox, "inbox"},
                                                                     {Role::sent, "sent"},
                                                                     {Role::drafts, "drafts"},
                                                                     {Role::archive, "archive"},
                                                                     {Role::trash, "trash"},
                                                                     {Role::spam, "spam"},
                                                                     {Role::other, "other"}}};

constexpr std::array<std::pair<std::string_view, Role>, 6> specialUses = {{{"\\sent", Role::sent},
                                                                           {"\\drafts", Role::drafts},
                                                                           {"\\trash", Role::trash},
                                                                           {"\\junk", Role::spam},
                                                                           {"\\archive", Role::archive},
                                                                           {"\\all", Role::archive}}};

using Word = std::pair<std::string_view, Role>;
constexpr Word words[] = {{"sent", Role::sent},
                          {"sent items", Role::sent},
                          {"sent messages", Role::sent},
                          {"enviados", Role::sent},
                          {"enviadas", Role::sent},
                          {"itens enviados", Role::sent},
                          {"drafts", Role::drafts},
                          {"rascunhos", Role::drafts},
                          {"borradores", Role::drafts},
                          {"trash", Role::trash},
                          {"deleted", Role::trash},
                          {"deleted items", Role::trash},
                          {"deleted messages", Role::trash},
                          {"lixeira", Role::trash},
                          {"lixo", Role::trash},
                          {"papelera", Role::trash},
                          {"spam", Role::spam},
                          {"junk", Role::spam},
                          {"junk e-mail", Role::spam},
                          {"bulk mail", Role::spam},
                          {"lixo eletrônico", Role::spam},
                          {"archive", Role::archive},
                          {"archives", Role::archive},
                          {"arquivo", Role::archive},
                          {"arquivados", Role::archive},
                          {"archivo", Role::archive}};

}  // namespace

std::string_view name(MailFolderRole role) {
  return std::find_if(names.begin(), names.end(), [&](const auto& entry) { return entry.first == role; })->second;
}

std::optional<MailFolderRole> mailFolderRoleNamed(std::string_view name) {
  for (const auto& [role, word] : names)
    if (word == name) return role;
  return std::nullopt;
}

MailFolderRole mailFolderRole(std::span<const std::string> flags, std::string_view path) {
  const std::string lowered = text::key(path);
  if (lowered == "inbox") return Role::inbox;
  for (const auto& [use, role] : specialUses)
    for (const std::string& flag : flags)
      if (text::equalIgnoringCase(flag, use)) return role;
  for (const auto& [word, role] : words)
    if (lastComponent(lowered) == word) return role;
  return Role::other;
}

}  // namespace vesk
