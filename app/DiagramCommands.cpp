// vesk diagrams and vesk diagram: the vault's diagrams, listed, read as text, and drawn.

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/Commands.h"
#include "app/CurrentVault.h"
#include "app/Days.h"
#include "app/DiagramOutline.h"
#include "app/Options.h"
#include "app/OutputFile.h"
#include "app/Table.h"
#include "app/Terminal.h"
#include "core/base/Calendar.h"
#include "core/base/Error.h"
#include "core/base/Json.h"
#include "core/base/Text.h"
#include "core/base/Time.h"
#include "core/diagrams/DiagramDrawing.h"
#include "core/diagrams/DiagramFiles.h"

namespace vesk::app {

namespace {

using Files = std::vector<DiagramFile>;

// ---- diagrams

struct DiagramsOptions {
  std::size_t limit = unlimited;
  bool asJson = false;
};

Json toJson(const Files& files, std::size_t total) {
  Json::Array entries;
  for (const DiagramFile& file : files)
    entries.push_back(
        Json::Object{{"path", file.path}, {"title", file.title}, {"modified", time::iso8601(file.modified)}});
  return Json::Object{{"diagrams", std::move(entries)}, {"total", total}};
}

std::string toText(const Files& files, const Terminal& terminal) {
  constexpr std::size_t title = 1;
  Table table(title);
  const Calendar calendar = Calendar::ofSystem();
  for (const DiagramFile& file : files)
    table.add(
        {{shownTime(file.modified, calendar), Style::faint}, {file.title, Style::strong}, {file.path, Style::plain}});
  return table.text(terminal);
}

void listDiagrams(const DiagramsOptions& options) {
  Files files = diagrams(currentVault());
  const std::size_t total = files.size();
  files.resize(std::min(total, options.limit));
  if (options.asJson) return print("{}\n", toJson(files, total).pretty());
  if (files.empty()) fmt::print(stderr, "No diagram was found.\n");
  print("{}", toText(files, Terminal::ofStandardOutput()));
}

// ---- Which one is meant

// Throws Error when several have the title.
const DiagramFile* titled(const Files& files, const std::function<bool(const DiagramFile& file)>& isMeant,
                          std::string_view typed) {
  std::vector<std::string> paths;
  const DiagramFile* found = nullptr;
  for (const DiagramFile& file : files) {
    if (!isMeant(file)) continue;
    found = &file;
    paths.push_back(file.path);
  }
  if (paths.size() > 1)
    throw Error(
        fmt::format("Several diagrams are named {}. Write the path of one: {}.", typed, text::join(paths, ", ")));
  return found;
}

// By its path, its exact title, or its title regardless of case; the title may have the file's ending.
DiagramFile diagramNamed(const Vault& vault, std::string_view typed) {
  const Files files = diagrams(vault);
  for (const DiagramFile& file : files)
    if (file.path == typed) return file;
  const std::string_view title =
      typed.ends_with(diagramEnding) ? typed.substr(0, typed.size() - diagramEnding.size()) : typed;
  const auto isExactly = [&](const DiagramFile& file) { return file.title == title; };
  const auto isNearly = [&](const DiagramFile& file) { return text::equalIgnoringCase(file.title, title); };
  if (const DiagramFile* file = titled(files, isExactly, typed)) return *file;
  if (const DiagramFile* file = titled(files, isNearly, typed)) return *file;
  throw Error(fmt::format("There is no diagram {} in the vault. List them with vesk diagrams.", typed));
}

// ---- diagram

struct DiagramOptions {
  std::string name = {};
  bool asJson = false;
  std::string file = "-";
  std::string theme = "auto";
};

void show(const DiagramOptions& options) {
  const Vault vault = currentVault();
  const Diagram diagram = readDiagram(vault, diagramNamed(vault, options.name).path).diagram;
  if (options.asJson) return print("{}\n", diagram.summary().pretty());
  const Terminal terminal = Terminal::ofStandardOutput();
  for (const auto& [text, details, isNode, item] : outlineLines(diagram))
    print("{}{}\n", styled(safe(text), isNode ? Style::strong : Style::plain, terminal),
          details.empty() ? "" : styled(fmt::format("  [{}]", safe(details)), Style::faint, terminal));
}

DiagramTheme themeNamed(std::string_view name) {
  if (name == "light") return DiagramTheme::light;
  return name == "dark" ? DiagramTheme::dark : DiagramTheme::automatic;
}

void draw(const DiagramOptions& options) {
  const Vault vault = currentVault();
  const DiagramFile file = diagramNamed(vault, options.name);
  const std::string picture = drawnAsSVG(readDiagram(vault, file.path).diagram, themeNamed(options.theme));
  if (options.file == "-") return writeData(picture, Terminal::ofStandardOutput());
  writeOutputFile(options.file, picture);
  print("Drew {} in {}.\n", safe(file.title), safe(options.file));
}

void addShowCommand(CLI::App& diagram, const std::shared_ptr<DiagramOptions>& options) {
  CLI::App* command = diagram.add_subcommand("show", "Show its nodes and connections as text.");
  command->add_option("NAME", options->name, "Its title, or its path in the vault.")->required();
  command->add_flag("--json", options->asJson, "Write JSON.");
  command->callback([options] { show(*options); });
}

void addSVGCommand(CLI::App& diagram, const std::shared_ptr<DiagramOptions>& options) {
  CLI::App* command = diagram.add_subcommand("svg", "Draw it as an SVG picture.");
  command->add_option("NAME", options->name, "Its title, or its path in the vault.")->required();
  command->add_option("-o", options->file, "The file to write, instead of the output.")->type_name("FILE");
  command->add_option("--theme", options->theme, "auto, light or dark; auto is as the program that shows it.")
      ->check(CLI::IsMember({"auto", "light", "dark"}));
  command->callback([options] { draw(*options); });
}

}  // namespace

void addDiagramsCommand(CLI::App& program) {
  const auto options = std::make_shared<DiagramsOptions>();
  CLI::App* command = program.add_subcommand("diagrams", "List diagrams, the most recently edited first.");
  command->add_option("--limit", options->limit, "At most so many.")->check(positive());
  command->add_flag("--json", options->asJson, "Write JSON.");
  command->callback([options] { listDiagrams(*options); });
}

void addDiagramCommand(CLI::App& program) {
  const auto options = std::make_shared<DiagramOptions>();
  CLI::App* command = program.add_subcommand("diagram", "Show a diagram as text, or draw it.");
  command->require_subcommand(1);
  addShowCommand(*command, options);
  addSVGCommand(*command, options);
}

}  // namespace vesk::app
