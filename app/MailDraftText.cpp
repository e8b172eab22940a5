#include "app/MailDraftText.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include <fmt/format.h>

#include "app/MailRows.h"
#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/mail/MIME.h"
#include "core/mail/Recipients.h"

namespace vesk::app {

namespace {

using People = std::vector<MailAddress>;

// As recipients::from reads it: a name with a character of meaning goes in quotes.
std::string typed(const MailAddress& person) {
  if (person.name.empty()) return person.address;
  if (person.name.find_first_of("()<>[]:;@\\,.\"") == std::string::npos)
    return fmt::format("{} <{}>", person.name, person.address);
  std::string name;
  for (const char c : person.name) {
    if (c == '"' || c == '\\') name += '\\';
    name += c;
  }
  return fmt::format("\"{}\" <{}>", name, person.address);
}

std::string typed(const People& people) {
  std::vector<std::string> all;
  for (const MailAddress& person : people) all.push_back(typed(person));
  return text::join(all, ", ");
}

const MailAccount& senderIn(const std::vector<MailAccount>& accounts, std::string_view value) {
  const auto read = MailAddress::list(value);
  for (const MailAccount& account : accounts)
    if (read.size() == 1 && text::equalIgnoringCase(account.address, read.front().address)) return account;
  throw Error(fmt::format("\"{}\" behind From is none of your accounts (vesk mail accounts).", value));
}

void take(MailDraft& draft, std::string_view key, std::string_view value, const std::vector<MailAccount>& accounts) {
  const auto is = [&](std::string_view name) { return text::equalIgnoringCase(key, name); };
  if (is("From")) {
    draft.accountID = senderIn(accounts, value).id;
  } else if (is("Subject")) {
    draft.subject = MIME::visibleLine(value);
  } else if (is("To") || is("Cc") || is("Bcc")) {
    People& people = is("To") ? draft.to : is("Cc") ? draft.cc : draft.bcc;
    std::ranges::move(recipients::from(value), std::back_inserter(people));
  } else {
    throw Error(fmt::format("\"{}:\" is none of From, To, Cc, Bcc and Subject. An empty line ends these.", key));
  }
}

// Takes the lines above the body off the text. A line that begins with white space goes on with the one before.
std::vector<std::string> takeHead(std::string_view& text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (text::trimSpaces(line).empty()) break;
    if ((line.front() == ' ' || line.front() == '\t') && !lines.empty())
      lines.back() += line;
    else
      lines.emplace_back(line);
  }
  return lines;
}

}  // namespace

std::string editableText(const MailDraft& draft, const MailAccount& sender) {
  return fmt::format("From: {}\nTo: {}\nCc: {}\nBcc: {}\nSubject: {}\n\n{}\n",
                     typed(MailAddress{sender.name, sender.address}), typed(draft.to), typed(draft.cc),
                     typed(draft.bcc), draft.subject, draft.body);
}

MailDraft draftFrom(std::string_view text, MailDraft draft, const std::vector<MailAccount>& accounts) {
  const std::string lines = text::withLineBreaks(text, "\n");
  std::string_view rest = lines;
  draft.to = draft.cc = draft.bcc = {};
  draft.subject.clear();
  for (const std::string& line : takeHead(rest)) {
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos)
      throw Error(fmt::format("\"{}\" stands above the body, and is none of From, To, Cc, Bcc and Subject.", line));
    take(draft, std::string_view(line).substr(0, colon), text::trimSpaces(std::string_view(line).substr(colon + 1)),
         accounts);
  }
  draft.body = std::string(text::trim(rest, "\n"));
  return draft;
}

std::string shownDraft(const MailDraft& draft, const MailAccount& sender, const Terminal& terminal) {
  std::string all;
  const auto add = [&](const char* what, const std::string& value) {
    if (!value.empty()) all += fmt::format("{}  {}\n", styled(what, Style::faint, terminal), safe(value));
  };
  add("From   ", shown({{sender.name, sender.address}}));
  add("To     ", shown(draft.to));
  add("Cc     ", shown(draft.cc));
  add("Bcc    ", shown(draft.bcc));
  add("Subject", draft.subject);
  if (draft.byAI) add("Drafted", "by an assistant");
  return all + fmt::format("\n{}\n", safeLines(draft.body));
}

Json draftJson(const MailDraft& draft, const std::string& sender) {
  Json json;
  json["id"] = draft.id;
  json["from"] = sender;
  json["to"] = entriesOf(draft.to);
  json["cc"] = entriesOf(draft.cc);
  json["bcc"] = entriesOf(draft.bcc);
  json["subject"] = draft.subject;
  json["body"] = draft.body;
  json["by_assistant"] = draft.byAI;
  json["updated"] = time::iso8601(draft.updated);
  return json;
}

std::string shownRecipients(const MailDraft& draft) {
  std::vector<std::string> names;
  for (const People* people : {&draft.to, &draft.cc, &draft.bcc})
    for (const MailAddress& person : *people) names.push_back(person.name.empty() ? person.address : person.name);
  return names.empty() ? "(nobody yet)" : text::join(names, ", ");
}

}  // namespace vesk::app
