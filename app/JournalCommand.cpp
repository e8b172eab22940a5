// vesk journal: the note of a day, written to or opened.

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/Commands.h"
#include "app/CurrentVault.h"
#include "app/Days.h"
#include "app/NoteEdit.h"
#include "app/Options.h"
#include "app/Question.h"
#include "app/Terminal.h"
#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/library/NoteTemplates.h"
#include "core/platform/Environment.h"
#include "core/vault/Places.h"

namespace vesk::app {

namespace {

struct Options {
  std::vector<std::string> words = {};
  std::string day = {};
};

// ---- Where in the note a line goes

// The template's first section is for notes, in any of the languages.
bool isNotesHeading(std::string_view line) {
  for (const Language language : {Language::english, Language::portuguese, Language::spanish}) {
    const std::string_view start = dailyNoteTemplate(language);
    const std::string_view section = start.substr(start.find("\n## ") + 1);
    if (text::trimWhitespace(line) == section.substr(0, section.find('\n'))) return true;
  }
  return false;
}

// Behind the last line of the section for notes, the blank ones before the next section left out, but for one below its
// heading. The text's end where there is no such section.
std::size_t endOfNotes(std::string_view text) {
  const auto lines = text::split(text, '\n');
  const auto heading = std::ranges::find_if(lines, isNotesHeading);
  if (heading == lines.end()) return text.size();
  const auto next = std::find_if(heading + 1, lines.end(), [](auto line) { return line.starts_with("## "); });
  auto last = next - 1;
  while (last > heading + 1 && text::trimWhitespace(*last).empty()) --last;
  const auto end = static_cast<std::size_t>(last->data() + last->size() - text.data());
  return std::min(end + 1, text.size());
}

std::string withLine(const std::string& note, std::string_view line) {
  const std::size_t end = endOfNotes(note);
  const std::string_view lineBreak = text::lineBreak(note);
  return fmt::format("{}{}{}", Vault::appended(note.substr(0, end), text::withLineBreaks(line, lineBreak)), lineBreak,
                     note.substr(end));
}

// ----

// The path of the day's note, which is made the first time.
std::string dailyNote(const Vault& vault, Day day) {
  return vault.journalNote(time::isoDay(day), journalFolder(vault), dailyNoteTemplate(environment::language()), day);
}

void add(const Vault& vault, const std::string& path, std::string_view line) {
  vault.rewrite(path, [&](const std::string& note) { return withLine(note, line); });
  print("Added to {}\n", safe(path));
}

void journal(const Options& options) {
  const Vault vault = currentVault();
  const std::string typed = text::join(options.words, " ");
  const std::string_view line = text::trimWhitespace(typed);
  if (line.empty() && !options.words.empty()) throw Error("Write what goes into the journal.");
  if (!text::isValidUtf8(line)) throw Error("The text isn't UTF-8.");
  const std::string path = dailyNote(vault, typedDay(options.day).value_or(today()));
  if (!line.empty()) return add(vault, path, line);
  if (canAsk()) return editNote(vault, path);
  writeData(path + "\n", Terminal::ofStandardOutput());
}

}  // namespace

void addJournalCommand(CLI::App& program) {
  const auto options = std::make_shared<Options>();
  CLI::App* command = program.add_subcommand("journal", "Write into a day's note, or open it in your editor.");
  command->add_option("TEXT", options->words,
                      "A line to add to it. For example: vesk journal The first lemon has turned yellow");
  command->add_option("--day", options->day, "YYYY-MM-DD or tomorrow; today unless given.")->check(isDay());
  command->callback([options] { journal(*options); });
}

}  // namespace vesk::app
