#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>

// The commands of `vesk` as a whole: made for the command line, and told to those who describe them.
namespace vesk::app {

// `vesk` with its commands, and examples in the help of each. All commands, or only the one of that name, which starts
// sooner: it takes longer to make all than to run most.
std::unique_ptr<CLI::App> makeProgram(std::string_view only = "");

// Reads the command line of makeProgram's program, and runs what it says. Throws CLI::Error.
void parse(CLI::App& program, std::vector<std::string> arguments);

// The words that lead to a command: "vesk mail list".
std::string pathOf(const CLI::App& command);

struct DescribedOption {
  std::vector<std::string> names = {};    // "-o", "--limit"; of an argument the one it has in the help: "FOLDER"
  std::string value = {};                 // what it takes: "NUMBER"; empty for a flag
  std::vector<std::string> choices = {};  // the values it can have; empty for any
  std::string description = {};
  bool isRequired = false;
  bool isList = false;  // takes several
};

struct DescribedCommand {
  std::string path = {};   // "vesk mail list"
  std::string group = {};  // the heading it has in the help
  std::string description = {};
  std::vector<DescribedOption> arguments = {};
  std::vector<DescribedOption> options = {};
  std::vector<DescribedCommand> subcommands = {};

  // "list"
  std::string name() const { return path.substr(path.rfind(' ') + 1); }
};

// The command with its subcommands; what is hidden in the help is left out.
DescribedCommand describe(const CLI::App& command);

// Whether it takes the path of a file or a folder.
bool takesPath(const DescribedOption& option);

}  // namespace vesk::app
