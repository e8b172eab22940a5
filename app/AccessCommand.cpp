// vesk access: what assistants may do in the vault.

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/Commands.h"
#include "app/CurrentVault.h"
#include "app/Table.h"
#include "core/base/Json.h"
#include "core/base/Text.h"

namespace vesk::app {

namespace {

struct Options {
  bool asJson = false;
  std::vector<std::string> switches = {};
  std::string level = {};
};

// "canRead" is also found as "canread" and as "read".
const AccessSwitch* switchNamed(std::string_view typed) {
  constexpr std::string_view prefix = "can";
  for (const AccessSwitch& each : accessSwitches()) {
    if (text::equalIgnoringCase(each.name, typed)) return &each;
    if (each.name.starts_with(prefix) && text::equalIgnoringCase(each.name.substr(prefix.size()), typed)) return &each;
  }
  return nullptr;
}

std::string switchNames() {
  std::vector<std::string> names;
  for (const AccessSwitch& each : accessSwitches()) names.emplace_back(each.name);
  return text::join(names, ", ");
}

// CLI11's way of a check: the complaint, or "" when there is none.
std::string complaintAboutSwitch(const std::string& typed) {
  return switchNamed(typed) ? "" : fmt::format("There is no {}. The switches are {}.", typed, switchNames());
}

Json toJson(const AIAccess& access) {
  Json::Array switches;
  for (const AccessSwitch& each : accessSwitches())
    switches.push_back(Json::Object{{"name", each.name}, {"on", access.*each.value}, {"allows", each.allows}});
  Json json;
  json["switches"] = std::move(switches);
  json["level"] = name(access.approval);
  json["level_label"] = label(access.approval);
  return json;
}

std::string describeLevel(const AIAccess& access) {
  return fmt::format("Level: {} ({})\n", name(access.approval), label(access.approval));
}

std::string toText(const AIAccess& access, const Terminal& terminal) {
  constexpr std::size_t allows = 2;
  Table table(allows);
  for (const AccessSwitch& each : accessSwitches()) {
    const bool isOn = access.*each.value;
    table.add({{isOn ? "on" : "off", isOn ? Style::good : Style::faint},
               {std::string(each.name), Style::plain},
               {std::string(each.allows), Style::faint}});
  }
  return table.text(terminal) + "\n" + describeLevel(access);
}

void show(const Options& options) {
  const AIAccess access = currentAccess();
  if (options.asJson) return print("{}\n", toJson(access).pretty());
  print("{}", toText(access, Terminal::ofStandardOutput()));
}

void turn(const Options& options, bool on) {
  changeAccess([&](AIAccess& access) {
    for (const std::string& typed : options.switches) access.*switchNamed(typed)->value = on;
  });
  for (const std::string& typed : options.switches)
    print("{} is {} now.\n", switchNamed(typed)->name, on ? "on" : "off");
}

void setLevel(const Options& options) {
  const auto level = approvalLevelNamed(options.level);
  print("{}", describeLevel(changeAccess([&](AIAccess& access) { access.approval = level.value(); })));
}

void addTurnCommand(CLI::App& access, const std::shared_ptr<Options>& options, bool on) {
  CLI::App* command =
      access.add_subcommand(on ? "on" : "off", on ? "Let assistants do more." : "Let assistants do less.");
  command->add_option("SWITCH", options->switches, "What vesk access lists, such as canSearch.")
      ->required()
      ->check(CLI::Validator(complaintAboutSwitch, ""));
  command->callback([options, on] { turn(*options, on); });
}

void addLevelCommand(CLI::App& access, const std::shared_ptr<Options>& options) {
  CLI::App* command = access.add_subcommand("level", "Say how much of what assistants do waits for you.");
  command->add_option("LEVEL", options->level, "always, important or trusted.")
      ->required()
      ->check(CLI::IsMember({"always", "important", "trusted"}));
  command->callback([options] { setLevel(*options); });
}

}  // namespace

void addAccessCommand(CLI::App& program) {
  const auto options = std::make_shared<Options>();
  CLI::App* command = program.add_subcommand("access", "Show or change what assistants may do.");
  command->add_flag("--json", options->asJson, "Write JSON.");
  command->require_subcommand(0, 1);
  addTurnCommand(*command, options, true);
  addTurnCommand(*command, options, false);
  addLevelCommand(*command, options);
  command->callback([options, command] {
    if (command->get_subcommands().empty()) show(*options);
  });
}

}  // namespace vesk::app
