#include "app/Completions.h"

#include <algorithm>
#include <functional>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "core/base/Text.h"

namespace vesk::app::completions {

namespace {

// A word for bash and zsh: 'it'\''s'.
std::string inQuotes(std::string_view word) {
  std::string result = "'";
  for (const char c : word) result += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return result + "'";
}

// A word for fish, which reads \' and \\ within quotes.
std::string inFishQuotes(std::string_view word) {
  std::string result = "'";
  for (const char c : word) result += (c == '\'' || c == '\\' ? "\\" : "") + std::string(1, c);
  return result + "'";
}

// `text` with a backslash before each of these characters.
std::string escaped(std::string_view text, std::string_view characters) {
  std::string result;
  for (const char c : text) {
    if (characters.find(c) != std::string_view::npos) result += '\\';
    result += c;
  }
  return result;
}

void forEach(const DescribedCommand& command, const std::function<void(const DescribedCommand&)>& step) {
  step(command);
  for (const DescribedCommand& subcommand : command.subcommands) forEach(subcommand, step);
}

// ---- bash

// What may be typed next, whatever came before within the command.
std::string bashWords(const DescribedCommand& command) {
  std::vector<std::string> words;
  for (const DescribedCommand& subcommand : command.subcommands) words.push_back(subcommand.name());
  for (const DescribedOption& argument : command.arguments)
    words.insert(words.end(), argument.choices.begin(), argument.choices.end());
  for (const DescribedOption& option : command.options)
    words.insert(words.end(), option.names.begin(), option.names.end());
  return text::join(words, " ");
}

bool hasPathArgument(const DescribedCommand& command) {
  for (const DescribedOption& argument : command.arguments)
    if (takesPath(argument)) return true;
  return false;
}

std::string bashValues(const DescribedCommand& command) {
  std::string cases;
  for (const DescribedOption& option : command.options) {
    if (option.value.empty()) continue;
    std::vector<std::string> patterns;
    for (const std::string& name : option.names) patterns.push_back(inQuotes(command.path + " " + name));
    cases += fmt::format("    {}) words={} files={} ;;\n", text::join(patterns, " | "),
                         inQuotes(text::join(option.choices, " ")), takesPath(option) ? "yes" : "");
  }
  return cases;
}

}  // namespace

std::string forBash(const DescribedCommand& program) {
  std::string paths;
  std::string words;
  std::string values;
  forEach(program, [&](const DescribedCommand& command) {
    if (&command != &program) paths += (paths.empty() ? "" : " | ") + inQuotes(command.path);
    words += fmt::format("    {}) words={} files={} ;;\n", inQuotes(command.path), inQuotes(bashWords(command)),
                         hasPathArgument(command) ? "yes" : "");
    values += bashValues(command);
  });
  return fmt::format(R"(# bash completion for vesk, made by: vesk completions bash

_vesk() {{
  local current=${{COMP_WORDS[COMP_CWORD]}} previous=${{COMP_WORDS[COMP_CWORD-1]}}
  local command=vesk words= files= i
  for ((i = 1; i < COMP_CWORD; i++)); do
    case "$command ${{COMP_WORDS[i]}}" in
      {}) command+=" ${{COMP_WORDS[i]}}" ;;
    esac
  done
  case $command in
{}  esac
  case "$command $previous" in
{}  esac
  COMPREPLY=($(compgen -W "$words" -- "$current"))
  [[ $files ]] && compopt -o default
}}

complete -F _vesk vesk
)",
                     paths, words, values);
}

// ---- zsh

namespace {

// What completes a value.
std::string zshAction(const DescribedOption& option) {
  if (!option.choices.empty()) return "(" + text::join(option.choices, " ") + ")";
  return takesPath(option) ? "_files" : " ";
}

// Specifications as _arguments takes them: '(-o --output)-o[Help.]:FILE:_files'.
std::vector<std::string> zshOptspecs(const DescribedOption& option) {
  std::vector<std::string> optspecs;
  const std::string others = option.names.size() > 1 ? "(" + text::join(option.names, " ") + ")" : "";
  for (const std::string& name : option.names) {
    std::string optspec = (option.isList ? "*" : others) + name + "[" + escaped(option.description, "[]:\\") + "]";
    if (!option.value.empty()) optspec += ":" + option.value + ":" + zshAction(option);
    optspecs.push_back(inQuotes(optspec));
  }
  return optspecs;
}

std::string zshArgument(const DescribedOption& argument) {
  const std::string place = argument.isList ? "*:" : argument.isRequired ? ":" : "::";
  return inQuotes(place + argument.names.front() + ":" + zshAction(argument));
}

// "_vesk_mail_list"
std::string zshFunctionName(std::string_view path) {
  std::string name = "_" + std::string(path);
  std::ranges::replace(name, ' ', '_');
  return name;
}

std::string zshFunction(const DescribedCommand& command) {
  std::vector<std::string> optspecs;
  for (const DescribedOption& option : command.options)
    for (std::string& optspec : zshOptspecs(option)) optspecs.push_back(std::move(optspec));
  const std::string name = zshFunctionName(command.path);
  if (command.subcommands.empty()) {
    for (const DescribedOption& argument : command.arguments) optspecs.push_back(zshArgument(argument));
    return fmt::format("{}() {{\n  _arguments -s -S {}\n}}\n\n", name, text::join(optspecs, " \\\n    "));
  }
  std::string commands;
  for (const DescribedCommand& subcommand : command.subcommands)
    commands += "    " + inQuotes(escaped(subcommand.name(), ":\\") + ":" + subcommand.description) + "\n";
  return fmt::format(R"({0}() {{
  local state line
  local -a commands=(
{1}  )
  _arguments -C {2} \
    '1: :->command' '*:: :->rest' && return
  case $state in
    command) _describe command commands ;;
    rest) (( $+functions[{0}_$words[1]] )) && {0}_$words[1] ;;
  esac
}}

)",
                     name, commands, text::join(optspecs, " \\\n    "));
}

}  // namespace

std::string forZsh(const DescribedCommand& program) {
  std::string functions;
  forEach(program, [&](const DescribedCommand& command) { functions += zshFunction(command); });
  return "#compdef vesk\n# zsh completion for vesk, made by: vesk completions zsh\n\n" + functions +
         "if [[ $funcstack[1] == _vesk ]]; then _vesk \"$@\"; else compdef _vesk vesk; fi\n";
}

// ---- fish

namespace {

// The beginning of a line that completes something within a command.
std::string fishLine(const DescribedCommand& command) {
  return fmt::format("complete -c vesk -n \"__vesk_within {}\"", inFishQuotes(command.path));
}

std::string fishValue(const DescribedOption& option) {
  if (!option.choices.empty()) return " -x -a " + inFishQuotes(text::join(option.choices, " "));
  return takesPath(option) ? " -r -F" : " -x";
}

std::string fishOption(const DescribedCommand& command, const DescribedOption& option) {
  std::string line = fishLine(command);
  for (const std::string& name : option.names)
    line += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
  if (!option.value.empty()) line += fishValue(option);
  return line + " -d " + inFishQuotes(option.description) + "\n";
}

std::string fishLines(const DescribedCommand& command) {
  std::string lines;
  for (const DescribedCommand& subcommand : command.subcommands)
    lines +=
        fmt::format("{} -a {} -d {}\n", fishLine(command), subcommand.name(), inFishQuotes(subcommand.description));
  for (const DescribedOption& argument : command.arguments) {
    if (takesPath(argument)) lines += fishLine(command) + " -F\n";
    if (!argument.choices.empty())
      lines += fmt::format("{} -a {}\n", fishLine(command), inFishQuotes(text::join(argument.choices, " ")));
  }
  for (const DescribedOption& option : command.options) lines += fishOption(command, option);
  return lines;
}

}  // namespace

std::string forFish(const DescribedCommand& program) {
  std::string paths;
  std::string lines;
  forEach(program, [&](const DescribedCommand& command) {
    paths += " " + inFishQuotes(command.path);
    lines += fishLines(command);
  });
  return fmt::format(R"(# fish completion for vesk, made by: vesk completions fish

# Whether what is typed so far leads to this command.
function __vesk_within
    set -l command vesk
    for word in (commandline -opc)[2..]
        contains -- "$command $word"{} && set command "$command $word"
    end
    test "$command" = "$argv"
end

complete -c vesk -f
{})",
                     paths, lines);
}

}  // namespace vesk::app::completions
