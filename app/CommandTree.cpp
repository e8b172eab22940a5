#include "app/CommandTree.h"

#include <algorithm>
#include <sstream>
#include <string_view>
#include <utility>

#include "app/Commands.h"
#include "app/Examples.h"
#include "app/Options.h"
#include "app/Terminal.h"
#include "core/base/Text.h"

namespace vesk::app {

namespace {

struct Command {
  std::string_view name;
  void (*add)(CLI::App& program);
};

struct CommandGroup {
  const char* title;  // the heading in the help; "" hides the commands
  std::vector<Command> commands;
};

// In the order of the help.
const std::vector<CommandGroup>& commandGroups() {
  static const std::vector<CommandGroup> groups = {
      {"The vault",
       {{"open", addOpenCommand},
        {"organize", addOrganizeCommand},
        {"status", addStatusCommand},
        {"watch", addWatchCommand},
        {"doctor", addDoctorCommand}}},
      {"Notes",
       {{"notes", addNotesCommand},
        {"search", addSearchCommand},
        {"journal", addJournalCommand},
        {"capture", addCaptureCommand},
        {"edit", addEditCommand}}},
      {"Insights",
       {{"overview", addOverviewCommand},
        {"projects", addProjectsCommand},
        {"areas", addAreasCommand},
        {"topics", addTopicsCommand},
        {"context", addContextCommand},
        {"map", addMapCommand},
        {"health", addHealthCommand},
        {"query", addQueryCommand}}},
      {"Tasks",
       {{"tasks", addTasksCommand},
        {"add", addAddCommand},
        {"doing", addDoingCommand},
        {"done", addDoneCommand},
        {"todo", addTodoCommand},
        {"today", addTodayCommand},
        {"week", addWeekCommand},
        {"backlog", addBacklogCommand},
        {"plan", addPlanCommand},
        {"hours", addHoursCommand}}},
      {"Diagrams", {{"diagrams", addDiagramsCommand}, {"diagram", addDiagramCommand}}},
      {"Mail, meetings and sync", {{"mail", addMailCommand}, {"meeting", addMeetingCommand}, {"sync", addSyncCommand}}},
      {"Assistants",
       {{"chat", addChatCommand},
        {"connect", addConnectCommand},
        {"disconnect", addDisconnectCommand},
        {"access", addAccessCommand},
        {"proposals", addProposalsCommand},
        {"review", addReviewCommand},
        {"actions", addActionsCommand},
        {"undo", addUndoCommand},
        {"call", addCallCommand},
        {"import", addChatImportCommand}}},
      {"The shell", {{"completions", addCompletionsCommand}}},
      {"", {{"packaged", addPackagedCommand}}},
  };
  return groups;
}

bool isCommand(std::string_view name) {
  for (const CommandGroup& group : commandGroups())
    if (std::ranges::find(group.commands, name, &Command::name) != group.commands.end()) return true;
  return false;
}

// CLI11 writes what an option takes as "TEXT", "UINT:NUMBER" or "TEXT:{always,important}".
void readType(std::string_view type, DescribedOption& option) {
  option.value = type.substr(0, type.find(':'));
  if (type.find(':') == std::string_view::npos) return;
  std::string_view rest = type.substr(type.find(':') + 1);
  if (!rest.starts_with('{') || !rest.ends_with('}')) {
    option.value = rest;
    return;
  }
  rest = rest.substr(1, rest.size() - 2);
  for (const std::string_view choice : text::split(rest, ',')) option.choices.emplace_back(choice);
}

DescribedOption describe(const CLI::Option& option) {
  DescribedOption described = {.description = option.get_description(),
                               .isRequired = option.get_required(),
                               .isList = option.get_items_expected_max() > 1};
  if (option.get_items_expected_max() > 0) readType(option.get_type_name(), described);
  if (option.get_positional()) {
    described.names = {option.get_name(true, false)};
    return described;
  }
  for (const std::string& name : option.get_snames()) described.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) described.names.push_back("--" + name);
  return described;
}

// The usual help in plainer words and within the terminal's width, and examples under it.
class HelpFormatter : public CLI::Formatter {
 public:
  HelpFormatter() { label("Positionals", "Arguments"); }

  // What the usage doesn't say.
  std::string make_option_opts(const CLI::Option* option) const override {
    const DescribedOption described = describe(*option);
    if (option->get_positional() || described.value.empty()) return "";
    const std::string usual = option->get_default_str();
    return " " + (described.choices.empty() ? described.value : text::join(described.choices, "|")) +
           (usual.empty() ? "" : "=" + usual);
  }

  std::string make_option_desc(const CLI::Option* option) const override { return inLines(option->get_description()); }

  std::string make_subcommand(const CLI::App* command) const override {
    std::ostringstream line;
    CLI::detail::format_help(line, command->get_name(), inLines(command->get_description()), get_column_width());
    return line.str();
  }

  std::string make_footer(const CLI::App* command) const override {
    std::string footer = Formatter::make_footer(command);
    const auto examples = examplesOf(pathOf(*command));
    if (examples.empty()) return footer;
    footer += footer.empty() ? "Examples:\n" : "\nExamples:\n";
    for (const std::string_view example : examples) footer += "  " + std::string(example) + "\n";
    return footer;
  }

 private:
  // Beside the column of the names.
  std::string inLines(const std::string& description) const {
    Terminal column = Terminal::ofStandardOutput();
    if (column.width) column.width = std::max(*column.width, 2 * get_column_width()) - get_column_width();
    return wrapped(description, 0, column);
  }
};

void unguardOptions(CLI::App& command) {
  for (CLI::Option* option : command.get_options()) option->transform(unguarded);
  for (CLI::App* subcommand : command.get_subcommands({})) unguardOptions(*subcommand);
}

}  // namespace

std::unique_ptr<CLI::App> makeProgram(std::string_view only) {
  auto program = std::make_unique<CLI::App>(
      "Vesk: an ordinary folder of Markdown notes, and what assistants may do in it.", "vesk");
  program->set_version_flag("--version", "vesk " VESK_VERSION, "Show the version.");
  program->set_help_flag("-h,--help", "Show this help.");
  program->require_subcommand(0, 1);
  program->formatter(std::make_shared<HelpFormatter>());
  const bool isName = isCommand(only);
  for (const auto& [title, commands] : commandGroups())
    for (const auto& [name, add] : commands) {
      if (isName && name != only) continue;
      add(*program);
      program->get_subcommand(std::string(name))->group(title);
    }
  return program;
}

void parse(CLI::App& program, std::vector<std::string> arguments) {
  std::ranges::reverse(arguments);  // as CLI11 wants them
  std::vector<std::string> safe(arguments);
  std::ranges::transform(arguments, safe.begin(), guarded);
  if (safe != arguments) unguardOptions(program);
  program.parse(std::move(safe));
}

std::string pathOf(const CLI::App& command) {
  const CLI::App* parent = command.get_parent();
  return parent ? pathOf(*parent) + " " + command.get_name() : command.get_name();
}

DescribedCommand describe(const CLI::App& command) {
  DescribedCommand described = {
      .path = pathOf(command), .group = command.get_group(), .description = command.get_description()};
  for (const CLI::Option* option : command.get_options()) {
    if (option->get_group().empty()) continue;
    (option->get_positional() ? described.arguments : described.options).push_back(describe(*option));
  }
  for (const CLI::App* subcommand : command.get_subcommands([](const CLI::App*) { return true; }))
    if (!subcommand->get_group().empty()) described.subcommands.push_back(describe(*subcommand));
  return described;
}

bool takesPath(const DescribedOption& option) {
  const auto names = {"FILE", "FOLDER", "EXPORT"};
  return std::ranges::find(names, option.names.front()) != names.end() ||
         std::ranges::find(names, option.value) != names.end();
}

}  // namespace vesk::app
