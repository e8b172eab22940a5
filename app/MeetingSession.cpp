#include "app/MeetingSession.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "core/assistant/SavedChat.h"
#include "core/base/Json.h"
#include "core/base/Text.h"
#include "core/base/Time.h"
#include "core/platform/Environment.h"
#include "core/platform/Folder.h"
#include "core/toolserver/SupportFile.h"

namespace vesk::app {

namespace {

constexpr std::size_t mostAnswers = 200;  // that are remembered, the last ones
constexpr std::string_view yesWord = "yes";
constexpr std::string_view notNowWord = "notNow";

std::string textOf(const Json& json, std::string_view key) {
  const Json* value = json.find(key);
  return value && value->string() ? *value->string() : "";
}

}  // namespace

std::optional<MeetingSession> MeetingSession::load(const LiveMeeting& meeting) {
  const auto json = supportFile::read(environment::supportDirectory(), fileName);
  if (!json || textOf(*json, "title") != meeting.title || textOf(*json, "started") != time::iso8601(meeting.started))
    return std::nullopt;
  const auto provider = assistantProviderWithID(textOf(*json, "provider"));
  if (!provider) return std::nullopt;
  MeetingSession session{.provider = *provider, .seenLine = textOf(*json, "seenLine")};
  if (const std::string id = textOf(*json, "session"); isChatID(id)) session.session = id;
  const Json* answers = json->find("answers");
  if (answers && answers->array())
    for (const Json& each : *answers->array())
      session.answers.push_back({textOf(each, "action"), textOf(each, "answer") == yesWord});
  return session;
}

void MeetingSession::save(const LiveMeeting& meeting) const {
  Json::Array kept;
  for (const Answer& each : answers)
    kept.push_back(Json::Object{{"action", each.action}, {"answer", each.isYes ? yesWord : notNowWord}});
  supportFile::write(environment::supportDirectory(), fileName,
                     Json::Object{{"title", meeting.title},
                                  {"started", time::iso8601(meeting.started)},
                                  {"provider", program(provider).id},
                                  {"session", session},
                                  {"seenLine", seenLine},
                                  {"answers", std::move(kept)}});
}

void MeetingSession::clear() {
  const Folder directory = Folder::open(environment::supportDirectory());
  if (directory.exists(fileName)) directory.removeFile(fileName);
}

AssistantRequest MeetingSession::request(AssistantMode mode, std::string prompt) const {
  return requestTo(provider, mode, std::move(prompt), session);
}

// What was seen in a conversation that can't go on has to be told again.
std::optional<std::string_view> MeetingSession::seen() const {
  return session.empty() || seenLine.empty() ? std::nullopt : std::optional<std::string_view>(seenLine);
}

void MeetingSession::take(const AssistantAnswer& answer, std::string_view line) {
  if (answer.isWhole() || !answer.text.empty()) {
    session = answer.session;
    seenLine = line;
  } else if (answer.failure) {
    session.clear();
  }
}

void MeetingSession::remember(const MeetingProposal& proposal, bool isYes) {
  answers.push_back({proposal.action, isYes});
  if (answers.size() > mostAnswers) answers.erase(answers.begin());
}

std::vector<MeetingProposal> MeetingSession::newProposals(std::string_view reply) const {
  std::vector<MeetingProposal> proposals;
  for (MeetingProposal& each : MeetingAgentReply::parse(reply).proposals) {
    const bool isKnown = std::ranges::find(answers, each.action, &Answer::action) != answers.end();
    const bool isTwice = std::ranges::find(proposals, each.action, &MeetingProposal::action) != proposals.end();
    const bool isReadable = each.action.size() <= longestProposal;
    if (isReadable && !isKnown && !isTwice && proposals.size() < mostProposals) proposals.push_back(std::move(each));
  }
  return proposals;
}

std::string lastLine(const LiveMeeting& meeting) { return meeting.lines.empty() ? "" : meeting.lines.back().id; }

std::string shownProposal(const MeetingProposal& proposal, AssistantProvider provider, const Terminal& terminal) {
  const std::string action = safe(text::collapseWhitespace(proposal.action));
  const std::string skill = safe(text::collapseWhitespace(proposal.skill.value_or("")));
  return fmt::format("{} asks to: {}{}\n", nameOf(provider), styled(action, Style::strong, terminal),
                     skill.empty() ? "" : fmt::format("  (skill: {})", skill));
}

std::optional<bool> yesOrNotNow(std::string_view typed) {
  const std::string answer = text::collapseWhitespace(typed);
  for (const std::string_view each : {"y", "yes"})
    if (text::equalIgnoringCase(answer, each)) return true;
  for (const std::string_view each : {"n", "no", "not now"})
    if (text::equalIgnoringCase(answer, each)) return false;
  return std::nullopt;
}

}  // namespace vesk::app
