#include "core/toolserver/tools/AddedEmails.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "core/base/Text.h"
#include "core/platform/FileError.h"
#include "core/platform/Folder.h"
#include "core/platform/LineFile.h"
#include "core/vault/VaultError.h"

namespace fs = std::filesystem;

namespace vesk {

namespace {

std::string read(const std::string& directory) {
  try {
    return Folder::open(directory).read(AddedEmails::fileName);
  } catch (const FileError& error) {
    if (error.isMissing()) return {};
    throw;
  }
}

std::optional<AddedEmail> decoded(std::string_view line) {
  try {
    return addedEmailFrom(Json::parse(line));
  } catch (const JsonError&) {
    return std::nullopt;
  }
}

// One folder has many spellings: by links, "..", and slashes too many.
std::string realPath(const std::string& path) {
  std::error_code failure;
  const fs::path real = fs::weakly_canonical(path, failure);
  return failure ? path : real.string();
}

bool holds(const Vault& vault, const std::string& note) {
  try {
    return vault.exists(note);
  } catch (const VaultError&) {
    return false;  // the path means nothing here
  }
}

}  // namespace

Json toJson(const AddedEmail& email) {
  Json json;
  json["id"] = email.id;
  json["day"] = email.day;
  json["note"] = email.note;
  json["vaultPath"] = email.vaultPath;
  if (email.isPending) json["isPending"] = true;
  return json;
}

std::optional<AddedEmail> addedEmailFrom(const Json& json) {
  AddedEmail email;
  for (const auto& [key, value] : {std::pair{"id", &AddedEmail::id},
                                   {"day", &AddedEmail::day},
                                   {"note", &AddedEmail::note},
                                   {"vaultPath", &AddedEmail::vaultPath}}) {
    const Json* text = json.find(key);
    if (!text || !text->string()) return std::nullopt;
    email.*value = *text->string();
  }
  if (const Json* pending = json.find("isPending")) email.isPending = pending->boolean().value_or(false);
  return email;
}

std::optional<AddedEmail> AddedEmails::find(std::string_view id, const Vault& vault) const {
  const std::string writtenID = Json(id).compact();
  const std::string root = realPath(vault.root());
  std::optional<AddedEmail> found;
  const std::string lines = read(directory_);
  for (const std::string_view line : text::split(lines, '\n')) {
    if (line.find(writtenID) == std::string_view::npos) continue;  // most aren't worth decoding
    auto email = decoded(line);
    if (!email || email->id != id) continue;
    if (realPath(email->vaultPath) == root || holds(vault, email->note)) found = std::move(email);
  }
  return found;
}

void AddedEmails::append(const AddedEmail& email) const {
  lineFile::append(joinPath(directory_, fileName), toJson(email).compact(), lineFile::Durability::disk);
}

}  // namespace vesk
