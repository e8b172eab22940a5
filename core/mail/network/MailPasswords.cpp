#include "core/mail/network/MailPasswords.h"

#include <filesystem>
#include <string.h>

#include <fmt/format.h>

#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/mail/network/SecretService.h"
#include "core/platform/FileLock.h"
#include "core/platform/Folder.h"

namespace vesk::mailPasswords {

namespace {

constexpr std::string_view fileName = "passwords";
constexpr std::uint32_t usersAlone = 0600;

// The file's first line. Each other one is an account's id, a tab, and its password.
constexpr std::string_view explanation =
    "# Passwords of Vesk's mail accounts, readable as they are: no secret service was there to keep them. Show this "
    "file to nobody.\n";

std::string folderIn(std::string_view directory) { return joinPath(directory, "mail"); }

bool isOf(std::string_view line, std::string_view accountID) {
  return line.size() > accountID.size() && line.starts_with(accountID) && line[accountID.size()] == '\t';
}

WipedText textOf(const Folder& folder) {
  WipedText text;
  if (!folder.exists(fileName)) return text;
  std::string read = folder.read(fileName);
  text.append(read);
  ::explicit_bzero(read.data(), read.size());
  return text;
}

std::optional<WipedText> findInFile(const std::string& directory, std::string_view accountID) {
  if (!std::filesystem::exists(filePath(directory))) return std::nullopt;
  const WipedText text = textOf(Folder::open(folderIn(directory)));
  for (const std::string_view line : text::split(text.view(), '\n')) {
    if (!isOf(line, accountID)) continue;
    std::optional<WipedText> password(std::in_place);
    password->append(line.substr(accountID.size() + 1));
    return password;
  }
  return std::nullopt;
}

void write(const std::string& directory, const Folder& folder, std::string_view text) {
  if (text == explanation) return folder.removeFile(fileName);
  if (folder.createFile(fileName, text, usersAlone)) return;
  // Whatever somebody made of it: what is written keeps the mode.
  std::filesystem::permissions(filePath(directory), std::filesystem::perms(usersAlone));
  folder.replaceFile(fileName, text);
}

// Puts a password in the place of the account's line, or nothing. Whether there was one.
bool replaceInFile(const std::string& directory, std::string_view accountID, std::optional<std::string_view> password) {
  const std::string path = folderIn(directory);
  const FileLock lock(path);
  const Folder folder = Folder::open(path);
  const WipedText before = textOf(folder);
  WipedText after;
  after.append(explanation);
  bool wasThere = false;
  for (const std::string_view line : text::split(before.view(), '\n')) {
    const bool isMeant = isOf(line, accountID);
    wasThere = wasThere || isMeant;
    if (isMeant || line.empty() || line.starts_with('#')) continue;
    after.append(line);
    after.append("\n");
  }
  if (!wasThere && !password) return false;
  if (password)
    for (const std::string_view piece : {accountID, std::string_view("\t"), *password, std::string_view("\n")})
      after.append(piece);
  write(directory, folder, after.view());
  return wasThere;
}

bool isOneLine(std::string_view text) { return text.find_first_of(std::string_view("\0\r\n", 3)) == text.npos; }

}  // namespace

std::string filePath(std::string_view directory) { return joinPath(folderIn(directory), fileName); }

Place save(const std::string& directory, const MailAccount& account, std::string_view password) {
  if (password.empty() || !isOneLine(password) || !isOneLine(account.id))
    throw Error("A password is one line of text.");
  makePrivateFolder(directory);
  makePrivateFolder(folderIn(directory));
  if (secretService::store(account.id, fmt::format("Vesk: mail of {}", account.address), password)) {
    replaceInFile(directory, account.id, {});
    return Place::secretService;
  }
  replaceInFile(directory, account.id, password);
  return Place::file;
}

// The file first: it holds one only where the secret service has none, or an old one.
std::optional<WipedText> find(const std::string& directory, const std::string& accountID) {
  auto password = findInFile(directory, accountID);
  return password ? std::move(password) : secretService::find(accountID);
}

bool remove(const std::string& directory, const std::string& accountID) {
  const bool wasInFile =
      std::filesystem::exists(filePath(directory)) && replaceInFile(directory, accountID, std::nullopt);
  return secretService::remove(accountID) || wasInFile;
}

}  // namespace vesk::mailPasswords
