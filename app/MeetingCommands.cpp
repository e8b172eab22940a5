// vesk meeting: a transcript that grows line by line, and the notes that remain of meetings.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/Commands.h"
#include "app/CurrentVault.h"
#include "app/Days.h"
#include "app/MeetingAssistant.h"
#include "app/MeetingRows.h"
#include "app/MeetingSession.h"
#include "app/Options.h"
#include "app/Question.h"
#include "app/SpokenLines.h"
#include "app/Terminal.h"
#include "core/base/Calendar.h"
#include "core/base/Error.h"
#include "core/base/Json.h"
#include "core/base/Text.h"
#include "core/meetings/LiveMeeting.h"
#include "core/meetings/MeetingList.h"
#include "core/meetings/MeetingNote.h"
#include "core/meetings/TranscriptImport.h"
#include "core/platform/Environment.h"
#include "core/platform/FileError.h"
#include "core/platform/FileLock.h"
#include "core/platform/Folder.h"
#include "core/toolserver/SupportFile.h"

namespace vesk::app {

namespace {

namespace fs = std::filesystem;
using Lines = std::vector<TranscriptLine>;

Timestamp now() { return std::chrono::system_clock::now(); }

// ---- start

void start(const std::vector<std::string>& words) {
  const std::string title = text::collapseWhitespace(text::wellFormed(text::join(words, " ")));
  if (title.empty()) throw Error("A meeting needs a title.");
  currentVault();  // where its notes will go
  const std::string directory = environment::supportDirectory();
  makePrivateFolder(directory);
  const FileLock lock(directory);
  if (const auto running = LiveMeeting::load(directory))
    throw Error(fmt::format("{} is being transcribed since {}. Stop it first, with vesk meeting stop.",
                            shownTitle(running->title), shownTime(running->started, Calendar::ofSystem())));
  if (Folder::open(directory).exists(LiveMeeting::fileName)) {
    fmt::print(stderr, "vesk: {} held no whole meeting. It is kept beside the new one.\n",
               safe(LiveMeeting::url(directory)));
    supportFile::keepAside(directory, LiveMeeting::fileName);
  }
  LiveMeeting{.title = title, .started = now()}.save(directory);
  print("{} has begun.\n", safe(title));
  print("  vesk meeting say [--others] TEXT    adds a line\n");
  print("  RECOGNISER | vesk meeting say       adds each line that a program prints\n");
  print("  vesk meeting stop                   saves the transcript as a note\n");
}

// ---- say

// Adds them to the meeting for which they were heard, unless it is over.
void addLines(Lines lines, const LiveMeeting& heardFor) {
  const std::string directory = environment::supportDirectory();
  const FileLock lock(directory);
  auto meeting = LiveMeeting::load(directory);
  if (!isSame(meeting, heardFor))
    throw Error(fmt::format("The meeting is over, and {} came too late for it.", counted(lines.size(), "line")));
  std::ranges::move(lines, std::back_inserter(meeting->lines));
  meeting->save(directory);
}

void sayLines(MeetingSpeaker speaker) {
  const LiveMeeting meeting = currentMeeting();
  if (::isatty(STDIN_FILENO)) fmt::print(stderr, "Type what is said, and press Ctrl-D when you are done.\n");
  SpokenLines input(speaker);
  std::size_t count = 0;
  for (Lines lines = input.next(); !lines.empty(); lines = input.next()) {
    count += lines.size();
    addLines(std::move(lines), meeting);
  }
  print("Added {} to {}.\n", counted(count, "line"), shownTitle(meeting.title));
}

void say(const std::vector<std::string>& words, MeetingSpeaker speaker) {
  if (words.empty()) return sayLines(speaker);
  const LiveMeeting meeting = currentMeeting();
  const auto line = spokenLine(text::join(words, " "), speaker);
  if (!line) throw Error("Write what was said.");
  addLines({*line}, meeting);
  print("{}", shownLine(*line, Calendar::ofSystem(), Terminal::ofStandardOutput()));
}

// ---- show

Json toJson(const LiveMeeting& meeting) {
  Json::Array lines;
  for (const TranscriptLine& line : meeting.lines)
    lines.push_back(Json::Object{{"id", line.id},
                                 {"speaker", line.speaker == MeetingSpeaker::me ? "me" : "others"},
                                 {"text", line.text},
                                 {"at", time::iso8601(line.at)}});
  Json json;
  json["title"] = meeting.title;
  json["started"] = time::iso8601(meeting.started);
  json["is_sharing_screen"] = meeting.isSharingScreen;
  json["lines"] = std::move(lines);
  return json;
}

void show(bool asJson) {
  const LiveMeeting meeting = currentMeeting();
  if (asJson) return print("{}\n", toJson(meeting).pretty());
  const Terminal terminal = Terminal::ofStandardOutput();
  const Calendar calendar = Calendar::ofSystem();
  print("{}\n", styled(shownTitle(meeting.title), Style::strong, terminal));
  print("since {}, {}{}\n\n", shownTime(meeting.started, calendar), counted(meeting.lines.size(), "line"),
        meeting.isSharingScreen ? ", the screen is shared" : "");
  for (const TranscriptLine& line : meeting.lines) print("{}", shownLine(line, calendar, terminal));
}

// ---- stop

struct StopOptions {
  bool discard = false;
  bool yes = false;
};

std::string saveTranscript(const Vault& vault, const LiveMeeting& meeting, const std::string& folder) {
  return saveMeeting(vault, meeting, folder, Calendar::ofSystem(), environment::language());
}

void clear(const std::string& directory) {
  LiveMeeting::clear(directory);
  MeetingSession::clear();
}

void discard(const LiveMeeting& meeting, bool yes) {
  const std::string lines = counted(meeting.lines.size(), "line");
  if (!yes && !canAsk()) throw Error(fmt::format("This throws away {}. Add --yes if that is what you want.", lines));
  if (!yes && !isConfirmed(fmt::format("Throw away {}, {}? (y/n)", shownTitle(meeting.title), lines)))
    return print("It is still being transcribed.\n");
  const std::string directory = environment::supportDirectory();
  const FileLock lock(directory);
  if (!isSame(LiveMeeting::load(directory), meeting)) throw Error("The meeting is over. Nothing was thrown away.");
  clear(directory);
  print("Threw away {}, {}.\n", shownTitle(meeting.title), lines);
}

void stop(const StopOptions& options) {
  const LiveMeeting running = currentMeeting();
  if (options.discard) return discard(running, options.yes);
  const Vault vault = currentVault();
  const std::string folder = meetingsFolder(vault.scan());
  const std::string directory = environment::supportDirectory();
  const FileLock lock(directory);  // no line is added between the note and the end
  const LiveMeeting meeting = currentMeeting();
  if (meeting.lines.empty()) {
    clear(directory);
    return print("{} is over. Nothing was said, so there is no note of it.\n", shownTitle(meeting.title));
  }
  const std::string path = saveTranscript(vault, meeting, folder);
  print("Saved {}, {}.\n  {}\n", shownTitle(meeting.title), counted(meeting.lines.size(), "line"), safe(path));
  if (Terminal::ofStandardOutput().width) print("For a summary of it: vesk meeting summary\n");
  clear(directory);
}

// ---- list

struct ListOptions {
  std::size_t limit = unlimited;
  bool asJson = false;
};

Json pathOf(const NoteRef& note) { return note ? Json(note->id) : Json(); }

Json toJson(const std::vector<SavedMeeting>& meetings, std::size_t total) {
  Json::Array entries;
  for (const auto& [day, title, summary, transcript] : meetings)
    entries.push_back(Json::Object{{"day", time::isoDay(day)},
                                   {"title", title},
                                   {"summary", pathOf(summary)},
                                   {"transcript", pathOf(transcript)}});
  return Json::Object{{"meetings", std::move(entries)}, {"total", total}};
}

void list(const ListOptions& options) {
  std::vector<SavedMeeting> meetings = savedMeetings(currentVault().scan(), Calendar::ofSystem());
  const std::size_t total = meetings.size();
  meetings.resize(std::min(total, options.limit));
  if (options.asJson) return print("{}\n", toJson(meetings, total).pretty());
  if (meetings.empty()) fmt::print(stderr, "No meeting was found.\n");
  const Terminal terminal = Terminal::ofStandardOutput();
  for (const auto& [day, title, summary, transcript] : meetings) {
    print("{}  {}\n", styled(time::isoDay(day), Style::faint, terminal), styled(safe(title), Style::strong, terminal));
    if (summary) print("    Summary     {}\n", safe(summary->id));
    if (transcript) print("    Transcript  {}\n", safe(transcript->id));
  }
}

// ---- import

struct ImportOptions {
  std::string file = {};
  std::optional<std::string> title = {};
  std::string start = {};
  std::string me = {};
};

// "2026-11-20 14:05"; the day as typedDay() reads it.
std::optional<Timestamp> typedMoment(std::string_view typed) {
  const std::size_t space = typed.rfind(' ');
  if (space == std::string_view::npos) return std::nullopt;
  const auto day = typedDay(typed.substr(0, space));
  const auto time = time::parseTimeOfDay(typed.substr(space + 1));
  if (!day || !time) return std::nullopt;
  return Calendar::ofSystem().moment(*day, *time);
}

CLI::Validator isMoment() {
  const auto complaint = [](const std::string& typed) {
    return typedMoment(typed) ? "" : fmt::format("{} is no day and time. Write \"YYYY-MM-DD HH:MM\".", typed);
  };
  return CLI::Validator(complaint, "");
}

struct TranscriptFile {
  std::string name = {};  // without its ending
  std::string text = {};
  Timestamp modified = {};
};

TranscriptFile readTranscriptFile(const std::string& typed) {
  constexpr std::uint64_t most = std::uint64_t{64} << 20;  // more than any meeting
  std::error_code failure;
  const fs::path path = fs::canonical(typed, failure);
  if (failure) throw FileError("read", typed, failure.value());
  const Folder folder = Folder::open(path.parent_path());
  const auto info = folder.info(path.filename().native());
  if (!info || info->kind != FileKind::file) throw Error(fmt::format("{} is no file.", typed));
  if (info->size > most) throw Error(fmt::format("{} is too large for a transcript.", typed));
  return {fs::path(typed).stem(), folder.read(path.filename().native()), info->modified};
}

// A file is often named for its day: "2026-11-20 Weekly sync.vtt". What is known otherwise comes first.
LiveMeeting meetingOf(const TranscriptFile& file, const ImportOptions& options, const Calendar& calendar) {
  const std::string_view name = file.name;
  const auto day = time::parseDay(name.substr(0, 10));
  LiveMeeting meeting{.title = std::string(day ? text::trim(name.substr(10), " -_") : name), .started = file.modified};
  if (options.title) meeting.title = text::collapseWhitespace(*options.title);
  if (day && calendar.day(file.modified) != *day) meeting.started = calendar.moment(*day, {});
  if (const auto start = typedMoment(options.start)) meeting.started = *start;
  meeting.lines = importTranscript(file.text, meeting.started, calendar, options.me);
  return meeting;
}

void importFile(const ImportOptions& options) {
  const Vault vault = currentVault();
  const Calendar calendar = Calendar::ofSystem();
  const LiveMeeting meeting = meetingOf(readTranscriptFile(options.file), options, calendar);
  const std::string path = saveTranscript(vault, meeting, meetingsFolder(vault.scan()));
  const auto yours = std::ranges::count(meeting.lines, MeetingSpeaker::me, &TranscriptLine::speaker);
  print("Imported {}, {} of them yours, from {} to {}.\n  {}\n", counted(meeting.lines.size(), "line"), yours,
        shownTime(meeting.lines.front().at, calendar), time::text(calendar.time(meeting.lines.back().at)), safe(path));
}

// ---- The commands

void addStartCommand(CLI::App& meeting) {
  const auto words = std::make_shared<std::vector<std::string>>();
  CLI::App* command = meeting.add_subcommand("start", "Begin a transcript.");
  command->add_option("TITLE", *words, "What the meeting is called.")->required();
  command->callback([words] { start(*words); });
}

void addSayCommand(CLI::App& meeting) {
  const auto words = std::make_shared<std::vector<std::string>>();
  const auto others = std::make_shared<bool>(false);
  CLI::App* command = meeting.add_subcommand("say", "Add what is said, or each line of the input as it comes.");
  command->add_option("TEXT", *words, "What was said. \"Me:\" or \"Others:\" before it says by whom.");
  command->add_flag("--others", *others, "Said by somebody else, unless the line itself says by whom.");
  command->callback([words, others] { say(*words, *others ? MeetingSpeaker::others : MeetingSpeaker::me); });
}

void addShowCommand(CLI::App& meeting) {
  const auto asJson = std::make_shared<bool>(false);
  CLI::App* command = meeting.add_subcommand("show", "Show the transcript so far.");
  command->add_flag("--json", *asJson, "Write JSON.");
  command->callback([asJson] { show(*asJson); });
}

void addStopCommand(CLI::App& meeting) {
  const auto options = std::make_shared<StopOptions>();
  CLI::App* command = meeting.add_subcommand("stop", "End the transcript and save it as a note.");
  CLI::Option* discard = command->add_flag("--discard", options->discard, "Throw it away instead.");
  command->add_flag("--yes", options->yes, "Don't ask.")->needs(discard);
  command->callback([options] { stop(*options); });
}

void addListCommand(CLI::App& meeting) {
  const auto options = std::make_shared<ListOptions>();
  CLI::App* command = meeting.add_subcommand("list", "List the meetings that there are notes of, the latest first.");
  command->add_option("--limit", options->limit, "At most so many.")->check(positive());
  command->add_flag("--json", options->asJson, "Write JSON.");
  command->callback([options] { list(*options); });
}

void addImportCommand(CLI::App& meeting) {
  const auto options = std::make_shared<ImportOptions>();
  CLI::App* command = meeting.add_subcommand("import", "Make a note of a transcript: WebVTT, SubRip or plain text.");
  command->add_option("FILE", options->file, "The transcript.")->required();
  command->add_option("--title", options->title, "What the meeting was called; the file's name unless given.");
  command
      ->add_option("--start", options->start, "When it began, \"YYYY-MM-DD HH:MM\"; else by the file's name or time.")
      ->check(isMoment());
  command->add_option("--me", options->me, "Your name in the transcript.")->type_name("NAME");
  command->callback([options] { importFile(*options); });
}

}  // namespace

void addMeetingCommand(CLI::App& program) {
  CLI::App* command = program.add_subcommand("meeting", "Keep the transcript of a meeting, and notes of it.");
  command->require_subcommand(1);
  addStartCommand(*command);
  addSayCommand(*command);
  addShowCommand(*command);
  addStopCommand(*command);
  addListCommand(*command);
  addImportCommand(*command);
  addMeetingAssistantCommands(*command);
}

}  // namespace vesk::app
