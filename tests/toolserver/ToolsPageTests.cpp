#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "core/base/Calendar.h"
#include "core/base/Text.h"
#include "core/toolserver/ToolCatalog.h"
#include "tests/client/SampleVault.h"
#include "tests/toolserver/ServedVault.h"

// The second half of docs/tools.md is made here: what the catalog says of each tool, and what the tool answers in the
// sample vault. The test fails when the page says anything else; with VESK_WRITE_DOCS set it writes the page.
namespace vesk {
namespace {

constexpr const char* pageFile = VESK_SOURCE_DIR "/docs/tools.md";
constexpr std::string_view marker = "<!-- Made by tests/toolserver/ToolsPageTests.cpp from here on. -->\n";

struct WorkedCall {
  std::string family = {};   // the heading under which the tool stands
  std::string tool = {};     // its name
  std::string request = {};  // {"name": …, "arguments": …}
  std::string result = {};
};

std::string contentsOfFile(const char* path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// ---- Making the calls

// In the order in which they work. Those of tools that don't exist are left out.
std::vector<WorkedCall> plannedCalls() {
  std::vector<WorkedCall> calls;
  const std::string text = contentsOfFile(VESK_SOURCE_DIR "/tests/client/calls.jsonl");
  for (const std::string_view line : text::split(text, '\n')) {
    if (line.empty()) continue;
    const Json call = Json::parse(line);
    const std::string& tool = *call.find("name")->string();
    EXPECT_TRUE(toolCatalog::find(tool)) << tool;
    calls.push_back({*call.find("family")->string(), tool, "{" + std::string(line.substr(line.find("\"name\"")))});
  }
  return calls;
}

// Ids are random: UUIDs, and those of a diagram's connections.
std::string withFixedIDs(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::size_t length = std::min(text.find_first_not_of("0123456789abcdef-"), text.size());
    if (length == 36)
      result += "6f9619ff-8b86-4d01-b42d-00cf4fc964ff";
    else if (length == 16)
      result += "5c1f0e7a92d84b36";
    else
      result += text.substr(0, length);
    result += text.substr(length, 1);
    text.remove_prefix(std::min(length + 1, text.size()));
  }
  return result;
}

// A file is born when the sample is made: on another day in every run.
std::string withoutBirths(const std::string& text) {
  if (!text.starts_with('{') || !text::contains(text, "notes_saved_per_day")) return text;
  Json result = Json::parse(text);
  const Json::Object days = *result.find("notes_saved_per_day")->object();
  for (const auto& [day, count] : days) result["notes_saved_per_day"][day] = 0;
  return result.pretty();
}

void make(WorkedCall& call, const MCPServer& server) {
  const auto line = server.handle(fmt::format(R"({{"id":1,"method":"tools/call","params":{}}})", call.request)).value();
  const Json answer = Json::parse(line);
  const Json& result = *answer.find("result");
  EXPECT_EQ(result.find("isError"), nullptr) << line;
  const Json& item = result.find("content")->array()->at(0);
  const Json* text = item.find("text");
  call.result = withoutBirths(withFixedIDs(text ? *text->string() : item.compact()));
}

// One change waits before the first call, and none after it.
std::vector<WorkedCall> madeCalls() {
  const test::ServedVault sample;
  test::makeSample(std::filesystem::path(sample.folder.path()).parent_path());
  const MCPServer server(sample.folder.supportDirectory(), {.now = test::sampleTime,
                                                            .calendar = [] { return Calendar("Europe/Lisbon"); },
                                                            .language = [] { return Language::english; }});
  sample.allowAll(ApprovalLevel::always);
  server.run("append_to_note", {{"note", "Watering Log"}, {"text", "November: the barrel is full."}});
  sample.allowAll(ApprovalLevel::trusted);
  std::vector<WorkedCall> calls = plannedCalls();
  for (WorkedCall& call : calls) make(call, server);
  return calls;
}

// ---- The page

std::string typeText(const Parameter& parameter) {
  if (!parameter.values.empty()) {
    std::vector<std::string> values;
    for (const std::string_view value : parameter.values) values.push_back(fmt::format("`\"{}\"`", value));
    return text::join(values, ", ");
  }
  if (parameter.type == "points") return "array of `[x, y]`";
  if (parameter.type == "array") return parameter.members.empty() ? "array of strings" : "array of objects";
  if (parameter.minimum && parameter.maximum)
    return fmt::format("{}, {} to {}", parameter.type, *parameter.minimum, *parameter.maximum);
  if (parameter.minimum) return fmt::format("{}, {} or more", parameter.type, *parameter.minimum);
  return std::string(parameter.type);
}

std::string rows(const std::vector<Parameter>& parameters, const std::string& prefix = {}) {
  std::string text;
  for (const Parameter& parameter : parameters) {
    const std::string name = prefix + std::string(parameter.name);
    text += fmt::format("| `{}` | {}{} | {} |\n", name, typeText(parameter), parameter.required ? ", **required**" : "",
                        parameter.description);
    text += rows(parameter.members, name + "[].");
  }
  return text;
}

std::string factsOf(const Tool& tool) {
  std::string facts = "Needs no switch";
  for (const AccessSwitch& each : accessSwitches())
    if (each.value == tool.needs) facts = fmt::format("Needs `{}`", each.name);
  if (tool.effect == Effect::reads) return facts + " · `readOnlyHint`\n";
  if (tool.effect == Effect::destroys) facts += " · `destructiveHint`";
  std::vector<std::string> levels;
  for (const ApprovalLevel level : {ApprovalLevel::always, ApprovalLevel::important, ApprovalLevel::trusted})
    if (tool.waits(level)) levels.push_back(fmt::format("`{}`", name(level)));
  return fmt::format("{} · {}\n", facts, levels.empty() ? "never waits" : "waits at " + text::join(levels, ", "));
}

// A beginning of a result: as much as shows what it is like.
std::string shortened(std::string_view result) {
  constexpr std::size_t mostLines = 24;
  constexpr std::size_t mostCharacters = 116;
  std::string text;
  const auto lines = text::split(result, '\n');
  for (std::size_t i = 0; i < std::min(lines.size(), mostLines); ++i) {
    const std::string_view line = text::firstCharacters(lines[i], mostCharacters);
    text += fmt::format("{}{}\n", line, line.size() < lines[i].size() ? "…" : "");
  }
  return lines.size() > mostLines ? text + "…\n" : text;
}

std::string entry(const Tool& tool, const WorkedCall& call) {
  const std::string table =
      tool.parameters.empty() ? "" : "| parameter | type | |\n|---|---|---|\n" + rows(tool.parameters) + "\n";
  return fmt::format("\n### `{}`\n\n{}\n\n{}\n{}```json\n{}\n```\n\n```\n{}```\n", tool.name, tool.description,
                     factsOf(tool), table, call.request, shortened(call.result));
}

struct Family {
  std::string heading = {};
  std::vector<std::string> links = {};
  std::string entries = {};
};

// In the order in which the catalog comes upon them, and their tools likewise.
std::vector<Family> familiesOf(const std::vector<WorkedCall>& calls) {
  std::vector<Family> families;
  for (const Tool& tool : toolCatalog::tools()) {
    const auto isOf = [&](const WorkedCall& call) { return call.tool == tool.name; };
    EXPECT_EQ(std::ranges::count_if(calls, isOf), 1) << tool.name << " needs one call in tests/client/calls.jsonl";
    const auto call = std::ranges::find_if(calls, isOf);
    if (call == calls.end()) continue;
    auto family = std::ranges::find(families, call->family, &Family::heading);
    if (family == families.end()) family = families.insert(family, {.heading = call->family});
    family->links.push_back(fmt::format("[{0}](#{0})", tool.name));
    family->entries += entry(tool, *call);
  }
  return families;
}

std::string pageOf(const std::vector<WorkedCall>& calls) {
  std::string list = "\n";
  std::string sections;
  for (const Family& family : familiesOf(calls)) {
    list += fmt::format("- {}: {}\n", family.heading, text::join(family.links, ", "));
    sections += fmt::format("\n## {}\n{}", family.heading, family.entries);
  }
  return list + sections;
}

TEST(ToolsPage, SaysWhatTheToolsSay) {
  const std::string written = contentsOfFile(pageFile);
  const std::size_t end = written.find(marker);
  ASSERT_NE(end, std::string::npos) << pageFile;
  const std::string page = written.substr(0, end) + std::string(marker) + pageOf(madeCalls());
  if (std::getenv("VESK_WRITE_DOCS")) {
    std::ofstream(pageFile, std::ios::binary) << page;
    return;
  }
  const auto is = text::split(written, '\n');
  const auto shouldBe = text::split(page, '\n');
  const auto [line, wanted] = std::ranges::mismatch(is, shouldBe);
  EXPECT_TRUE(line == is.end() && wanted == shouldBe.end())
      << pageFile << ":" << line - is.begin() + 1 << " should be\n"
      << (wanted == shouldBe.end() ? "(the end)" : *wanted)
      << "\nVESK_WRITE_DOCS=1 scripts/test -R ToolsPage writes it.";
}

}  // namespace
}  // namespace vesk
