#include "core/toolserver/MailUndo.h"

#include <memory>
#include <utility>

#include <fmt/format.h>

#include "core/base/Json.h"
#include "core/base/Text.h"
#include "core/mail/MailJson.h"
#include "core/mail/MailStore.h"
#include "core/mail/ModifiedUtf7.h"
#include "core/toolserver/ToolResult.h"
#include "core/vault/VaultError.h"

namespace vesk {

namespace {

using Kind = MailChange::Kind;

std::optional<Json> jsonOf(std::string_view text) {
  try {
    return Json::parse(text);
  } catch (const JsonError&) {
    return std::nullopt;
  }
}

std::optional<std::string> textOf(const Json& json, std::string_view key) {
  const Json* value = json.find(key);
  return value && value->string() ? std::optional(*value->string()) : std::nullopt;
}

std::optional<bool> flagOf(const Json& json, std::string_view key) {
  const Json* value = json.find(key);
  return value ? value->boolean() : std::nullopt;
}

std::optional<std::uint32_t> uidOf(const Json& json) {
  const Json* value = json.find("uid");
  const auto number = value ? value->integer() : std::nullopt;
  return number && std::in_range<std::uint32_t>(*number) ? std::optional(static_cast<std::uint32_t>(*number))
                                                         : std::nullopt;
}

}  // namespace

MailState stateOf(const MailSummary& mail) {
  return {.accountID = mail.accountID,
          .folder = mail.folder,
          .uid = mail.uid,
          .messageID = mail.messageID,
          .isRead = mail.isRead,
          .isFlagged = mail.isFlagged};
}

MailState changed(MailState state, const std::vector<MailChange>& changes) {
  for (const MailChange& change : changes) {
    if (change.kind == Kind::read) state.isRead = change.isOn;
    if (change.kind == Kind::flagged) state.isFlagged = change.isOn;
    if (change.kind != Kind::move) continue;
    state.folder = change.targetPath.value_or("");
    state.uid.reset();
  }
  return state;
}

std::string toText(const MailState& state) {
  Json json;
  json["accountID"] = state.accountID;
  json["folder"] = state.folder;
  if (state.uid) json["uid"] = std::size_t{*state.uid};
  json["messageID"] = state.messageID;
  json["isRead"] = state.isRead;
  json["isFlagged"] = state.isFlagged;
  return json.pretty();
}

std::optional<MailState> mailStateFrom(std::string_view text) {
  const auto json = jsonOf(text);
  if (!json) return std::nullopt;
  const auto accountID = textOf(*json, "accountID");
  const auto folder = textOf(*json, "folder");
  const auto messageID = textOf(*json, "messageID");
  const auto isRead = flagOf(*json, "isRead");
  const auto isFlagged = flagOf(*json, "isFlagged");
  if (!accountID || !folder || !messageID || !isRead || !isFlagged) return std::nullopt;
  return MailState{*accountID, *folder, uidOf(*json), *messageID, *isRead, *isFlagged};
}

namespace mailUndo {

namespace {

constexpr const char* unclear = "The log doesn't say what was changed.";
constexpr const char* gone = "The email isn't there any more.";

std::optional<MailDraft> draftOf(const AIAction& action) {
  const auto json = jsonOf(action.after.value_or(""));
  return json ? mailDraftFrom(*json) : std::nullopt;
}

std::optional<std::string> draftObstacle(const AIAction& action, const MailStore& store) {
  auto draft = draftOf(action);
  if (!draft) return unclear;
  const auto now = store.draft(draft->id);
  if (!now) return "The draft isn't there any more.";
  draft->updated = now->updated;
  return *now == *draft ? std::nullopt : std::optional<std::string>("The draft was changed since.");
}

// ---- updateEmail

struct Update {
  MailState before = {};
  MailState after = {};

  bool moved() const { return before.folder != after.folder; }

  // Of what it changed, the email still is as it left it.
  bool fits(const MailSummary& mail) const {
    return (before.isRead == after.isRead || mail.isRead == after.isRead) &&
           (before.isFlagged == after.isFlagged || mail.isFlagged == after.isFlagged);
  }
};

std::optional<Update> updateOf(const AIAction& action) {
  const auto before = mailStateFrom(action.before.value_or(""));
  const auto after = mailStateFrom(action.after.value_or(""));
  return before && after ? std::optional(Update{*before, *after}) : std::nullopt;
}

std::optional<MailSummary> storedByNumber(const MailState& state, const MailStore& store) {
  if (!state.uid) return std::nullopt;
  auto mail = store.find(state.accountID, state.folder, *state.uid);
  return mail && mail->messageID == state.messageID ? mail : std::nullopt;
}

std::optional<MailSummary> storedByMessageID(const MailState& state, const MailStore& store) {
  if (state.messageID.empty()) return std::nullopt;
  return store.find(state.accountID, state.folder, state.messageID);
}

// An email that is moved is stored nowhere before the next sync; the last move that waits says where it will be.
bool isOnItsWay(const MailState& state, const MailStore& store) {
  if (state.messageID.empty()) return false;
  bool leadsThere = false;
  for (const auto& [place, change] : store.pendingChanges(state.accountID))
    if (change.kind == Kind::move && change.messageID == state.messageID)
      leadsThere = change.targetPath == state.folder;
  return leadsThere;
}

bool hasFolder(const MailState& state, const MailStore& store) {
  for (const MailFolder& folder : store.folderNames())
    if (folder.accountID == state.accountID && folder.path == state.folder) return true;
  return false;
}

// What leads back from where the email is now.
std::vector<MailChange> reverseOf(const Update& update, std::optional<std::uint32_t> uid) {
  const auto& [before, after] = update;
  const MailChange on{.accountID = after.accountID, .folder = after.folder, .uid = uid, .messageID = after.messageID};
  std::vector<MailChange> changes;
  const auto add = [&](Kind kind) -> MailChange& {
    changes.push_back(on);
    changes.back().kind = kind;
    return changes.back();
  };
  if (before.isRead != after.isRead) add(Kind::read).isOn = before.isRead;
  if (before.isFlagged != after.isFlagged) add(Kind::flagged).isOn = before.isFlagged;
  if (update.moved()) add(Kind::move).targetPath = before.folder;
  return changes;
}

// What undoing would do now; with an obstacle it is nothing.
struct Reversal {
  std::string obstacle = {};
  std::optional<MailSummary> mail = {};  // nullopt while it is on its way: the server's copy is all there is
  std::vector<MailChange> changes = {};
};

Reversal reversalOf(const AIAction& action, const MailStore& store) {
  const auto update = updateOf(action);
  if (!update) return {.obstacle = unclear};
  if (update->moved() && update->after.messageID.empty())
    return {.obstacle = "An email that has no Message-ID can't be found again once it was moved."};
  if (!hasFolder(update->before, store)) return {.obstacle = "The folder it was in isn't there any more."};
  auto mail = storedByNumber(update->after, store);
  // What is on its way isn't the one of that Message-ID that may have been there before.
  if (!mail && isOnItsWay(update->after, store)) return {.changes = reverseOf(*update, std::nullopt)};
  if (!mail) mail = storedByMessageID(update->after, store);
  if (!mail) return {.obstacle = gone};
  if (!update->fits(*mail)) return {.obstacle = "The email was changed since."};
  const std::uint32_t uid = mail->uid;
  return {.mail = std::move(mail), .changes = reverseOf(*update, uid)};
}

void runUpdate(const AIAction& action, MailStore& store) {
  const Reversal reversal = reversalOf(action, store);
  if (!reversal.obstacle.empty()) throw VaultError::changedSince();
  if (!reversal.mail) return store.queue(reversal.changes);
  if (!store.change(*reversal.mail, reversal.changes)) throw VaultError::changedSince();
}

}  // namespace

std::optional<std::string> obstacle(const AIAction& action, const std::string& directory) {
  const auto store = MailStore::openIfThere(directory);
  if (!store) return gone;
  if (action.kind == AIAction::Kind::draftEmail) return draftObstacle(action, *store);
  const Reversal reversal = reversalOf(action, *store);
  return reversal.obstacle.empty() ? std::nullopt : std::optional(reversal.obstacle);
}

std::string description(const AIAction& action) {
  if (action.kind == AIAction::Kind::draftEmail)
    return fmt::format("Removes the draft {}.", toolResult::quoted(action.title));
  const auto update = updateOf(action);
  if (!update) return "Nothing can be undone.";
  const auto& [before, after] = *update;
  std::vector<std::string> steps;
  if (before.isRead != after.isRead)
    steps.emplace_back(before.isRead ? "Marks the email as read." : "Marks the email as unread.");
  if (before.isFlagged != after.isFlagged)
    steps.emplace_back(before.isFlagged ? "Flags the email." : "Takes the flag off the email.");
  if (update->moved())
    steps.push_back(fmt::format("Moves the email back to {} with the next sync.", decodedModifiedUtf7(before.folder)));
  return text::join(steps, " ");
}

void run(const AIAction& action, const std::string& directory) {
  const auto store = MailStore::openIfThere(directory);
  if (!store) throw VaultError::changedSince();
  if (action.kind == AIAction::Kind::updateEmail) return runUpdate(action, *store);
  const auto draft = draftOf(action);
  if (!draft || !store->remove(*draft)) throw VaultError::changedSince();
}

}  // namespace mailUndo

}  // namespace vesk
