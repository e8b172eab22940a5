// vesk completions: what shells need to complete its commands; and, for the packages, what else is made from them.

#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include "app/BundleManifest.h"
#include "app/CommandTree.h"
#include "app/Commands.h"
#include "app/Completions.h"
#include "app/Manual.h"
#include "app/Options.h"
#include "app/Terminal.h"

namespace vesk::app {

namespace {

struct PackagedOptions {
  std::string file = {};
  std::string date = {};
};

void printCompletions(const std::string& shell) {
  const DescribedCommand program = describe(*makeProgram());
  write(shell == "bash"  ? completions::forBash(program)
        : shell == "zsh" ? completions::forZsh(program)
                         : completions::forFish(program));
}

void printPackaged(const PackagedOptions& options) {
  if (options.file == "vesk.1") return write(manual::veskPage(describe(*makeProgram()), options.date));
  if (options.file == "vesk-mcp.1") return write(manual::toolServerPage(options.date));
  print("{}\n", bundleManifest());
}

}  // namespace

void addCompletionsCommand(CLI::App& program) {
  const auto shell = std::make_shared<std::string>();
  CLI::App* command =
      program.add_subcommand("completions", "Write a script that completes vesk's commands in a shell.");
  command->add_option("SHELL", *shell, "bash, zsh or fish.")->required()->check(CLI::IsMember({"bash", "zsh", "fish"}));
  command->callback([shell] { printCompletions(*shell); });
}

void addPackagedCommand(CLI::App& program) {
  const auto options = std::make_shared<PackagedOptions>();
  CLI::App* command = program.add_subcommand("packaged", "Write a file that the packages of Vesk hold.");
  command->add_option("FILE", options->file, "The file.")
      ->required()
      ->check(CLI::IsMember({"vesk.1", "vesk-mcp.1", "manifest.json"}));
  command->add_option("--date", options->date, "The day of the release, for the manual.")->check(isDay());
  command->callback([options] { printPackaged(*options); });
}

}  // namespace vesk::app
