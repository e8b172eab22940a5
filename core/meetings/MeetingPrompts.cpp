#include "core/meetings/MeetingPrompts.h"

#include <fmt/format.h>

namespace vesk::MeetingPrompts {

std::string brief(std::string_view title) {
  return fmt::format(
      "The user is about to join a meeting called \"{}\". Search their notes and write a short brief: what's related, "
      "what was decided before, and open tasks. Cite notes as [[Note title]]. If the notes have nothing related, say "
      "so "
      "in one line.",
      inOneLine(title));
}

std::string update(const LiveMeeting& meeting, std::optional<std::string_view> after, const Calendar& calendar) {
  const std::string news = meeting.transcript(after, calendar);
  return fmt::format("Meeting: {}\n\n<transcript>\n{}\n</transcript>", inOneLine(meeting.title),
                     news.empty() ? "(nothing new)" : news);
}

std::string question(std::string_view text, const LiveMeeting& meeting, std::optional<std::string_view> after,
                     const Calendar& calendar) {
  return fmt::format("{}\n\nThe user asks you privately:\n{}", update(meeting, after, calendar), text);
}

std::string watch(const LiveMeeting& meeting, std::optional<std::string_view> after, const Calendar& calendar) {
  return update(meeting, after, calendar) +
         "\n\nIs there something useful you could do right now, or a note the user should see? If there is, say it in "
         "a "
         "line or propose it. If not, reply with exactly <nothing/>.";
}

std::string approved(const MeetingProposal& proposal) {
  return "The user said Yes. Do this now, then say in one line what happened:\n" + proposal.action;
}

std::string summary(const LiveMeeting& meeting, const Calendar& calendar) {
  return fmt::format(
      "The meeting \"{}\" just ended. Using the transcript, and the Vesk tools to find related notes, write a Markdown "
      "summary with the sections Summary, Decisions and Next steps, in the language of the meeting. Link related "
      "notes, "
      "people and projects as [[Note title]], only when the note exists. Don't change anything in the vault. After the "
      "summary, list the action items for the user, one per line, inside <tasks></tasks>.\n\n<transcript>\n{}\n"
      "</transcript>",
      inOneLine(meeting.title), meeting.transcript({}, calendar));
}

}  // namespace vesk::MeetingPrompts
