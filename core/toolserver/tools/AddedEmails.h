#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/base/Json.h"
#include "core/vault/Vault.h"

namespace vesk {

// An email that was put into a vault as a note.
struct AddedEmail {
  std::string id = {};         // the email's own
  std::string day = {};        // when it was added, "YYYY-MM-DD"
  std::string note = {};       // the path that its note was made with
  std::string vaultPath = {};  // the vault, absolute
  bool isPending = false;      // its note is only about to be made
  bool operator==(const AddedEmail&) const = default;
};

// The email as an object whose keys are the names of the fields, and back; nullopt when the JSON is none.
Json toJson(const AddedEmail& email);
std::optional<AddedEmail> addedEmailFrom(const Json& json);

// "added-emails.jsonl" in the support directory: the emails that were added, one a line as JSON. It only ever grows;
// who reads it to add to it holds the directory's lock meanwhile.
class AddedEmails {
 public:
  static constexpr std::string_view fileName = "added-emails.jsonl";

  // `directory` is the support directory.
  explicit AddedEmails(std::string directory) : directory_(std::move(directory)) {}

  // What the last line about an email of that id in that vault says: a line with another path counts where that leads
  // to the same folder, or where its note is there (the vault was moved). Lines that are none are passed over.
  // FileError when the file can't be read.
  std::optional<AddedEmail> find(std::string_view id, const Vault& vault) const;

  // Adds a line, which is on disk when this returns. FileError.
  void append(const AddedEmail& email) const;

 private:
  std::string directory_;
};

}  // namespace vesk
