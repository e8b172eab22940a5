// vesk plan: the time set aside for tasks, for any calendar to import.

#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/Commands.h"
#include "app/CurrentVault.h"
#include "app/Days.h"
#include "app/Options.h"
#include "app/OutputFile.h"
#include "app/Table.h"
#include "app/TaskRows.h"
#include "app/Terminal.h"
#include "core/base/Json.h"
#include "core/tasks/PlanCalendar.h"
#include "core/tasks/Planner.h"

namespace vesk::app {

namespace {

using Blocks = std::vector<TaskBlock>;

struct Options {
  std::string from = {};
  std::string to = {};
  std::optional<std::string> file = {};
  bool asJson = false;
};

Json toJson(const Blocks& blocks) {
  Json::Array entries;
  for (const TaskBlock& block : blocks)
    entries.push_back(Json::Object{
        {"id", block.id}, {"title", block.title}, {"start", time::iso8601(block.start)}, {"minutes", block.minutes}});
  return Json::Object{{"blocks", std::move(entries)}};
}

std::string toText(const Blocks& blocks, const Calendar& calendar, const Terminal& terminal) {
  constexpr std::size_t title = 2;
  Table table(title);
  std::string shownBefore;
  for (const TaskBlock& block : blocks) {
    const std::string day = shortDay(calendar.day(block.start));
    const auto second = std::chrono::floor<std::chrono::seconds>(block.start);
    const Timestamp end = time::nearest(second + std::chrono::minutes(block.minutes));
    const auto hours = fmt::format("{}–{}", time::text(calendar.time(block.start)), time::text(calendar.time(end)));
    table.add({{day == shownBefore ? "" : day, Style::strong}, {hours, Style::faint}, {block.title, Style::plain}});
    shownBefore = day;
  }
  return table.text(terminal);
}

void writeCalendar(const Blocks& blocks, const std::string& file) {
  const std::string text = iCalendar(blocks);
  if (file == "-") return writeData(text, Terminal::ofStandardOutput());
  writeOutputFile(file, text);
  print("Wrote {} to {}.\n", counted(blocks.size(), "block"), safe(file));
}

void show(const Options& options) {
  const Day from = typedDay(options.from).value_or(today());
  const Day to = typedDay(options.to).value_or(daysAfter(from, 6));
  if (to < from) throw CLI::ValidationError("--to: The last day is before the first.");
  const Calendar calendar = Calendar::ofSystem();
  const Blocks blocks = Planner::blocks(tasksOf(currentVault()), from, to, calendar);
  if (options.file) return writeCalendar(blocks, *options.file);
  if (options.asJson) return print("{}\n", toJson(blocks).pretty());
  if (blocks.empty())
    fmt::print(stderr, "No task from {} to {} has a time of its own.\n", time::isoDay(from), time::isoDay(to));
  print("{}", toText(blocks, calendar, Terminal::ofStandardOutput()));
}

}  // namespace

void addPlanCommand(CLI::App& program) {
  const auto options = std::make_shared<Options>();
  CLI::App* command = program.add_subcommand("plan", "Show the time set aside for tasks, or write it for a calendar.");
  command->add_option("--from", options->from, "The first day; today unless given.")->check(isDay());
  command->add_option("--to", options->to, "The last day; a week from the first unless given.")->check(isDay());
  CLI::Option* file =
      command->add_option("--ics", options->file, "Write an iCalendar file; - is the output.")->type_name("FILE");
  command->add_flag("--json", options->asJson, "Write JSON.")->excludes(file);
  command->callback([options] { show(*options); });
}

}  // namespace vesk::app
