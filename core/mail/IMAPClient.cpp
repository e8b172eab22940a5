#include "core/mail/IMAPClient.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "core/base/AsciiSearch.h"
#include "core/base/Text.h"
#include "core/mail/MailError.h"
#include "core/mail/ServerText.h"

namespace vesk {

namespace {

constexpr std::chrono::seconds longestSleep{120};  // on a server that can't tell of changes by itself

bool containsIgnoringCase(std::string_view text, std::string_view words) {
  return text::AsciiSearch(words).find(text, 0) != std::string_view::npos;
}

// For a command that was answered with NO or BAD and this text.
MailError failure(std::string_view text) {
  if (containsIgnoringCase(text, "auth") || containsIgnoringCase(text, "invalid credentials"))
    return MailError::wrongPassword();
  const std::string said = shownServerText(text);
  return MailError::refused(said.empty() ? "it gives no reason." : said);
}

bool beginsWith(std::string_view text, std::string_view word) {
  return text::equalIgnoringCase(text.substr(0, word.size()), word);
}

}  // namespace

IMAPClient::IMAPClient(std::unique_ptr<MailConnection> connection, const IMAPLimits& limits)
    : dialogue_(std::move(connection), limits) {}

void IMAPClient::start(std::string_view username, std::string_view password, MailSecurity security) {
  greet();
  if (security == MailSecurity::startTLS) upgrade();
  login(username, password);
  capabilities_ = imap::capabilities(run(command("CAPABILITY")));
}

void IMAPClient::greet() {
  const std::string greeting = dialogue_.response().text;
  if (beginsWith(greeting, "* OK") || beginsWith(greeting, "* PREAUTH")) return;
  const std::string_view said = greeting;
  dialogue_.drop(MailError::refused(shownServerText(said.substr(beginsWith(said, "* BYE ") ? 6 : 0))));
}

// Nothing that was said before TLS is believed: it may come from anyone on the way.
void IMAPClient::upgrade() {
  if (!dialogue_.answer(command("STARTTLS")).isOK) dialogue_.drop(MailError::insecureServer());
  dialogue_.startTLS();
}

void IMAPClient::login(std::string_view username, std::string_view password) {
  if (!dialogue_.isPrivate()) dialogue_.drop(MailError::insecureServer());
  const IMAPAnswer answer = dialogue_.answer(command("LOGIN").string(username).string(password));
  if (answer.isOK) return;
  const MailError error = failure(answer.text);
  // Some servers repeat what they don't understand, or its beginning.
  constexpr std::size_t telling = 6;
  const auto repeats = [&](std::string_view secret) {
    return !secret.empty() && answer.text.find(secret.substr(0, telling)) != std::string::npos;
  };
  const bool tellsPassword = repeats(password) || repeats(imap::quoted(password).view().substr(1));
  if (tellsPassword && error.kind() == MailError::Kind::refused) throw MailError::refused("the login.");
  throw error;
}

IMAPAnswer IMAPClient::answerTo(const IMAPCommand& command) {
  IMAPAnswer answer = dialogue_.answer(command);
  hasNews_ = hasNews_ || imap::tellComingOrGoing(answer.untagged);
  return answer;
}

std::vector<IMAPResponse> IMAPClient::run(const IMAPCommand& command) {
  IMAPAnswer answer = answerTo(command);
  if (!answer.isOK) throw failure(answer.text);
  return std::move(answer.untagged);
}

std::vector<IMAPFolder> IMAPClient::folders() {
  auto responses = run(command("LIST \"\" \"*\""));
  return dialogue_.guarded([&] { return imap::folders(std::move(responses), dialogue_.limits()); });
}

void IMAPClient::create(std::string_view path) { run(command("CREATE").string(path)); }

IMAPSelection IMAPClient::select(std::string_view path, bool readOnly) {
  const IMAPSelection selection = imap::selection(run(command(readOnly ? "EXAMINE" : "SELECT").string(path)));
  hasNews_ = false;
  return selection;
}

std::vector<std::uint32_t> IMAPClient::uids(Day since) {
  return imap::found(run(command("UID SEARCH SINCE").word(imap::date(since))));
}

std::vector<std::uint32_t> IMAPClient::uids(std::string_view messageID) {
  if (messageID.empty()) return {};  // every message that has one would match
  return imap::found(run(command("UID SEARCH HEADER Message-ID").string(messageID)));
}

std::vector<IMAPMessage> IMAPClient::flags(const std::vector<std::uint32_t>& uids) {
  return fetch(uids, "(UID FLAGS)");
}

std::vector<IMAPMessage> IMAPClient::flags(std::size_t firstPlace, std::size_t lastPlace) {
  return fetch(command("FETCH").word(fmt::format("{}:{}", firstPlace, lastPlace)).word("(UID FLAGS)"));
}

std::vector<IMAPMessage> IMAPClient::sizes(const std::vector<std::uint32_t>& uids) {
  return fetch(uids, "(UID RFC822.SIZE)");
}

std::vector<IMAPMessage> IMAPClient::messageIDs(const std::vector<std::uint32_t>& uids) {
  return fetch(uids, "(UID BODY.PEEK[HEADER.FIELDS (MESSAGE-ID)])");
}

std::vector<IMAPMessage> IMAPClient::bodies(const std::vector<std::uint32_t>& uids, std::optional<std::size_t> limit) {
  const std::string part = limit ? fmt::format("<0.{}>", *limit) : "";
  std::vector<IMAPMessage> messages = fetch(uids, fmt::format("(UID FLAGS BODY.PEEK[]{})", part));
  // A server may tell of new flags at the same time.
  std::erase_if(messages, [](const IMAPMessage& message) { return !message.body; });
  return messages;
}

std::vector<IMAPMessage> IMAPClient::fetch(const std::vector<std::uint32_t>& uids, std::string_view items) {
  std::vector<IMAPMessage> messages;
  for (const std::string& set : imap::uidSets(uids)) {
    auto more = fetch(command("UID FETCH").word(set).word(items));
    std::move(more.begin(), more.end(), std::back_inserter(messages));
  }
  return messages;
}

std::vector<IMAPMessage> IMAPClient::fetch(const IMAPCommand& command) {
  IMAPAnswer answer = answerTo(command);
  // What is no more there is left out of the answer (RFC 5530, 3). Where something is to be done, this no is one.
  if (!answer.isOK && !beginsWith(answer.text, "[EXPUNGEISSUED]")) throw failure(answer.text);
  return dialogue_.guarded([&] { return imap::messages(std::move(answer.untagged), dialogue_.limits()); });
}

void IMAPClient::setFlag(const std::string& flag, bool on, const std::vector<std::uint32_t>& uids) {
  const std::string item = fmt::format("{}FLAGS.SILENT {}", on ? '+' : '-', imap::flagList({flag}));
  for (const std::string& set : imap::uidSets(uids)) run(command("UID STORE").word(set).word(item));
}

void IMAPClient::move(const std::vector<std::uint32_t>& uids, std::string_view target) {
  for (const std::string& set : imap::uidSets(uids)) {
    const bool canMove = capabilities_.contains("MOVE");
    run(command(canMove ? "UID MOVE" : "UID COPY").word(set).string(target));
    if (!canMove) remove(set);
  }
}

void IMAPClient::remove(const std::vector<std::uint32_t>& uids) {
  for (const std::string& set : imap::uidSets(uids)) remove(set);
}

void IMAPClient::remove(const std::string& uidSet) {
  run(command("UID STORE").word(uidSet).word("+FLAGS.SILENT (\\Deleted)"));
  if (capabilities_.contains("UIDPLUS"))
    run(command("UID EXPUNGE").word(uidSet));
  else
    run(command("EXPUNGE"));
}

void IMAPClient::append(std::string_view message, std::string_view folder, const std::vector<std::string>& flags) {
  run(command("APPEND").string(folder).word(imap::flagList(flags)).literal(message));
}

bool IMAPClient::idle(std::chrono::milliseconds time, const IMAPInterrupt& interrupt) {
  const auto now = IMAPDialogue::Clock::now();
  if (capabilities_.contains("IDLE")) {
    const IMAPAnswer answer = dialogue_.idle(now + time, interrupt);
    if (!answer.isOK) throw failure(answer.text);
    return imap::tellChange(answer.untagged);
  }
  dialogue_.waitForBytes(now + std::min<std::chrono::milliseconds>(time, longestSleep), interrupt);
  return imap::tellChange(run(command("NOOP")));
}

}  // namespace vesk
