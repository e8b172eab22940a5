#include "app/MailAttachments.h"

#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "app/OutputFile.h"
#include "app/Question.h"
#include "app/Terminal.h"
#include "core/base/Error.h"
#include "core/mail/IMAPClient.h"
#include "core/mail/MIME.h"
#include "core/mail/network/MailStream.h"
#include "core/vault/Vault.h"

namespace vesk::app {

namespace {

// A sender's word for a file as a name in this folder: no path, nothing hidden, and with its ending.
std::string fileNameOf(const MailAttachment& attachment, std::size_t number) {
  constexpr std::size_t longestEnding = 10;
  const std::string& name = attachment.name;
  const std::size_t dot = std::min(name.rfind('.'), name.size());
  try {
    const bool hasEnding = dot > 0 && name.size() - dot <= longestEnding;
    const std::string whole = Vault::fileName(safe(name));  // refuses what is hidden
    if (whole == "-") throw Error("That means standard output.");
    return hasEnding ? Vault::fileName(name.substr(0, dot)) + "." + Vault::fileName(name.substr(dot + 1)) : whole;
  } catch (const Error&) {
    return fmt::format("attachment-{}", number);
  }
}

std::string passwordOf(const MailAccount& account) {
  if (const char* password = std::getenv("VESK_MAIL_PASSWORD")) return password;
  if (!canAsk()) throw Error("The password is needed: set VESK_MAIL_PASSWORD, or run this in a terminal.");
  const auto password = askSecret(fmt::format("Password of {}:", safe(account.address)));
  if (!password) throw Error("Nothing was fetched.");
  return *password;
}

// The whole message as the server has it.
std::string messageOf(const MailAccount& account, const MailSummary& mail) {
  const std::string password = passwordOf(account);
  IMAPClient client(MailStream::open(account.incoming));
  client.start(account.user.empty() ? account.address : account.user, password, account.incoming.security);
  client.select(mail.folder, true);
  const auto found = client.bodies({mail.uid});
  client.close();
  const bool isIt =
      !found.empty() && found.front().body && MIME::parse(*found.front().body).messageID == mail.messageID;
  if (!isIt) throw Error("The server has this mail in another place by now.");
  return *found.front().body;
}

}  // namespace

std::string fetchAttachment(const MailAccount& account, const MailDetail& mail, std::size_t number, std::string file) {
  if (number == 0 || number > mail.attachments.size())
    throw Error(fmt::format("This mail has {}.", mail.attachments.empty()
                                                     ? "no attachment"
                                                     : counted(mail.attachments.size(), "attachment")));
  const bool isOurName = file.empty();
  if (isOurName) file = fileNameOf(mail.attachments[number - 1], number);
  if (isOurName && std::filesystem::exists(file))
    throw Error(fmt::format("{} is there already. Name another file behind the number.", file));
  const auto bytes = MIME::attachment(number - 1, messageOf(account, mail.summary));
  if (!bytes) throw Error("The mail on the server has no such attachment.");
  if (file == "-") {
    writeData(*bytes, Terminal::ofStandardOutput());
  } else {
    writeOutputFile(file, *bytes);
  }
  return file;
}

}  // namespace vesk::app
