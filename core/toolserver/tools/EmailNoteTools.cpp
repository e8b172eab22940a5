#include "core/toolserver/tools/EmailNoteTools.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "core/base/Text.h"
#include "core/base/Time.h"
#include "core/mail/MIME.h"
#include "core/platform/FileLock.h"
#include "core/toolserver/ToolError.h"
#include "core/toolserver/ToolResult.h"
#include "core/toolserver/tools/AddedEmails.h"
#include "core/vault/MarkdownScanner.h"
#include "core/vault/Places.h"
#include "core/vault/VaultError.h"

namespace vesk {

namespace {

// ---- Foreign text

// The first characters of a text, in one line, without what nothing shows.
std::string lineOf(std::string_view foreign, std::size_t characters) {
  constexpr std::size_t unitsPerCharacter = 10;  // a character may be of any length
  const std::string line = MIME::visibleLine(foreign);
  return std::string(
      text::trimWhitespace(text::firstUnits(text::firstCharacters(line, characters), characters * unitsPerCharacter)));
}

// Whether the character at `at` is the one by which programs know a bare web address ("https://…", "www.…").
bool startsLink(std::string_view line, std::size_t at) {
  constexpr std::string_view web = "www";
  if (line.substr(at).starts_with("://")) return true;
  return line[at] == '.' && at >= web.size() && text::equalIgnoringCase(line.substr(at - web.size(), web.size()), web);
}

// A line that is words in Markdown and nothing else: no link, embed, tag, code, formula, comment or HTML.
std::string asWords(std::string_view line) {
  markdown::TagScanner tags(line);
  auto tag = tags.next();
  std::string words;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (tag && tag->offset == i) {
      words += "&#35;";
      tag = tags.next();
      continue;
    }
    const bool isMark = std::string_view("\\`*[]<&_~=%$").find(line[i]) != std::string_view::npos;
    if (isMark || startsLink(line, i)) words += '\\';
    words += line[i];
  }
  return words;
}

// The characters that a URI may be made of (RFC 3986, 2), but for brackets.
bool isWebAddress(std::string_view text) {
  constexpr std::string_view scheme = "https://";
  const auto isAllowed = [](char c) {
    return c > ' ' && c < '\x7F' && std::string_view("\"<>[]\\^`{|}").find(c) == std::string_view::npos;
  };
  return text.size() > scheme.size() && text::equalIgnoringCase(text.substr(0, scheme.size()), scheme) &&
         std::ranges::all_of(text, isAllowed);
}

// ---- The note

struct EmailNote {
  std::string id = {};  // the email's
  std::string title = {};
  std::string text = {};
};

// The subject; where that can't be a file's name, what the email begins with.
std::string titleOf(std::string_view subject, std::string_view snippet) {
  constexpr std::size_t fewCharacters = 60;
  for (const std::string_view each : {subject, text::firstCharacters(snippet, fewCharacters)}) {
    try {
      return Vault::fileName(text::trim(each, ". "));
    } catch (const VaultError&) {
      continue;
    }
  }
  return "Email";
}

// No line begins with anything foreign, where it could be a heading, a task or the beginning of front matter. The
// subject is given where the note's name isn't the whole of it.
std::string textOf(std::string_view subject, std::string_view sender, std::string_view day, std::string_view snippet,
                   std::string_view link) {
  std::vector<std::string> head;
  if (!sender.empty()) head.push_back(fmt::format("**{}**", asWords(sender)));
  if (!day.empty()) head.emplace_back(day);
  std::vector<std::string> paragraphs;
  if (!subject.empty()) paragraphs.push_back(fmt::format("**{}**", asWords(subject)));
  if (!head.empty()) paragraphs.push_back(text::join(head, ", "));
  if (!snippet.empty()) paragraphs.push_back(fmt::format("“{}”", asWords(snippet)));
  if (!link.empty()) paragraphs.push_back(fmt::format("<{}>", link));
  return paragraphs.empty() ? "" : text::join(paragraphs, "\n\n") + "\n";
}

EmailNote noteOf(const std::string& id, const ToolArguments& arguments) {
  constexpr std::size_t lineCharacters = 200;
  constexpr std::size_t snippetCharacters = 280;
  constexpr const char* badDay = "Dates must be written as YYYY-MM-DD.";
  const auto given = [&](std::string_view key) { return arguments.optionalText(key).value_or(""); };
  const std::string subject = lineOf(given("subject"), lineCharacters);
  const std::string sender = lineOf(given("sender"), lineCharacters);
  const std::string snippet = lineOf(given("snippet"), snippetCharacters);
  const std::string day = arguments.given("date", badDay).value_or("");
  if (!day.empty() && !time::parseDay(day)) throw ToolError(badDay);
  const std::string link = given("link");
  if (!link.empty() && !isWebAddress(link)) throw ToolError("The link must be an https address.");
  if (subject.empty() && sender.empty() && snippet.empty() && link.empty())
    throw ToolError("Give the email's subject, sender, snippet or link, to find it again by.");
  EmailNote email{.id = id, .title = titleOf(subject, snippet)};
  email.text = textOf(email.title == subject ? "" : subject, sender, day, snippet, link);
  return email;
}

// ---- add_email

// A note that was only about to be made counts when it is there.
std::optional<AddedEmail> addedBefore(const ToolContext& context, const std::string& id) {
  auto added = AddedEmails(context.directory()).find(id, context.vault());
  if (added && added->isPending && !context.vault().exists(added->note)) return std::nullopt;
  return added;
}

std::string sayAddedBefore(const ToolContext& context, const AddedEmail& added) {
  const bool isThere = context.vault().exists(added.note);
  Json result;
  result["message"] = fmt::format("This email was added before, on {}. {}", added.day,
                                  isThere ? "Nothing was changed." : "Its note was moved or deleted since.");
  if (isThere) result["path"] = added.note;
  return result.pretty();
}

// Makes the note, at a path that is written down first.
AddedEmail make(ToolContext& context, const EmailNote& email, const std::string& folder) {
  const Surroundings& surroundings = context.surroundings();
  AddedEmail added{.id = email.id,
                   .day = time::isoDay(surroundings.calendar().day(surroundings.now())),
                   .vaultPath = context.vault().root(),
                   .isPending = true};
  do {
    added.note = context.vault().nextNoteID(email.title, folder);
    AddedEmails(context.directory()).append(added);
  } while (!context.changes().createFile(added.note, email.title, email.text));
  return added;
}

// Whoever is stopped in the middle must neither have lost the email nor leave it to be added twice: the path says
// whether the note was made. Only once that is written down, too, has a note that is missing been moved or deleted.
std::string add(ToolContext& context, const EmailNote& email, const std::string& folder) {
  const FileLock alone(context.directory());
  const auto before = addedBefore(context, email.id);
  AddedEmail added = before ? *before : make(context, email, folder);
  if (std::exchange(added.isPending, false)) AddedEmails(context.directory()).append(added);
  return before ? sayAddedBefore(context, added) : toolResult::pathResult(added.note);
}

PlannedChange addEmail(ToolContext& context, const ToolArguments& arguments) {
  const std::string id = arguments.text("id", "The email's id is required.");
  const bool isThere = addedBefore(context, id).has_value();  // then nothing but its id is needed
  const EmailNote email = isThere ? EmailNote{.id = id} : noteOf(id, arguments);
  const std::string folder = inboxFolder(context.vault());
  PlannedChange change{.title = fmt::format("Put the email {} in {}", toolResult::quoted(email.title), folder),
                       .destination = folder};
  change.after = email.text;
  change.changesNothing = isThere;
  change.carryOut = [&context, email, folder] { return add(context, email, folder); };
  return change;
}

}  // namespace

Tool addEmailTool() {
  return {
      "add_email",
      "Put an email in Inbox as a short note. Keep only what's needed to find it again, and never the whole message. "
      "The same id is only added once, even if its note was moved or deleted.",
      {{"id", "string", "The email's own id, which stays the same each time it's read.", true},
       {"subject", "string"},
       {"sender", "string"},
       {"date", "string", "The day it arrived, as YYYY-MM-DD."},
       {"snippet", "string", "One or two sentences on what it asks for. Vesk keeps 280 characters."},
       {"link", "string", "An https link to open the email."}},
      Effect::adds,
      &AIAccess::canCreateNotes,
      addEmail};
}

}  // namespace vesk
