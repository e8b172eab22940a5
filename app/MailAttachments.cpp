#include "app/MailAttachments.h"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "app/MailLogin.h"
#include "app/OutputFile.h"
#include "app/Terminal.h"
#include "core/base/Error.h"
#include "core/mail/IMAPClient.h"
#include "core/mail/MIME.h"
#include "core/mail/MailJson.h"
#include "core/platform/Folder.h"
#include "core/vault/Vault.h"

namespace vesk::app {

namespace {

// A sender's word for a file as a name in this folder: no path, nothing hidden, and with its ending.
std::string fileNameOf(const MailAttachment& attachment, std::size_t number) {
  constexpr std::size_t longestEnding = 10;
  const std::string name = safe(attachment.name);
  const std::size_t dot = std::min(name.rfind('.'), name.size());
  try {
    const bool hasEnding = dot > 0 && name.size() - dot <= longestEnding;
    const std::string whole = Vault::fileName(name);  // refuses what is hidden
    if (whole == "-") throw Error("That means standard output.");
    return hasEnding ? Vault::fileName(name.substr(0, dot)) + "." + Vault::fileName(name.substr(dot + 1)) : whole;
  } catch (const Error&) {
    return fmt::format("attachment-{}", number);
  }
}

// Whether a message is the one that is stored. Its number alone doesn't tell: the server may have numbered the folder
// anew. Nor does the Message-ID, which some mail lacks.
bool isStored(const ParsedMail& message, const MailDetail& mail) {
  const Timestamp date = mailMoment(mailSeconds(message.date.value_or(distantPast)));  // as it comes back
  return message.messageID == mail.summary.messageID && message.subject == mail.summary.subject &&
         date == mail.summary.date && message.attachments == mail.attachments;
}

// The whole message as the server has it.
std::string messageOf(const MailAccount& account, const MailDetail& mail) {
  const auto client = loggedInRoutes().mailbox(account);
  client->select(mail.summary.folder, true);
  const auto found = client->bodies({mail.summary.uid});
  client->close();
  if (found.empty() || !found.front().body || !isStored(MIME::parse(*found.front().body), mail))
    throw Error("The server has this mail in another place by now. Its folder must be synced again.");
  return *found.front().body;
}

Error isThere(std::string_view file) {
  return Error(fmt::format("{} is there already. Name another file behind the number.", file));
}

// Never over another one that came in the meantime.
void writeNewFile(const std::string& name, std::string_view bytes) {
  if (!Folder::open(std::filesystem::current_path()).createFile(name, bytes)) throw isThere(name);
}

}  // namespace

std::string fetchAttachment(const MailAccount& account, const MailDetail& mail, std::size_t number, std::string file) {
  if (number == 0 || number > mail.attachments.size())
    throw Error(fmt::format("This mail has {}.", mail.attachments.empty()
                                                     ? "no attachment"
                                                     : counted(mail.attachments.size(), "attachment")));
  const bool isOurName = file.empty();
  if (isOurName) file = fileNameOf(mail.attachments[number - 1], number);
  if (isOurName && std::filesystem::exists(file)) throw isThere(file);  // before the password is asked for
  const auto bytes = MIME::attachment(number - 1, messageOf(account, mail));
  if (!bytes) throw Error("The mail on the server has no such attachment.");
  if (isOurName) {
    writeNewFile(file, *bytes);
  } else if (file == "-") {
    writeData(*bytes, Terminal::ofStandardOutput());
  } else {
    writeOutputFile(file, *bytes);
  }
  return file;
}

}  // namespace vesk::app
