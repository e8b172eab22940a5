// vesk mail mark and move: done here at once, and on the server with the next sync.

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/MailCommands.h"
#include "app/MailLookup.h"
#include "app/Terminal.h"
#include "core/base/Error.h"
#include "core/mail/MailStore.h"

namespace vesk::app {

namespace {

constexpr const char* sentLater = "The server is told with the next vesk mail sync.";

MailChange changeOf(const MailSummary& mail, MailChange::Kind kind) {
  return {
      .accountID = mail.accountID, .folder = mail.folder, .uid = mail.uid, .messageID = mail.messageID, .kind = kind};
}

// All of them are looked up before the first is changed.
std::vector<MailSummary> mailsNumbered(const MailStore& store, const std::vector<std::int64_t>& ids) {
  std::vector<MailSummary> mails;
  for (const std::int64_t id : ids) mails.push_back(mailNumbered(store, id).summary);
  return mails;
}

void make(MailStore& store, const MailSummary& mail, const std::vector<MailChange>& changes) {
  if (!changes.empty() && !store.change(mail, changes))
    throw Error(fmt::format("Mail {} changed meanwhile. Look at it with vesk mail list, then try again.", mail.id));
}

// ---- mark

struct MarkOptions {
  std::vector<std::int64_t> ids = {};
  bool read = false;
  bool unread = false;
  bool flagged = false;
  bool unflagged = false;
};

// What of it isn't so already.
std::vector<MailChange> marksOf(const MailSummary& mail, const MarkOptions& options) {
  std::vector<MailChange> changes;
  const auto add = [&](MailChange::Kind kind, bool on, bool off, bool isOn) {
    if (isOn ? !off : !on) return;
    changes.push_back(changeOf(mail, kind));
    changes.back().isOn = on;
  };
  add(MailChange::Kind::read, options.read, options.unread, mail.isRead);
  add(MailChange::Kind::flagged, options.flagged, options.unflagged, mail.isFlagged);
  return changes;
}

void mark(const MarkOptions& options) {
  if (!options.read && !options.unread && !options.flagged && !options.unflagged)
    throw CLI::ValidationError("Say how to mark it: --read, --unread, --flagged or --unflagged.");
  const auto store = openMail();
  std::size_t changed = 0;
  for (const MailSummary& mail : mailsNumbered(*store, options.ids)) {
    const auto changes = marksOf(mail, options);
    make(*store, mail, changes);
    if (!changes.empty()) ++changed;
  }
  if (changed == 0) return print("All of it is marked so already.\n");
  print("Marked {}. {}\n", counted(changed, "mail"), sentLater);
}

// ---- move

std::optional<MailChange> moveOf(const MailSummary& mail, const MailFolder& folder) {
  if (folder.path == mail.folder) return std::nullopt;
  MailChange change = changeOf(mail, MailChange::Kind::move);
  if (folder.role != MailFolderRole::other) change.target = folder.role;
  change.targetPath = folder.path;
  return change;
}

std::vector<std::int64_t> idsOf(const std::vector<std::string>& words) {
  std::vector<std::int64_t> ids;
  for (const std::string& word : words) {
    std::int64_t id = 0;
    const char* end = word.data() + word.size();
    if (std::from_chars(word.data(), end, id).ptr != end) throw Error(fmt::format("{} is no number of a mail.", word));
    ids.push_back(id);
  }
  return ids;
}

void move(std::vector<std::string> words) {
  const std::string typed = words.back();
  words.pop_back();
  if (words.empty()) throw CLI::ValidationError("Say which mail, and where to: vesk mail move 4711 archive");
  const auto store = openMail();
  const auto mails = mailsNumbered(*store, idsOf(words));
  std::vector<MailFolder> folders;  // one for each mail, before the first is moved
  for (const MailSummary& mail : mails)
    folders.push_back(folderNamed(*store, accountWithID(*store, mail.accountID), typed));
  std::size_t moved = 0;
  for (std::size_t i = 0; i < mails.size(); ++i) {
    const auto change = moveOf(mails[i], folders[i]);
    if (!change) continue;
    make(*store, mails[i], {*change});
    ++moved;
  }
  if (moved == 0) return print("All of it is there already.\n");
  print("Moved {} to {}. {} It is there, under another number, when that is done.\n", counted(moved, "mail"),
        safe(folders.front().name), sentLater);
}

// ---- The commands

void addMarkCommand(CLI::App& mail) {
  const auto options = std::make_shared<MarkOptions>();
  CLI::App* command = mail.add_subcommand("mark", "Mark mail as read or flagged.");
  command->add_option("MAIL", options->ids, "Its number, from vesk mail list; several, if you like.")->required();
  CLI::Option* read = command->add_flag("--read", options->read, "As read.");
  command->add_flag("--unread", options->unread, "As unread.")->excludes(read);
  CLI::Option* flagged = command->add_flag("--flagged", options->flagged, "With a flag.");
  command->add_flag("--unflagged", options->unflagged, "Without a flag.")->excludes(flagged);
  command->callback([options] { mark(*options); });
}

void addMoveCommand(CLI::App& mail) {
  const auto words = std::make_shared<std::vector<std::string>>();
  CLI::App* command = mail.add_subcommand("move", "Move mail to another folder.");
  command
      ->add_option("MAIL FOLDER", *words,
                   "Its number, or several, and where to: inbox, archive, trash, spam, or a folder's name.")
      ->required();
  command->callback([words] { move(*words); });
}

}  // namespace

void addMailChangeCommands(CLI::App& mail) {
  addMarkCommand(mail);
  addMoveCommand(mail);
}

}  // namespace vesk::app
