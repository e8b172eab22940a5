#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Json.h"
#include "core/base/Language.h"
#include "core/vault/Bucket.h"

namespace vesk {

// How a vault's top-level folders are arranged: a method, and the places it consists of. Kept in
// ".vesk/organization.json".
struct Organization {
  enum class Method { vesk, para, ideas, custom };

  // A top-level folder with its role.
  struct Place {
    Bucket role = Bucket::other;
    std::string folder = {};  // a name in the vault's root
    bool operator==(const Place&) const = default;
  };

  static constexpr std::string_view fileName = "organization.json";

  Method method = Method::para;
  std::vector<Place> places = {};

  // The PARA method with its English folders; also what a vault has that says nothing else.
  static Organization para();

  // The starting organization of a method, its folders named in the user's language. "Inbox" and the PARA names are
  // the same in every language.
  static Organization starting(Method method, Language language);

  // An organization made of the top-level folders a vault already has. Hidden ones are left out, those that carry no
  // PARA name become resources, and an inbox comes first, added when there is none.
  static Organization custom(const std::vector<std::string>& folders);

  // Nullopt unless `json` is a whole organization.
  static std::optional<Organization> from(const Json& json);

  // Writes into the JSON that was in the file, so that keys Vesk does not know are kept.
  void writeTo(Json& json) const;

  // The first place with that role; nullptr when there is none.
  const Place* place(Bucket role) const;

  // The role of a top-level folder: that of the first place of that name, regardless of case; under PARA also the role
  // its name carries.
  std::optional<Bucket> role(std::string_view folder) const;

  // The one of the top-level folders that has a role: the one its place names, else the first. What the place names
  // where there is none; nullopt where the vault has no place for it either.
  std::optional<std::string> folder(Bucket role, const std::vector<std::string>& topLevel) const;

  bool operator==(const Organization&) const = default;
};

// A method's name as written in JSON and typed by the user.
std::string_view name(Organization::Method method);
std::optional<Organization::Method> methodNamed(std::string_view name);

// Switching a vault to another organization: what moves where, and what can't.
struct OrganizationChange {
  // Vault-relative paths of one note or folder.
  struct Move {
    std::string from = {};
    std::string to = {};
    bool operator==(const Move&) const = default;
  };

  Organization target = {};
  std::vector<Move> moves = {};
  std::vector<std::string> collisions = {};  // paths of the items whose destination is taken; they stay
  std::vector<std::string> vacated = {};     // the old place folders, removed when nothing is left in them
  bool operator==(const OrganizationChange&) const = default;
};

}  // namespace vesk
