#include "app/Manual.h"

#include <vector>

#include <fmt/format.h>

#include "app/Examples.h"
#include "core/base/Text.h"
#include "core/toolserver/ToolCatalog.h"

namespace vesk::app::manual {

namespace {

// How roff writes a character that it would take for something else.
std::string_view escapeOf(char c) {
  switch (c) {
    case '\\': return "\\e";
    case '-': return "\\-";
    case '\'': return "\\(aq";
    case '`': return "\\(ga";
    case '^': return "\\(ha";
    case '~': return "\\(ti";
    default: return "";
  }
}

// Text as roff shows it: every character as it is, and no line a request.
std::string shown(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (c == '.' && (result.empty() || result.ends_with('\n'))) result += "\\&";
    const std::string_view escape = escapeOf(c);
    result += escape.empty() ? std::string_view(&c, 1) : escape;
  }
  return result;
}

std::string bold(std::string_view text) { return "\\fB" + shown(text) + "\\fR"; }
std::string italic(std::string_view text) { return "\\fI" + shown(text) + "\\fR"; }

// An entry of a list: what it is about, and what is said about it.
std::string entry(std::string_view term, std::string_view text) {
  return fmt::format(".TP\n{}\n{}\n", term, shown(text));
}

std::string valueOf(const DescribedOption& option) {
  return option.choices.empty() ? italic(option.value) : shown(text::join(option.choices, "|"));
}

// "-o FILE, --output FILE"
std::string term(const DescribedOption& option) {
  std::vector<std::string> terms;
  for (const std::string& name : option.names)
    terms.push_back(bold(name) + (option.value.empty() ? "" : " " + valueOf(option)));
  return text::join(terms, ", ");
}

std::string synopsis(const DescribedCommand& command) {
  std::string line = bold(command.path);
  if (!command.options.empty()) line += " [" + italic("options") + "]";
  for (const DescribedOption& argument : command.arguments) {
    const std::string name = italic(argument.names.front()) + (argument.isList ? " ..." : "");
    line += argument.isRequired ? " " + name : " [" + name + "]";
  }
  if (!command.subcommands.empty()) line += " " + italic("command");
  return line + "\n";
}

std::string exampleLines(std::string_view command) {
  const auto lines = examplesOf(command);
  if (lines.empty()) return "";
  std::string block = ".PP\n.nf\n.RS\n";
  for (const std::string_view line : lines) block += shown(line) + "\n";
  return block + ".RE\n.fi\n";
}

std::string about(const DescribedCommand& command) {
  std::string section = ".SS " + synopsis(command) + shown(command.description) + "\n";
  for (const DescribedOption& argument : command.arguments)
    section += entry(italic(argument.names.front()), argument.description);
  for (const DescribedOption& option : command.options)
    if (option.names.back() != "--help") section += entry(term(option), option.description);
  section += exampleLines(command.path);
  for (const DescribedCommand& subcommand : command.subcommands) section += about(subcommand);
  return section;
}

std::string upperCase(std::string_view title) {
  std::string result;
  for (const char c : title) result += c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  return result;
}

std::string allCommands(const DescribedCommand& program) {
  std::string text;
  std::string group;
  for (const DescribedCommand& command : program.subcommands) {
    if (command.group != group) text += ".SH " + upperCase(group = command.group) + "\n";
    text += about(command);
  }
  return text;
}

std::string heading(std::string_view name, std::string_view date) {
  return fmt::format(".TH {} 1 {} \"Vesk {}\" \"User Commands\"\n", upperCase(name), date, VESK_VERSION);
}

constexpr std::string_view supportFolder =
    "the folder of Vesk's settings, instead of Vesk in $XDG_DATA_HOME or in ~/.local/share.";

std::string environment() {
  return ".SH ENVIRONMENT\n" + entry(bold("VESK_SUPPORT_DIR"), "The full path of " + std::string(supportFolder)) +
         entry(bold("VISUAL") + ", " + bold("EDITOR"), "The editor that notes are opened in.") +
         entry(bold("NO_COLOR"), "When it is set, nothing is written in colour.") +
         entry(bold("LC_ALL") + ", " + bold("LC_MESSAGES") + ", " + bold("LANG"),
               "The language of the folders and notes that Vesk makes: English, Portuguese or Spanish.") +
         entry(bold("VESK_MAIL_PASSWORD"),
               "The password of a mail account, instead of the one that is kept, for a command on one account only.");
}

std::string files() {
  return ".SH FILES\n" +
         entry(italic("~/.local/share/Vesk/"),
               "Which vault is open, what assistants may do and what they did, "
               "what waits for your approval, your working hours, and mail.") +
         entry(italic(".vesk/"), "In the vault: how it is arranged and looks.") +
         entry(italic("AGENTS.md"), "At the vault's top: your rules for assistants, if you write them.");
}

std::string exitStatus() {
  return ".SH EXIT STATUS\n" + entry("0", "All went well.") +
         entry("1", "Something failed; standard error says what.") + entry("2", "The command was used wrongly.");
}

}  // namespace

std::string veskPage(const DescribedCommand& program, std::string_view date) {
  return heading("vesk", date) +
         ".SH NAME\nvesk \\- a personal knowledge system over a folder of Markdown notes\n.SH SYNOPSIS\n" +
         bold("vesk") + " " + italic("command") + " [" + italic("options") + "] [" + italic("argument ...") +
         "]\n.br\n" + bold("vesk") + " [" + italic("command") + "] " + bold("--help") + "\n.br\n" +
         bold("vesk --version") + "\n.SH DESCRIPTION\n" +
         shown(
             "Vesk works on an ordinary folder of Markdown notes, the vault, which any editor can have open at the "
             "same time. It arranges the folder by a method, finds things in it, keeps its tasks, and serves it to "
             "AI assistants through ") +
         bold("vesk-mcp") +
         shown(
             "(1), within what you allow. There is no database and no account: what you write stays in your files, "
             "and no note is ever deleted but to the desktop's Trash.\n") +
         ".PP\n" +
         shown(
             "The vault that vesk open names stays open until another is. Every listing also comes as JSON, with "
             "--json. An option's value may follow it or an equals sign; behind -- nothing is an option.\n") +
         exampleLines("vesk") + allCommands(program) + environment() + files() + exitStatus() +
         ".SH SEE ALSO\n.BR vesk\\-mcp (1),\n.BR git (1)\n";
}

std::string toolServerPage(std::string_view date) {
  std::string tools;
  for (const Tool& tool : toolCatalog::tools()) tools += entry(bold(tool.name), tool.description);
  return heading("vesk-mcp", date) + ".SH NAME\nvesk\\-mcp \\- serve the vault to an AI assistant\n.SH SYNOPSIS\n" +
         bold("vesk-mcp") + " [" + bold("--help") + "|" + bold("--version") + "]\n.SH DESCRIPTION\n" +
         shown(
             "The tool server of Vesk. Assistants start it; it speaks the Model Context Protocol (JSON-RPC, a message "
             "a line) over standard input and output, and ends when its input does.\n") +
         ".PP\n" +
         shown(
             "It serves the vault that is open in Vesk. What assistants may do, and what waits for your approval, is "
             "set with vesk access; vesk actions shows what they did, and vesk undo takes it back. An assistant is "
             "told of it "
             "by:\n") +
         ".PP\n.nf\n.RS\n" + shown("vesk connect claude-code\n") + ".RE\n.fi\n.SH TOOLS\n" + tools +
         ".SH ENVIRONMENT\n" + entry(bold("VESK_SUPPORT_DIR"), "The full path of " + std::string(supportFolder)) +
         files() + ".SH EXIT STATUS\n" + entry("0", "The input ended.") +
         entry("1", "The input or the output failed; standard error says how.") +
         entry("2", "It was started with other arguments.") + ".SH SEE ALSO\n.BR vesk (1)\n";
}

}  // namespace vesk::app::manual
