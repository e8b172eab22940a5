#include <chrono>

#include <unicode/regex.h>

#include "core/base/Text.h"
#include "core/meetings/MeetingReplies.h"
#include "tests/vault/VaultTesting.h"

namespace vesk {
namespace {

// The text to show, and each proposal as "skill: action".
using Reply = std::pair<std::string, std::vector<std::string>>;

Reply parsed(const std::string& text) {
  const auto reply = MeetingAgentReply::parse(text);
  Reply found(reply.text, {});
  for (const auto& each : reply.proposals) found.second.push_back(each.skill.value_or("none") + ": " + each.action);
  return found;
}

std::string trimmed(const icu::UnicodeString& text) {
  std::string bytes;
  return std::string(text::trimWhitespace(text.toUTF8String(bytes)));
}

// What the pattern finds.
Reply parsedByPattern(const std::string& text) {
  UErrorCode status = U_ZERO_ERROR;
  const auto whole = icu::UnicodeString::fromUTF8(text);
  icu::RegexMatcher pattern(R"RE(<proposal(?:\s+skill="([^"]*)")?\s*>(.*?)</proposal>)RE", whole, UREGEX_DOTALL,
                            status);
  Reply found;
  while (pattern.find()) {
    std::string skill;
    pattern.group(1, status).toUTF8String(skill);
    const std::string action = trimmed(pattern.group(2, status));
    if (!action.empty()) found.second.push_back((skill.empty() ? "none" : skill) + ": " + action);
  }
  found.first = trimmed(pattern.replaceAll("", status).findAndReplace("<nothing/>", ""));
  EXPECT_TRUE(U_SUCCESS(status)) << u_errorName(status);
  return found;
}

TEST(MeetingAgentReply, AgreesWithItsPatternOnRandomTexts) {
  std::mt19937 random(5);
  const std::vector<std::string_view> pieces = {
      "<proposal", "<proposal>", "<proposal skill=\"", "</proposal>", "</proposal>", "\">",   "\"",    ">",
      " ",         "\u2003\n",   " skill=\"",          "a",           "<nothing/>",  "<noth", "ing/>", "ção",
      "skill=",    "<"};
  for (int round = 0; round < 30'000; ++round) {
    const std::string text = test::randomText(random, pieces, 14);
    ASSERT_EQ(parsed(text), parsedByPattern(text)) << text;
  }
}

TEST(MeetingSummary, ListsTheActionItems) {
  struct Case {
    const char* reply;
    MeetingSummary summary;
  };
  const Case cases[] = {
      {" All of it.\n", {"All of it.", {}}},
      {"# A\n<tasks>\n- [ ] Call Ana\r\n\n \t* Send notes\n- Ask\n1. Go\n</tasks>\nEnd\n",
       {"# A\n\nEnd", {"Call Ana", "Send notes", "Ask", "1. Go"}}},
      {"<tasks>a<tasks>\nb</tasks></tasks><tasks>c</tasks>", {"</tasks><tasks>c</tasks>", {"a<tasks>", "b"}}},
      {"a</tasks><tasks>b", {"a</tasks><tasks>b", {}}},
      {"<tasks></tasks>", {"", {}}},
  };
  for (const Case& c : cases) EXPECT_EQ(MeetingSummary::parse(c.reply), c.summary) << c.reply;
}

TEST(MeetingReplies, TakeLinearTime) {
  const std::string hostile[] = {"<proposal>",
                                 "<proposal skill=\"",
                                 "<proposal skill=\"a\"",
                                 "<proposal" + std::string(1000, ' '),
                                 "<proposal>a</proposal>",
                                 "<tasks>",
                                 "<tasks>\n- ",
                                 "<nothing/",
                                 "<proposal",
                                 "\""};
  for (const std::string& piece : hostile) {
    std::string text;
    while (text.size() < 1 << 20) text += piece;
    const auto start = std::chrono::steady_clock::now();
    MeetingAgentReply::parse(text);
    MeetingSummary::parse(text);
    const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - start;
    EXPECT_LT(taken.count(), 1000) << piece;
  }
}

}  // namespace
}  // namespace vesk
