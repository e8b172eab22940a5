#include "core/mail/FolderSync.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <set>
#include <utility>

#include <fmt/format.h>

#include "core/mail/MessageWriter.h"

namespace vesk {

namespace {

using UIDs = std::vector<std::uint32_t>;

constexpr std::size_t listedAtOnce = 10'000;  // messages: the answer of a server stays within the limits
constexpr std::ptrdiff_t sizedAtOnce = 1'000;
constexpr std::size_t batchBytes = std::size_t{2} << 20;  // of messages that are fetched with one command
constexpr std::size_t cutBytes = std::size_t{4} << 20;    // the beginning of a message that is too large to be fetched

// What is to be done for a folder.
struct Differences {
  UIDs missing = {};                    // here, ascending
  UIDs gone = {};                       // there
  std::vector<MailFlags> changed = {};  // there
};

// Messages that are fetched at once.
struct Batch {
  UIDs uids = {};
  std::optional<std::size_t> limit = {};  // bytes of each, when it is too large
};

class FolderSync {
 public:
  FolderSync(SyncSession& session, const IMAPFolder& folder) : session_(session), folder_(folder) {}

  void run() {
    selection_ = session_.client.select(folder_.path, true);
    lastUID_ = session_.store.syncState(session_.accountID, folder_.path, selection_.uidValidity);
    listed_ = list();
    Differences differences = compare();
    removeGone(differences.gone);
    updateFlags(differences.changed);
    fetch(wanted(std::move(differences.missing)));
    if (listed_.empty()) return;
    session_.store.setLastUID(listed_.back().uid, session_.accountID, folder_.path);
  }

 private:
  // Everything the folder holds, by ascending UID.
  std::vector<MailFlags> list() {
    std::vector<MailFlags> listed;
    listed.reserve(std::min(selection_.exists, listedAtOnce));
    for (std::size_t first = 1; first <= selection_.exists; first += listedAtOnce) {
      const std::size_t last = std::min(selection_.exists, first + listedAtOnce - 1);
      for (const IMAPMessage& message : session_.client.flags(first, last))
        listed.push_back({message.uid, message.isRead(), message.isFlagged()});
    }
    // Of what the server says twice, the last counts.
    std::reverse(listed.begin(), listed.end());
    std::ranges::stable_sort(listed, {}, &MailFlags::uid);
    const auto repeated = std::ranges::unique(listed, {}, &MailFlags::uid);
    listed.erase(repeated.begin(), repeated.end());
    return listed;
  }

  Differences compare() {
    const auto stored = session_.store.flags(session_.accountID, folder_.path);
    Differences found;
    auto here = stored.begin();
    for (const MailFlags& there : listed_) {
      for (; here != stored.end() && here->uid < there.uid; ++here) found.gone.push_back(here->uid);
      if (here == stored.end() || here->uid != there.uid) {
        found.missing.push_back(there.uid);
        continue;
      }
      if (here->isRead != there.isRead || here->isFlagged != there.isFlagged) found.changed.push_back(there);
      ++here;
    }
    for (; here != stored.end(); ++here) found.gone.push_back(here->uid);
    return found;
  }

  void removeGone(UIDs gone) {
    // A server may have left some of them out that are there.
    if (!gone.empty() && listed_.size() < selection_.exists)
      for (const IMAPMessage& message : session_.client.flags(gone)) std::erase(gone, message.uid);
    if (gone.empty()) return;
    session_.store.remove(gone, session_.accountID, folder_.path);
    session_.report.removed += gone.size();
  }

  void updateFlags(const std::vector<MailFlags>& changed) {
    if (changed.empty()) return;
    session_.store.updateFlags(changed, session_.accountID, folder_.path);
    session_.report.updated += changed.size();
  }

  // Without what the user has moved away already, and what is too old.
  UIDs wanted(UIDs missing) {
    if (missing.empty()) return missing;
    const std::set<std::uint32_t> moved = movedAway();
    std::erase_if(missing, [&](std::uint32_t uid) { return moved.contains(uid); });
    const auto isOld = [&](std::uint32_t uid) { return lastUID_ == 0 || uid <= lastUID_; };
    if (!session_.options.since || std::ranges::none_of(missing, isOld)) return missing;
    UIDs recent = session_.client.uids(*session_.options.since);
    std::ranges::sort(recent);
    std::erase_if(missing, [&](std::uint32_t uid) { return isOld(uid) && !std::ranges::binary_search(recent, uid); });
    return missing;
  }

  // Asked for after the messages: one that is moved in between was there.
  std::set<std::uint32_t> movedAway() {
    std::set<std::uint32_t> uids;
    for (const auto& [place, change] : session_.store.pendingChanges(session_.accountID))
      if (change.kind == MailChange::Kind::move && change.folder == folder_.path && change.uid)
        uids.insert(*change.uid);
    return uids;
  }

  // The newest first.
  void fetch(const UIDs& missing) {
    if (missing.empty()) return;
    total_ = missing.size();
    MessageWriter writer(session_.store, session_.accountID, folder_.path, session_.report.added);
    tell(0);
    for (auto end = missing.end(); end != missing.begin();) {
      const auto begin = end - std::min(end - missing.begin(), sizedAtOnce);
      for (const Batch& batch : batches({begin, end})) fetch(batch, writer);
      end = begin;
    }
    writer.finish();
    tell(writer.done());
  }

  // The newest first, in as few batches as their sizes allow.
  std::vector<Batch> batches(const UIDs& uids) {
    const IMAPLimits& limits = session_.limits;
    const std::size_t largest = std::min(limits.literal, limits.answer / 2);
    const std::size_t room = std::min(batchBytes, limits.answer / 4);
    std::vector<IMAPMessage> sized = session_.client.sizes(uids);
    std::ranges::sort(sized, std::greater(), &IMAPMessage::uid);
    std::vector<Batch> batches;
    std::size_t bytes = 0;
    for (const IMAPMessage& message : sized) {
      if (!std::ranges::binary_search(uids, message.uid)) continue;
      const bool isTooLarge = message.size.value_or(largest) >= largest;
      const std::size_t size = isTooLarge ? room : *message.size;
      if (batches.empty() || isTooLarge || batches.back().limit || bytes + size > room) {
        batches.emplace_back();
        bytes = 0;
      }
      if (isTooLarge) batches.back().limit = message.size ? std::min(cutBytes, largest) : largest;
      batches.back().uids.push_back(message.uid);
      bytes += size;
    }
    return batches;
  }

  // What the server won't give with others may be asked for alone, and what it won't give at all is left out.
  void fetch(const Batch& batch, MessageWriter& writer) {
    std::vector<IMAPMessage> messages;
    const auto refusal =
        refusalOf(session_.client, [&] { messages = session_.client.bodies(batch.uids, batch.limit); });
    if (!refusal) {
      writer.add(std::move(messages));
      tell(writer.done());
    } else if (batch.uids.size() == 1) {
      noteFailure(refusal->what());
    } else {
      for (const std::uint32_t uid : batch.uids) fetch({.uids = {uid}, .limit = batch.limit}, writer);
    }
  }

  void noteFailure(std::string_view reason) {
    if (std::exchange(hasFailed_, true)) return;
    session_.report.failed.push_back({folder_.path, folder_.name, std::string(reason)});
  }

  void tell(std::size_t done) const {
    if (session_.options.progress) session_.options.progress({folder_.name, done, total_});
  }

  SyncSession& session_;
  const IMAPFolder& folder_;
  IMAPSelection selection_;
  std::uint32_t lastUID_ = 0;
  std::vector<MailFlags> listed_;
  std::size_t total_ = 0;  // of the messages to be fetched
  bool hasFailed_ = false;
};

}  // namespace

void syncFolder(SyncSession& session, const IMAPFolder& folder) {
  if (const auto refusal = refusalOf(session.client, [&] { FolderSync(session, folder).run(); }))
    session.report.failed.push_back({folder.path, folder.name, refusal->what()});
}

}  // namespace vesk
