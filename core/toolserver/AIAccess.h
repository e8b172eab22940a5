#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace vesk {

// How much of what the assistant does waits for the user.
enum class ApprovalLevel { always, important, trusted };

std::string_view name(ApprovalLevel level);   // as written in JSON and typed by the user
std::string_view label(ApprovalLevel level);  // as shown to the user
std::optional<ApprovalLevel> approvalLevelNamed(std::string_view name);

// What the user lets the assistant do: "ai-access.json" in the support directory. Reading and searching are on and
// every change is off until the user turns it on.
struct AIAccess {
  static constexpr std::string_view fileName = "ai-access.json";

  std::optional<std::string> vaultPath = {};  // absolute
  bool canRead = true;
  bool canSearch = true;
  bool canFile = false;
  bool canCreateNotes = false;
  bool canCreateFolders = false;
  bool canAppend = false;
  bool canEditNotes = false;
  bool canManageTasks = false;
  bool canEditDiagrams = false;
  bool canManageFolders = false;
  bool canTrash = false;
  bool canSync = false;
  bool canReadEmail = false;
  bool canDraftEmail = false;
  bool canManageEmail = false;
  ApprovalLevel approval = ApprovalLevel::always;
  bool allowsClaude = true;
  bool allowsCodex = true;

  // Never fails: a missing or unreadable file gives the defaults, a missing or mistyped key its own default.
  static AIAccess load(const std::string& directory);

  // Writes the whole file atomically, keeping the keys that Vesk does not know. The directory is made when it is
  // missing; a file that was there and is no JSON is kept beside it. Whoever changes what was loaded holds the
  // directory's FileLock from load to save.
  void save(const std::string& directory) const;

  bool operator==(const AIAccess&) const = default;
};

// One switch: its key, what the user turns on with it, and what the assistant reads while it is off (empty for the two
// that say which assistants may connect).
struct AccessSwitch {
  std::string_view name;
  bool AIAccess::*value;
  std::string_view allows;
  std::string_view refusal;
};

// Every switch, in the order of the fields.
std::span<const AccessSwitch> accessSwitches();

}  // namespace vesk
