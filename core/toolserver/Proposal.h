#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/DiffLine.h"
#include "core/base/Error.h"
#include "core/base/Json.h"
#include "core/base/Time.h"

namespace vesk {

// A change that an assistant asked for and that waits for the user.
struct Proposal {
  std::string id = {};  // a UUID
  Timestamp date = distantPast;
  std::string tool = {};
  std::string arguments = {};                        // as JSON
  std::string title = {};                            // one line for the user: "Rename Plan to Launch plan"
  std::optional<std::string> titleWithoutMail = {};  // see PlannedChange
  std::optional<std::string> notePath = {};          // of the one note that it changes
  std::optional<std::string> destination = {};       // where it moves something
  std::optional<std::string> before = {};            // the note's whole text when it was proposed
  std::optional<std::string> after = {};             // and as the change would leave it
  std::optional<std::string> vaultPath = {};         // the vault it is for, absolute

  // From `before` to `after`, a missing text counting as empty.
  std::vector<DiffLine> diff() const;

  bool operator==(const Proposal&) const = default;
};

// The proposal as an object whose keys are the names of the fields, and back; nullopt when the JSON is no proposal.
Json toJson(const Proposal& proposal);
std::optional<Proposal> proposalFrom(const Json& json);

// Why a proposal that the user approved could not be carried out. It still waits.
class ProposalError : public Error {
 public:
  using Error::Error;
};

// The proposals that wait: "proposals.json" in the support directory. Every change to the file is made under the
// directory's lock.
class ProposalStore {
 public:
  static constexpr std::string_view fileName = "proposals.json";

  explicit ProposalStore(std::string directory) : directory_(std::move(directory)) {}

  // The oldest first. None when the file is missing or is no array; what is no proposal in it is passed over.
  std::vector<Proposal> all() const;
  std::optional<Proposal> find(std::string_view id) const;

  // Adds one at the end. A file that was there and can't be read is kept beside the new one. Error when so much waits
  // that the file could not be read any more.
  void add(const Proposal& proposal) const;

  // Puts a proposal in the place of the one with its id, if that is there.
  void replace(const Proposal& proposal) const;

  // Drops the proposal of that id, if it is there.
  void remove(std::string_view id) const;

 private:
  using Entries = std::vector<std::string_view>;  // as they stand in the file
  // `change` says whether it changed anything.
  void rewrite(const std::function<bool(Entries& entries)>& change) const;

  std::string directory_;
};

}  // namespace vesk
