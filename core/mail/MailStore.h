#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "core/mail/MailDatabase.h"
#include "core/mail/MailTypes.h"

namespace vesk {

struct IMAPFolder;

// All mail that Vesk knows, in an SQLite database (docs/mail-database.md): accounts, their folders, messages with an
// index of their words, drafts, and the changes that the servers are still to be told.
//
// Any number of threads may use a store, and any number of processes may have one of the same database open. Every
// operation is whole or not at all. A failure is a MailError::refused with SQLite's sentence, also when another
// process keeps the database busy for more than four seconds. What is stored in a form that can't be read is left out.
class MailStore {
 public:
  // Opens the database "mail/mail.sqlite" in the directory, and makes it, with its folders, where there is none. They
  // are the user's alone. Never makes one in place of one that is damaged. Throws FileError when it can't be made.
  explicit MailStore(const std::string& directory);

  // Makes nothing: nullptr when there is no database. One that can't be written is opened for reading.
  static std::unique_ptr<MailStore> openIfThere(const std::string& directory);

  // How many stored values couldn't be read so far.
  std::size_t skipped() const;

  // The accounts. Saving one that is there replaces it, and keeps the fields of it that Vesk doesn't know.

  std::vector<MailAccount> accounts() const;
  void save(const MailAccount& account);
  // With all that is stored of it.
  void remove(std::string_view accountID);

  // The folders.

  // Makes these the account's folders. Those that the server has no more go, with their messages.
  void saveFolders(const std::vector<IMAPFolder>& folders, std::string_view accountID);
  // By account and name; of all accounts without one given.
  std::vector<MailFolder> folders(std::optional<std::string_view> accountID = {}) const;
  // Likewise, without counting what is unread: that takes its time.
  std::vector<MailFolder> folderNames() const;
  // Makes a query ask for the folders of a role ("inbox"), or for the one of that name or path, regardless of case; of
  // the account it asks for, else of the first that has one. False when there is none.
  bool narrow(MailQuery& query, std::string_view folder) const;
  // The first by name.
  std::optional<MailFolder> folder(std::string_view accountID, MailFolderRole role) const;

  // What is in step with the server.

  // The highest UID stored of a folder. When the server has given the folder another UIDVALIDITY since, the UIDs stored
  // mean nothing any more: its messages are removed, and it is 0.
  std::uint32_t syncState(std::string_view accountID, std::string_view path, std::uint32_t uidValidity);
  // Never lowers it.
  void setLastUID(std::uint32_t uid, std::string_view accountID, std::string_view path);
  std::set<std::uint32_t> storedUIDs(std::string_view accountID, std::string_view path) const;
  // Stores the messages that aren't yet; how many these were.
  std::size_t insert(const std::vector<MailRecord>& records, std::string_view accountID, std::string_view path);
  // By ascending UID.
  std::vector<MailFlags> flags(std::string_view accountID, std::string_view path) const;
  // What a change that is still queued makes of them stays as it is.
  void updateFlags(const std::vector<MailFlags>& flags, std::string_view accountID, std::string_view path);
  void remove(const std::vector<std::uint32_t>& uids, std::string_view accountID, std::string_view path);

  // The messages.

  // The newest first.
  std::vector<MailSummary> messages(const MailQuery& query) const;
  // Of all that meet the query, whatever its limit and offset.
  std::size_t count(const MailQuery& query) const;
  std::optional<MailDetail> message(std::int64_t id) const;
  // The message of a folder with that number on the server, or that Message-ID: of several the one that came last.
  std::optional<MailSummary> find(std::string_view accountID, std::string_view path, std::uint32_t uid) const;
  std::optional<MailSummary> find(std::string_view accountID, std::string_view path, std::string_view messageID) const;
  // The first of those in an inbox, the newest first, that are from someone the user writes to, and unread or flagged.
  // Looks at the newest 2,000.
  std::vector<MailSummary> waitingOnYou(std::size_t limit) const;
  // The addresses that the user has written to, in lower case.
  std::unordered_set<std::string> correspondents() const;

  // Changes that the server is to make as well: apply() makes them here, queue() keeps them until they are sent.

  // A message that is moved goes from here, and comes back from its new folder with the next sync.
  void apply(const MailChange& change, std::int64_t messageID);
  void queue(const MailChange& change);
  // Both for several changes to one message. False, and nothing done, when the message isn't any more where `mail` has
  // it, or is read or flagged otherwise.
  bool change(const MailSummary& mail, const std::vector<MailChange>& changes);
  void queue(const std::vector<MailChange>& changes);
  // With their places in the queue, the oldest first.
  std::vector<std::pair<std::int64_t, MailChange>> pendingChanges(std::string_view accountID) const;
  void finishChange(std::int64_t place);

  // The drafts. Saving one that is there replaces it, and keeps the fields of it that Vesk doesn't know.

  void save(const MailDraft& draft);
  // Saves one unless its id is taken; whether it did.
  bool add(const MailDraft& draft);
  // Those changed last first.
  std::vector<MailDraft> drafts() const;
  std::optional<MailDraft> draft(std::string_view id) const;
  void removeDraft(std::string_view id);
  // Likewise, as long as it says what this one does, whenever it was saved; whether it did.
  bool remove(const MailDraft& draft);

  // The outbox: drafts that go out, by their ids. None goes out while it is in there.

  // Notes that a mail goes out. False, and nothing done, when one of its draft is noted already, or the draft isn't
  // stored any more as the mail has it.
  bool begin(const OutboxMail& mail);
  void markSent(std::string_view draftID);
  // It was sent and is filed: it goes, and so does its draft as long as it says what was sent.
  void finish(std::string_view draftID);
  // It wasn't sent: it goes, and its draft is there, should it have been removed meanwhile.
  void takeBack(std::string_view draftID);
  // The oldest first.
  std::vector<OutboxMail> outbox() const;
  std::optional<OutboxMail> outboxMail(std::string_view draftID) const;

  // The words as the index is asked for them: each in quotes, as the beginning of a word ("inv"* "q3"*). Empty without
  // words. Only the first 32 words, and of them the first 1,000 bytes, count: each word is another search. Never a
  // mistake in the index's language.
  static std::string searchExpression(std::string_view words);

 private:
  struct Place {
    std::string file = {};
  };
  explicit MailStore(const Place& place);

  mutable std::mutex mutex_;
  mutable MailDatabase database_;
  mutable std::size_t skipped_ = 0;
};

}  // namespace vesk
