#include "core/mail/PendingChanges.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "core/mail/MIME.h"
#include "core/mail/MailRows.h"

namespace vesk {

namespace {

using Kind = MailChange::Kind;
using UIDs = std::vector<std::uint32_t>;

// Where a change's message is.
struct Whereabouts {
  std::uint32_t uid = 0;                  // 0 when it isn't there
  std::optional<MailError> refusal = {};  // the server wouldn't say
};

// A change in the queue.
struct Queued {
  std::int64_t place = 0;
  MailChange change = {};
  Whereabouts message = {};
};

// What is one command: a flag that is set or taken off, or a folder that is moved to.
struct Command {
  std::string flag = {};  // none for a move
  bool isOn = false;
  std::string target = {};
  auto operator<=>(const Command&) const = default;
};

// The changes that can be sent together: to one folder, none to a message that is moved before it.
std::vector<Queued> firstOf(const std::vector<std::pair<std::int64_t, MailChange>>& pending) {
  std::vector<Queued> together;
  std::set<std::pair<std::optional<std::uint32_t>, std::string>> moved;
  for (const auto& [place, change] : pending) {
    const bool isInSameFolder = together.empty() || change.folder == together.front().change.folder;
    if (!isInSameFolder || moved.contains({change.uid, change.messageID})) break;
    together.push_back({place, change});
    if (change.kind == Kind::move) moved.insert({change.uid, change.messageID});
  }
  return together;
}

class ChangeSender {
 public:
  explicit ChangeSender(SyncSession& session) : session_(session) {}

  // Those of one folder.
  void send(std::vector<Queued> changes) {
    const std::string folder = changes.front().change.folder;
    const auto refusal = refusalOf(session_.client, [&] {
      session_.client.select(folder);
      find(changes);
    });
    if (refusal) {
      for (const Queued& each : changes) refuse(each, *refusal);
      return;
    }
    sendFlags(changes, Kind::read, "\\Seen");
    sendFlags(changes, Kind::flagged, "\\Flagged");
    sendMoves(changes);
    for (const Queued& each : changes) {
      if (each.message.refusal) {
        refuse(each, *each.message.refusal);
      } else if (each.message.uid == 0) {
        finish(each);
      }
    }
  }

  std::set<std::string> takeTargets() { return std::move(targets_); }

 private:
  // A UID alone doesn't tell: the server may have numbered the folder anew since.
  void find(std::vector<Queued>& changes) {
    UIDs uids;
    for (const Queued& each : changes)
      if (each.change.uid) uids.push_back(*each.change.uid);
    std::map<std::uint32_t, std::string> ids;
    for (const IMAPMessage& message : session_.client.messageIDs(uids)) ids[message.uid] = idOf(message);
    std::map<std::string, Whereabouts> found;  // by their Message-ID
    for (Queued& each : changes) {
      const std::string& id = each.change.messageID;
      const auto there = each.change.uid ? ids.find(*each.change.uid) : ids.end();
      if (there != ids.end() && there->second == id) {
        each.message.uid = there->first;
      } else if (!id.empty()) {
        const auto [place, isNew] = found.try_emplace(id);
        if (isNew) place->second = lastOf(id);
        each.message = place->second;
      }
    }
  }

  // As the store has it.
  static std::string idOf(const IMAPMessage& message) {
    const std::string id = message.body ? MIME::parse(*message.body).messageID : "";
    return mailRows::StorableText(id).text();
  }

  // Those of the selected folder with that Message-ID. The server's search finds ids, too, that only contain it.
  UIDs withID(const std::string& id) {
    UIDs uids;
    for (const IMAPMessage& message : session_.client.messageIDs(session_.client.uids(id)))
      if (idOf(message) == id) uids.push_back(message.uid);
    return uids;
  }

  Whereabouts lastOf(const std::string& id) {
    UIDs uids;
    const auto refusal = refusalOf(session_.client, [&] { uids = withID(id); });
    return {uids.empty() ? 0 : *std::ranges::max_element(uids), refusal};
  }

  // Of several changes to a message the last one counts.
  void sendFlags(const std::vector<Queued>& changes, Kind kind, const std::string& flag) {
    std::map<std::uint32_t, bool> isOn;
    for (const Queued& each : changes)
      if (each.change.kind == kind && each.message.uid != 0) isOn[each.message.uid] = each.change.isOn;
    std::map<Command, std::vector<Queued>> commands;
    for (const Queued& each : changes)
      if (each.change.kind == kind && each.message.uid != 0)
        commands[{.flag = flag, .isOn = isOn.at(each.message.uid)}].push_back(each);
    for (const auto& [command, together] : commands) run(command, together);
  }

  void sendMoves(const std::vector<Queued>& changes) {
    std::map<Command, std::vector<Queued>> commands;
    for (const Queued& each : changes) {
      if (each.change.kind != Kind::move || each.message.uid == 0) continue;
      const auto target = targetOf(each.change);
      if (!target) {
        refuse(each, MailError::noFolder());
      } else if (*target == each.change.folder) {
        finish(each);
      } else {
        commands[{.target = *target}].push_back(each);
      }
    }
    for (const auto& [command, together] : commands) run(command, together);
  }

  std::optional<std::string> targetOf(const MailChange& change) const {
    const auto folders = session_.store.folderNames();
    for (const MailFolder& folder : folders)
      if (folder.accountID == session_.accountID && folder.path == change.targetPath) return folder.path;
    if (!change.target) return std::nullopt;
    for (const MailFolder& folder : folders)
      if (folder.accountID == session_.accountID && folder.role == *change.target) return folder.path;
    return std::nullopt;
  }

  // When the server refuses it for several messages, it is asked for each alone.
  void run(const Command& command, const std::vector<Queued>& changes) {
    const auto refusal = refusalOf(session_.client, [&] { request(command, changes); });
    if (!refusal) {
      for (const Queued& each : changes) finish(each);
      session_.report.sent += changes.size();
    } else if (changes.size() == 1) {
      refuse(changes.front(), *refusal);
    } else {
      for (const Queued& each : changes) run(command, {each});
    }
  }

  void request(const Command& command, const std::vector<Queued>& changes) {
    UIDs uids;
    for (const Queued& each : changes) uids.push_back(each.message.uid);
    if (!command.flag.empty()) return session_.client.setFlag(command.flag, command.isOn, uids);
    if (!session_.client.capabilities().contains("MOVE")) removeCopied(uids, changes, command.target);
    session_.client.move(uids, command.target);
    targets_.insert(command.target);
  }

  // Where a move is a copy at first, a connection that was lost may have left that: a message that came to the target
  // after it was last in step, with the same Message-ID. Only the rest of the move is made up for then.
  void removeCopied(UIDs& uids, const std::vector<Queued>& changes, const std::string& target) {
    IMAPClient& client = session_.client;
    const IMAPSelection selection = client.select(target, true);
    const std::uint32_t lastUID = session_.store.syncState(session_.accountID, target, selection.uidValidity);
    UIDs copied;
    if (selection.uidNext == 0 || selection.uidNext > lastUID + 1) {
      const auto stored = session_.store.storedUIDs(session_.accountID, target);
      const auto isNew = [&](std::uint32_t uid) { return !stored.contains(uid); };
      for (const Queued& each : changes)
        if (std::ranges::any_of(withID(each.change.messageID), isNew)) copied.push_back(each.message.uid);
    }
    client.select(changes.front().change.folder);
    client.remove(copied);
    std::erase_if(uids, [&](std::uint32_t uid) { return std::ranges::find(copied, uid) != copied.end(); });
  }

  void refuse(const Queued& queued, const MailError& refusal) {
    finish(queued);
    session_.report.refused.push_back({queued.change, refusal.what()});
  }

  void finish(const Queued& queued) { session_.store.finishChange(queued.place); }

  SyncSession& session_;
  std::set<std::string> targets_;
};

}  // namespace

std::set<std::string> sendPendingChanges(SyncSession& session) {
  ChangeSender sender(session);
  const auto pending = [&] { return session.store.pendingChanges(session.accountID); };
  for (auto queue = pending(); !queue.empty(); queue = pending()) sender.send(firstOf(queue));
  return sender.takeTargets();
}

}  // namespace vesk
