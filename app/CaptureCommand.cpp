// vesk capture: a thought, or another program's text, as a new note in the inbox.

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
#include "app/StandardInput.h"
#include "app/Terminal.h"
#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/vault/MarkdownView.h"
#include "core/vault/Note.h"
#include "core/vault/Places.h"

namespace vesk::app {

namespace {

constexpr InputRules noteText = {"Write the note, and press Ctrl-D when you are done.", maximumNoteSize,
                                 "This is too much text for a note."};

std::string_view firstLine(std::string_view text) { return text::trimWhitespace(text.substr(0, text.find('\n'))); }

// The beginning of a line, up to the end of a word.
std::string_view cut(std::string_view line) {
  constexpr std::size_t longest = 60;  // characters
  const std::string_view beginning = text::firstCharacters(line, longest);
  if (beginning.size() == line.size() || line[beginning.size()] == ' ') return beginning;
  return beginning.substr(0, beginning.rfind(' '));
}

// The name that a line gives a note, without what marks it as a heading or an item of a list; "" when it can't.
std::string nameFrom(std::string_view line) {
  line.remove_prefix(std::min(line.find_first_not_of("#>*-. \t"), line.size()));
  try {
    return Vault::fileName(cut(line));
  } catch (const VaultError&) {
    return "";
  }
}

struct Capture {
  std::string title = {};
  std::string body = {};
};

// The first line need not stand in the text once more when the name has its every character. It stays where it is all
// there is, and before what would be taken for front matter without it.
Capture captureOf(std::string_view text) {
  const MarkdownView file(text);
  const bool hasFrontmatter = !file.opening.empty();
  const std::string_view line = firstLine(text::trimWhitespace(file.body));
  const std::string_view rest = text::trim(text.substr(std::min(text.find('\n'), text.size())), "\r\n");
  const std::string title = nameFrom(hasFrontmatter ? noteTitle(file, line) : std::string(line));
  const bool isInName = title == line && !hasFrontmatter;
  const bool canStandAlone = !rest.empty() && MarkdownView(rest).opening.empty();
  return {title, fmt::format("{}{}", isInName && canStandAlone ? rest : text, text::lineBreak(text))};
}

void capture(const std::vector<std::string>& words) {
  const Vault vault = currentVault();
  const std::string typed = words.empty() ? standardInput(noteText) : text::join(words, " ");
  if (!text::isValidUtf8(typed)) throw Error("The text isn't UTF-8.");
  const std::string_view text = text::trimWhitespace(typed);
  if (text.empty()) throw Error("A note needs some text.");
  const auto [title, body] = captureOf(text);
  const std::string path = vault.createNote(title, body, {}, inboxFolder(vault));
  writeData(path + "\n", Terminal::ofStandardOutput());
}

}  // namespace

void addCaptureCommand(CLI::App& program) {
  const auto words = std::make_shared<std::vector<std::string>>();
  CLI::App* command = program.add_subcommand("capture", "Make a note in the inbox, named by its first line.");
  command->add_option("TEXT", *words,
                      "The note; the input unless given. For example: vesk capture A bench against the south wall");
  command->callback([words] { capture(*words); });
}

}  // namespace vesk::app
