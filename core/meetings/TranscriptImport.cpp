#include "core/meetings/TranscriptImport.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "core/base/Ascii.h"
#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/meetings/MeetingNote.h"
#include "core/vault/MarkdownView.h"

namespace vesk {

namespace {

using std::chrono::seconds;

constexpr std::size_t mostLines = 100'000;
constexpr std::string_view webVttMark = "WEBVTT";
constexpr std::size_t none = std::string_view::npos;

// ---- Pieces of text

// Takes the first line off the text. Lines end with "\n", "\r\n" or "\r", as WebVTT's do.
std::string_view takeLine(std::string_view& text) {
  const std::string_view line = text.substr(0, text.find_first_of("\r\n"));
  text.remove_prefix(line.size());
  const std::size_t lineBreak = text.starts_with("\r\n") ? 2 : 1;
  text.remove_prefix(std::min(lineBreak, text.size()));
  return text::trimWhitespace(line);
}

bool startsWithDigits(std::string_view text, std::size_t count) {
  return text.size() >= count && std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(count),
                                             [](char c) { return ascii::isDigit(c); });
}

// Takes that many digits off the text.
seconds takeDigits(std::string_view& text, std::size_t count) {
  int value = 0;
  for (const char digit : text.substr(0, count)) value = 10 * value + (digit - '0');
  text.remove_prefix(count);
  return seconds(value);
}

// Takes "0:05", "1:00:05" or "00:00:05.250" off the text, in whole seconds. Nullopt, and nothing taken, without one.
std::optional<seconds> takeTime(std::string_view& text) {
  constexpr std::size_t mostDigits = 4;
  std::string_view rest = text;
  std::size_t digits = 0;
  while (digits <= mostDigits && startsWithDigits(rest, digits + 1)) ++digits;
  if (digits == 0 || digits > mostDigits) return std::nullopt;
  seconds time = takeDigits(rest, digits);
  int fields = 1;
  for (; fields < 3 && rest.starts_with(':') && startsWithDigits(rest.substr(1), 2); ++fields) {
    rest.remove_prefix(1);
    time = 60 * time + takeDigits(rest, 2);
  }
  if (fields == 1) return std::nullopt;
  const bool hasFraction = rest.starts_with('.') || rest.starts_with(',');
  if (hasFraction && startsWithDigits(rest.substr(1), 1)) {
    rest.remove_prefix(1);
    while (startsWithDigits(rest, 1)) rest.remove_prefix(1);
  }
  text = rest;
  return time;
}

// The time at which a cue begins, of a line as "00:00:05.250 --> 00:00:07.000".
std::optional<seconds> cueTime(std::string_view line) {
  const auto time = takeTime(line);
  return time && text::trimSpaces(line).starts_with("-->") ? time : std::nullopt;
}

// WebVTT says so in its first line. SubRip begins with a cue, and a cue with its time or its number.
bool holdsCues(std::string_view file) {
  if (file.starts_with(webVttMark)) return true;
  for (int linesSeen = 0; linesSeen < 2 && !file.empty();) {
    const std::string_view line = takeLine(file);
    if (line.empty()) continue;
    if (cueTime(line)) return true;
    ++linesSeen;
  }
  return false;
}

// The text with the characters that WebVTT writes as names.
std::string unescaped(std::string_view text) {
  constexpr std::array<std::pair<std::string_view, std::string_view>, 6> names = {
      {{"&amp;", "&"}, {"&lt;", "<"}, {"&gt;", ">"}, {"&nbsp;", " "}, {"&lrm;", ""}, {"&rlm;", ""}}};
  std::string plain;
  while (!text.empty()) {
    const auto found =
        std::find_if(names.begin(), names.end(), [&](auto& each) { return text.starts_with(each.first); });
    plain += found == names.end() ? text.substr(0, 1) : found->second;
    text.remove_prefix(found == names.end() ? 1 : found->first.size());
  }
  return plain;
}

// "**Ana:** text" as "Ana: text".
std::string withoutBold(std::string_view line) {
  constexpr std::string_view mark = "**";
  const std::size_t end = line.starts_with(mark) ? line.find(mark, mark.size()) : none;
  if (end == none) return std::string(line);
  return std::string(line.substr(mark.size(), end - mark.size())).append(line.substr(end + mark.size()));
}

// The name in a tag such as "v Ana" or "v.loud Ana", where somebody else begins to speak; "" in "/v", where they end.
// Nullopt for every other tag.
std::optional<std::string_view> voice(std::string_view tag) {
  const std::string_view kind = tag.substr(0, tag.find_first_of(". \t"));
  if (kind == "/v") return "";
  if (kind != "v") return std::nullopt;
  const std::size_t blank = tag.find_first_of(" \t");
  return blank == none ? std::string_view() : text::trimWhitespace(tag.substr(blank));
}

// Whether WebVTT or SubRip has such a tag. The time of a word, "00:00:05.000", is one, too.
bool isMarkup(std::string_view tag) {
  constexpr std::array<std::string_view, 10> kinds = {"b", "c", "font", "i", "lang", "rt", "ruby", "s", "u", "v"};
  if (takeTime(tag)) return tag.empty();
  if (tag.starts_with('/')) tag.remove_prefix(1);
  const std::string_view kind = tag.substr(0, tag.find_first_of(". \t\n"));
  return std::any_of(kinds.begin(), kinds.end(),
                     [&](std::string_view each) { return text::equalIgnoringCase(each, kind); });
}

// Where the tag that begins at `begin` ends; npos when none does.
std::size_t tagEnd(std::string_view cue, std::size_t begin) {
  if (cue[begin] != '<') return none;
  const std::size_t end = cue.find_first_of("<>", begin + 1);
  const bool isTag = end != none && cue[end] == '>' && isMarkup(cue.substr(begin + 1, end - begin - 1));
  return isTag ? end : none;
}

// The lines between the times of two cues: what is said in the first, and maybe the name of the second. Programs leave
// blank lines within a cue, and none between two, so a line is left out only where it can be nothing that was said.
class CueText {
 public:
  explicit CueText(bool isWebVtt) : isWebVtt_(isWebVtt) {}

  void add(std::string_view line) {
    const bool isBelowBlank = std::exchange(isBlank_, line.empty());
    isNote_ = !line.empty() && (isNote_ || (isWebVtt_ && isBelowBlank && isNoteMark(line)));
    const bool isNumber = startsWithDigits(line, line.size());
    if (!isInCue_ && !line.empty()) isNumbered_ = isNumber;
    if (!isInCue_ || isNote_ || (isNumbered_ && line.empty())) return;
    // A file has a number above every cue, or names above some: in WebVTT, lines that stand alone there.
    const bool mayBeName = isNumbered_ ? isNumber : isWebVtt_ && isBelowBlank;
    const std::size_t begin = text_.size();
    if (!line.empty()) text_.append(line).append("\n");
    endBeforeTime_ = mayBeName ? begin : text_.size();
  }

  // What was said in the cue that ends where the next one's time stands.
  std::string takeBeforeTime() {
    text_.resize(endBeforeTime_);
    endBeforeTime_ = 0;
    isInCue_ = true;
    isBlank_ = isNote_ = false;
    return take();
  }

  std::string take() { return std::exchange(text_, {}); }

 private:
  static bool isNoteMark(std::string_view line) { return line.substr(0, line.find_first_of(" \t")) == "NOTE"; }

  bool isWebVtt_ = false;
  bool isNumbered_ = false;  // the first cue has a number
  bool isInCue_ = false;     // what stands above the first one's time is said by nobody
  bool isBlank_ = false;     // the last line is
  bool isNote_ = false;      // the last line belongs to one of WebVTT's remarks
  std::string text_;
  std::size_t endBeforeTime_ = 0;  // where the text ends should a time follow
};

// ---- The lines

class TranscriptReader {
 public:
  TranscriptReader(Timestamp start, const Calendar& calendar, std::string_view me)
      : start_(std::chrono::floor<seconds>(start)), calendar_(calendar), me_(me), at_(time::nearest(start_)) {}

  void readCues(std::string_view file) {
    CueText cue(file.starts_with(webVttMark));
    while (!file.empty()) {
      const std::string_view line = takeLine(file);
      if (const auto time = cueTime(line)) {
        addCue(cue.takeBeforeTime());
        at_ = afterStart(*time);
      } else {
        cue.add(line);
      }
    }
    addCue(cue.take());
  }

  void readPlain(std::string_view file) {
    while (!file.empty()) {
      const std::string line = withoutBold(takeLine(file));
      std::string_view spoken = line;
      if (const auto time = takeLineTime(spoken)) at_ = *time;
      add(spoken);
    }
  }

  std::vector<TranscriptLine> take() { return std::move(lines_); }

 private:
  Timestamp afterStart(seconds time) const { return time::nearest(start_ + time); }

  // That time of day, on the day of the line before or on the next when it would be long before that.
  Timestamp nextAt(TimeOfDay time) const {
    const Day day = calendar_.day(at_);
    const Timestamp sameDay = calendar_.moment(day, time);
    if (at_ - sameDay < std::chrono::hours(12)) return sameDay;
    return calendar_.moment(std::chrono::sys_days(day) + std::chrono::days(1), time);
  }

  // The time that a line of plain text begins with.
  std::optional<Timestamp> takeLineTime(std::string_view& line) const {
    if (!line.starts_with('[')) {
      std::string_view rest = line;
      const auto time = takeTime(rest);
      if (!time || !(rest.empty() || rest.starts_with(' ') || rest.starts_with('\t'))) return std::nullopt;
      line = rest;
      return afterStart(*time);
    }
    const std::size_t close = line.find(']');
    if (close == none) return std::nullopt;
    std::string_view inside = line.substr(1, close - 1);
    const auto timeOfDay = time::parseTimeOfDay(inside);
    const auto time = takeTime(inside);
    if (!time || !inside.empty()) return std::nullopt;
    line.remove_prefix(close + 1);
    return timeOfDay ? nextAt(*timeOfDay) : afterStart(*time);
  }

  // A line for each voice.
  void addCue(std::string_view cue) {
    std::string name;
    std::string spoken;
    const auto endVoice = [&] {
      const bool isSilent = text::trimWhitespace(spoken).empty();
      if (!isSilent) add(unescaped(name.empty() ? spoken : name + ": " + spoken));
      spoken.clear();
    };
    for (std::size_t begin = 0; begin < cue.size();) {
      const std::size_t end = tagEnd(cue, begin);
      if (end == none) {
        const std::size_t next = std::min(cue.find('<', begin + 1), cue.size());
        spoken += cue.substr(begin, next - begin);
        begin = next;
        continue;
      }
      if (const auto speaker = voice(cue.substr(begin + 1, end - begin - 1))) {
        endVoice();
        name = *speaker;
      }
      begin = end + 1;
    }
    endVoice();
  }

  // Adds what was said, with the speaker's name before it or without.
  void add(std::string_view spoken) {
    const std::size_t colon = spoken.find(':');
    const std::string_view name = colon == none ? std::string_view() : text::trimWhitespace(spoken.substr(0, colon));
    const bool isMe = isAnyOf(MeetingSpeaker::me, name) || (!me_.empty() && text::equalIgnoringCase(name, me_));
    if (isMe || isAnyOf(MeetingSpeaker::others, name)) spoken.remove_prefix(colon + 1);
    const std::string text = text::collapseWhitespace(spoken);
    if (text.empty()) return;
    if (lines_.size() == mostLines) throw Error("This transcript has more than 100,000 lines.");
    lines_.push_back(newTranscriptLine(isMe ? MeetingSpeaker::me : MeetingSpeaker::others, text, at_));
  }

  static bool isAnyOf(MeetingSpeaker speaker, std::string_view name) {
    const auto& words = MeetingNote::words(speaker);
    return std::any_of(words.begin(), words.end(),
                       [&](std::string_view word) { return text::equalIgnoringCase(word, name); });
  }

  std::chrono::sys_seconds start_;
  const Calendar& calendar_;
  std::string_view me_;
  Timestamp at_;  // when what is being read was said
  std::vector<TranscriptLine> lines_;
};

}  // namespace

std::vector<TranscriptLine> importTranscript(std::string_view file, Timestamp start, const Calendar& calendar,
                                             std::string_view me) {
  if (!text::isValidUtf8(file) || file.find('\0') != none)
    throw Error("This isn't UTF-8 text. Save the transcript as UTF-8 and import it again.");
  if (file.starts_with(byteOrderMark)) file.remove_prefix(byteOrderMark.size());
  TranscriptReader reader(start, calendar, text::trimWhitespace(me));
  if (holdsCues(file)) {
    reader.readCues(file);
  } else {
    reader.readPlain(MarkdownView(file).body);  // a note of Vesk's begins with its tags
  }
  std::vector<TranscriptLine> lines = reader.take();
  if (lines.empty()) throw Error("There's no transcript in this file.");
  return lines;
}

}  // namespace vesk
