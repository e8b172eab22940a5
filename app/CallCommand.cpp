// vesk call: any tool of the tool server, from the shell.

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/Commands.h"
#include "app/Options.h"
#include "app/Table.h"
#include "app/Terminal.h"
#include "core/base/Json.h"
#include "core/base/Text.h"
#include "core/platform/Environment.h"
#include "core/toolserver/MCPServer.h"
#include "core/toolserver/ToolCatalog.h"

namespace vesk::app {

namespace {

using Words = std::vector<std::string>;

// Wrong use, told as such.
template <typename... Values>
CLI::ValidationError wrong(fmt::format_string<Values...> format, Values&&... values) {
  return CLI::ValidationError(fmt::format(format, std::forward<Values>(values)...));
}

// ---- What there is to call

std::string firstSentence(std::string_view description) {
  const std::size_t end = description.find(". ");
  return std::string(description.substr(0, end == std::string_view::npos ? end : end + 1));
}

void listTools() {
  constexpr std::size_t description = 1;
  Table table(description);
  for (const Tool& tool : toolCatalog::tools())
    table.add({{std::string(tool.name), Style::strong}, {firstSentence(tool.description), Style::plain}});
  print("{}", table.text(Terminal::ofStandardOutput()));
}

const Tool& toolNamed(const std::string& name) {
  if (const Tool* tool = toolCatalog::find(name)) return *tool;
  throw wrong("There is no tool {}. vesk call lists them.", name);
}

std::string valueName(const Parameter& parameter) {
  if (!parameter.values.empty()) {
    std::vector<std::string> values;
    for (const std::string_view value : parameter.values)
      if (!value.empty()) values.emplace_back(value);
    return text::join(values, "|");
  }
  if (parameter.type == "boolean") return "true|false";
  if (parameter.type == "integer" || parameter.type == "number") return "NUMBER";
  if (!parameter.members.empty() || parameter.type == "points") return "JSON";
  return parameter.type == "array" ? "TEXT,…" : "TEXT";
}

// What the objects of a list hold, in the form "text=TEXT, x=NUMBER".
std::string membersText(const std::vector<Parameter>& members) {
  std::vector<std::string> texts;
  for (const Parameter& member : members) texts.push_back(fmt::format("{}={}", member.name, valueName(member)));
  return fmt::format("A list of objects with {}.", text::join(texts, ", "));
}

// What a call can't do without: " --note TEXT".
std::string requiredText(const Tool& tool) {
  std::string text;
  for (const Parameter& parameter : tool.parameters)
    if (parameter.required) text += fmt::format(" --{} {}", parameter.name, valueName(parameter));
  return text;
}

void describe(const Tool& tool) {
  constexpr std::size_t indent = 6;
  const Terminal terminal = Terminal::ofStandardOutput();
  print("{}\n", wrapped(tool.description, 0, terminal));
  for (const Parameter& parameter : tool.parameters) {
    const std::string option = fmt::format("--{} {}", parameter.name, valueName(parameter));
    print("\n  {}{}\n", styled(option, Style::strong, terminal), parameter.required ? "  (required)" : "");
    if (!parameter.description.empty()) print("{}\n", wrapped(parameter.description, indent, terminal));
    if (!parameter.members.empty()) print("{}\n", wrapped(membersText(parameter.members), indent, terminal));
  }
  print("\nExamples:\n  vesk call {}{}\n", tool.name, requiredText(tool));
}

// ---- Arguments

// "--name value" or "--name=value", in the order they were typed.
using Assignments = std::vector<std::pair<std::string, std::string>>;

Assignments assignmentsOf(const Words& words) {
  Assignments assignments;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (!word.starts_with("--")) throw wrong("{} is out of place: write --NAME {}.", word, word);
    const std::size_t equals = word.find('=');
    const std::string name = word.substr(2, equals == std::string::npos ? equals : equals - 2);
    if (equals != std::string::npos)
      assignments.emplace_back(name, word.substr(equals + 1));
    else if (++i < words.size())
      assignments.emplace_back(name, words[i]);
    else
      throw wrong("--{} needs a value.", name);
  }
  return assignments;
}

const Parameter& parameterNamed(const Tool& tool, std::string_view name) {
  std::vector<std::string> names;
  for (const Parameter& parameter : tool.parameters) {
    if (parameter.name == name) return parameter;
    names.push_back(fmt::format("--{}", parameter.name));
  }
  if (names.empty()) throw wrong("{} takes no arguments.", tool.name);
  throw wrong("{} takes no --{}. It takes {}.", tool.name, name, text::join(names, ", "));
}

Json integer(const Parameter& parameter, const std::string& typed) {
  std::int64_t value = 0;
  const char* end = typed.data() + typed.size();
  if (const auto read = std::from_chars(typed.data(), end, value); read.ec != std::errc() || read.ptr != end)
    throw wrong("--{} has to be a whole number.", parameter.name);
  return value;
}

Json boolean(const Parameter& parameter, const std::string& typed) {
  if (typed != "true" && typed != "false") throw wrong("--{} has to be true or false.", parameter.name);
  return typed == "true";
}

Json parsed(const Parameter& parameter, const std::string& typed) {
  try {
    return Json::parse(typed);
  } catch (const JsonError& error) {
    throw wrong("--{}: {}", parameter.name, error.what());
  }
}

void addList(Json& list, const std::string& typed) {
  if (!list.array()) list = Json::Array();
  for (const std::string_view entry : text::split(typed, ','))
    if (const auto trimmed = text::trimWhitespace(entry); !trimmed.empty()) list.array()->emplace_back(trimmed);
}

Json::Object argumentsOf(const Tool& tool, const Words& words) {
  Json::Object arguments;
  for (const auto& [name, typed] : assignmentsOf(words)) {
    const Parameter& parameter = parameterNamed(tool, name);
    const bool isFirst = !arguments.contains(name);
    Json& value = arguments[name];
    if (parameter.type == "array" && parameter.members.empty()) {
      addList(value, typed);
      continue;
    }
    if (!isFirst) throw wrong("--{} is given twice.", name);
    value = parameter.type == "integer"   ? integer(parameter, typed)
            : parameter.type == "boolean" ? boolean(parameter, typed)
            : parameter.type == "array"   ? parsed(parameter, typed)
                                          : Json(typed);
  }
  return arguments;
}

// All arguments at once, as the tool server gets them.
Json::Object argumentsFrom(const std::string& typed) {
  try {
    Json json = Json::parse(typed);
    if (Json::Object* object = json.object()) return std::move(*object);
  } catch (const JsonError& error) {
    throw wrong("--json: {}", error.what());
  }
  throw wrong("--json has to be an object, such as '{{\"note\":\"Plan\"}}'.");
}

// What stands behind --json; nullopt without it.
std::optional<std::string> jsonOf(const Words& words) {
  constexpr std::string_view option = "--json";
  if (words.empty() || !words.front().starts_with(option)) return std::nullopt;
  if (words.size() == 1 && words.front().starts_with("--json=")) return words.front().substr(option.size() + 1);
  if (words.size() == 2 && words.front() == option) return words.back();
  throw wrong("--json takes all arguments at once, as one object.");
}

// ---- call

void call(const std::string& name, const Words& words) {
  const Tool& tool = toolNamed(name);
  if (std::ranges::count(words, "--help") + std::ranges::count(words, "-h") > 0) return describe(tool);
  const auto json = jsonOf(words);
  const Json::Object arguments = json ? argumentsFrom(*json) : argumentsOf(tool, words);
  const std::string result = MCPServer(environment::supportDirectory()).run(name, arguments);
  writeData(result + "\n", Terminal::ofStandardOutput());
}

}  // namespace

void addCallCommand(CLI::App& program) {
  const auto name = std::make_shared<std::string>();
  CLI::App* command = program.add_subcommand("call", "Call a tool as an assistant would, under the same rules.");
  command->set_help_flag();  // behind a tool's name it asks about the tool
  command->prefix_command();
  command->add_option("TOOL", *name, "The tool; without one they are listed.");
  command->footer(
      "vesk call TOOL --help says what a tool takes: each as --NAME VALUE, lists as A,B, or all as --json '{…}'.");
  command->callback([&program, command, name] {
    Words words = command->remaining();
    std::ranges::transform(words, words.begin(), unguarded);
    if (!name->empty()) return call(*name, words);
    if (words.empty()) return listTools();
    if (words.front() == "--help" || words.front() == "-h") return print("{}", command->help(program.get_name()));
    throw wrong("{} is no tool. vesk call lists them.", words.front());
  });
}

}  // namespace vesk::app
