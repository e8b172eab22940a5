#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/assistant/AssistantStreamParser.h"
#include "core/assistant/ChatLinks.h"
#include "core/assistant/JsonLine.h"

namespace vesk {
namespace {

using testing::ElementsAre;

std::string shown(const AssistantEvent& event) {
  switch (event.kind) {
    case AssistantEvent::Kind::session: return "session " + event.text;
    case AssistantEvent::Kind::text: return "text " + event.text;
    case AssistantEvent::Kind::failure: return "failure " + event.text;
    case AssistantEvent::Kind::tool:
      return fmt::format("tool {}({})", event.tool.name, event.tool.detail.value_or("-"));
  }
  return "";
}

// What comes of a stream that arrives in pieces of that size, the first of them shorter.
std::vector<std::string> eventsOf(AssistantProvider provider, std::string_view stream, std::size_t first,
                                  std::size_t size) {
  AssistantStreamParser parser(provider);
  LineBuffer buffer;
  std::vector<AssistantEvent> events;
  for (std::size_t length = first; !stream.empty(); length = size) {
    for (const auto line : buffer.append(stream.substr(0, length))) parser.parse(line, events);
    stream.remove_prefix(std::min(length, stream.size()));
  }
  std::vector<std::string> all;
  for (const AssistantEvent& event : events) all.push_back(shown(event));
  return all;
}

std::vector<std::string> eventsOf(AssistantProvider provider, std::string_view stream) {
  return eventsOf(provider, stream, stream.size(), stream.size());
}

constexpr std::string_view claudeTurn =
    R"({"type":"system","subtype":"init","cwd":"/home/ana","session_id":"9dfd","tools":["mcp__vesk__list_tags"]}
{"type":"system","subtype":"status","status":"requesting","session_id":"9dfd"}
{"type":"stream_event","event":{"message":{"id":"msg_1","content":[]},"type":"message_start"},"session_id":"9dfd"}
{"type":"stream_event","event":{"content_block":{"type":"text","text":""},"type":"content_block_start"}}
{"type":"stream_event","event":{"delta":{"type":"text_delta","text":"Looking\n"},"type":"content_block_delta"}}
{"type":"stream_event","event":{"delta":{"type":"text_delta","text":"é \ud83d\ude00"},"type":"content_block_delta"}}
{"type":"assistant","message":{"content":[{"type":"text","text":"Looking\né"}]},"session_id":"9dfd"}

{"type":"stream_event","event":{"content_block":{"type":"tool_use","name":"x"},"type":"content_block_start"}}
{"type":"stream_event","event":{"delta":{"type":"input_json_delta","partial_json":"{"},"type":"content_block_delta"}}
{"type":"assistant","message":{"content":[{"type":"tool_use","name":"mcp__vesk__list_tags","input":{"query":"plan"}},
{"type":"assistant","message":{"content":[{"type":"tool_use","name":"mcp__vesk__list_tags","input":{"query":"plan"}}]}}
{"type":"user","message":{"role":"user","content":[{"type":"tool_result","content":[{"type":"text","text":"[]"}]}]}}
{"type":"stream_event","event":{"content_block":{"type":"text","text":""},"type":"content_block_start"}}
{"type":"stream_event","event":{"delta":{"type":"text_delta","text":"See [[Plan]]."},"type":"content_block_delta"}}
{"total_cost_usd":2.3999999999999997e-05,"is_error":false,"result":"See [[Plan]].","type":"result"}
)";

constexpr std::string_view codexTurn = R"({"type":"thread.started","thread_id":"01a1"}
{"type":"item.completed","item":{"id":"item_0","type":"error","message":"Model metadata not found."}}
{"type":"turn.started"}
{"type":"item.started","item":{"id":"i1","type":"mcp_tool_call","tool":"list_tags","arguments":{"query":"plan"}}}
{"type":"item.completed","item":{"id":"i1","type":"mcp_tool_call","tool":"list_tags","arguments":{"query":"plan"}}}
{"type":"item.completed","item":{"type":"mcp_tool_call","tool":"read_note","arguments":"{\"note\":\"Plan\"}"}}
{"type":"item.completed","item":{"type":"mcp_tool_call","tool":"read_note","arguments":"Plan"}}
{"type":"item.started","item":{"id":"item_2","type":"agent_message","text":"Do"}}
{"type":"item.completed","item":{"id":"item_2","type":"agent_message","text":"Done, see [[Plan]]."}}
{"type":"item.completed","item":{"id":"item_3","type":"agent_message","text":"Anything else?"}}
{"type":"turn.completed","usage":{"input_tokens":2}}
)";

TEST(AssistantStream, IsTheSameHoweverItIsCut) {
  const std::pair<AssistantProvider, std::string_view> streams[] = {{AssistantProvider::claude, claudeTurn},
                                                                    {AssistantProvider::codex, codexTurn}};
  for (const auto& [provider, stream] : streams) {
    const auto whole = eventsOf(provider, stream);
    EXPECT_EQ(eventsOf(provider, stream, 1, 1), whole);
    for (std::size_t cut = 1; cut < stream.size(); ++cut)
      ASSERT_EQ(eventsOf(provider, stream, cut, stream.size()), whole) << cut;
  }
  EXPECT_THAT(eventsOf(AssistantProvider::claude, claudeTurn),
              ElementsAre("session 9dfd", "text Looking\n", "text é 😀", "tool list_tags(plan)", "text \n\n",
                          "text See [[Plan]]."));
  EXPECT_THAT(eventsOf(AssistantProvider::codex, codexTurn),
              ElementsAre("session 01a1", "tool list_tags(plan)", "tool read_note(Plan)", "tool read_note(-)",
                          "text Done, see [[Plan]].", "text \n\nAnything else?"));
}

TEST(AssistantStream, TellsWhatWentWrong) {
  struct Case {
    AssistantProvider provider;
    const char* line;
    std::vector<std::string> events;
  };
  const std::string fallback = "failure The assistant stopped with an error.";
  const auto claude = AssistantProvider::claude;
  const auto codex = AssistantProvider::codex;
  const Case cases[] = {
      {claude,
       R"({"type":"result","is_error":true,"result":"Not logged in","errors":["x"]})",
       {"failure Not logged in"}},
      {claude,
       R"({"type":"result","is_error":true,"result":1,"errors":["No conversation","x"]})",
       {"failure No conversation"}},
      {claude, R"({"type":"result","is_error":true,"errors":[]})", {fallback}},
      {claude, R"({"type":"result","is_error":"true","result":"x"})", {}},
      {codex, R"({"type":"turn.failed","error":{"message":"Over the limit"}})", {"failure Over the limit"}},
      {codex, R"({"type":"turn.failed","error":"x"})", {fallback}},
      {codex, R"({"type":"error","message":"Reconnecting"})", {"failure Reconnecting"}},
      {codex, R"({"type":"error"})", {fallback}},
      // Nothing of what can't be read, or isn't what it should be.
      {claude, R"([{"type":"system","subtype":"init","session_id":"a"}])", {}},
      {claude, R"({"type":"system","subtype":"init","session_id":1})", {}},
      {claude, R"({"type":"result","is_error":true} x)", {}},
      {claude, R"({"type":7})", {}},
      {claude,
       R"({"type":"assistant","message":{"content":[{"type":"tool_use"},3,{"type":"tool_use","name":7}]}})",
       {}},
      {claude, R"({"type":"stream_event","event":{"type":"content_block_delta","delta":{"type":"text_delta"}}})", {}},
      {codex, R"({"type":"item.started","item":[]})", {}},
      // The argument that says most.
      {claude,
       R"({"type":"assistant","message":{"content":[{"type":"tool_use","name":"mcp__other__x"},)"
       R"({"type":"tool_use","name":"a","input":{"query":"","name":"n","title":"t","note":3}}]}})",
       {"tool mcp__other__x(-)", "tool a(t)"}},
  };
  for (const Case& c : cases) EXPECT_EQ(eventsOf(c.provider, std::string(c.line) + "\n"), c.events) << c.line;
}

TEST(AssistantStream, DropsALineThatNeverEnds) {
  LineBuffer buffer;
  const std::string piece(1 << 20, 'x');
  std::size_t most = 0;
  for (int i = 0; i < 40; ++i) {
    EXPECT_THAT(buffer.append(piece), ElementsAre());
    most = std::max(most, buffer.pending.size());
  }
  EXPECT_LE(most, LineBuffer::maximumLine);
  EXPECT_THAT(buffer.append("x\nnext\nla"), ElementsAre("", "next"));
  EXPECT_THAT(buffer.append("st\n"), ElementsAre("last"));
}

TEST(ChatToolUse, IsKeptAsJson) {
  for (const ChatToolUse& use : {ChatToolUse{"list_tags"}, ChatToolUse{"search", "a \"plan\""}})
    EXPECT_EQ(chatToolUseFrom(Json::parse(toJson(use).compact())), use);
  EXPECT_EQ(toJson(ChatToolUse{"search", "plan"}).compact(), R"({"detail":"plan","name":"search"})");
  for (const char* text : {"[]", R"({"detail":"x"})", R"({"name":1})", R"({"name":"a","detail":1})"})
    EXPECT_EQ(chatToolUseFrom(Json::parse(text)), std::nullopt) << text;
}

TEST(JsonLine, TakesWhatJsonIs) {
  const std::string deep(512, '[');
  const std::string closed(512, ']');
  for (const std::string& text :
       {std::string("{}"), std::string(" [ ] "), std::string("\xEF\xBB\xBF{\"a\":[1,-0,0.5e+9,1E400,{}],\"b\":null}\r"),
        std::string(R"("\"\\\/\b\f\n\r\t\u00e9\uD83D\uDE00é")"), std::string("true"), deep + closed})
    EXPECT_NE(JsonLine().read(text).kind(), JsonLine::Kind::none) << text;
  for (const std::string& text : {std::string(),
                                  std::string("{"),
                                  std::string("[1,]"),
                                  std::string("{,}"),
                                  std::string(R"({"a":1,})"),
                                  std::string(R"({"a"})"),
                                  std::string("[1 2]"),
                                  std::string("[}"),
                                  std::string("01"),
                                  std::string("-"),
                                  std::string("1."),
                                  std::string("1e"),
                                  std::string("+1"),
                                  std::string(".5"),
                                  std::string("nul"),
                                  std::string("nulls"),
                                  std::string("\"a\tb\""),
                                  std::string(R"("\x")"),
                                  std::string(R"("\u12")"),
                                  std::string(R"("\uD83D")"),
                                  std::string(R"("\uDE00")"),
                                  std::string(R"("\uD83Dx")"),
                                  std::string("\"a"),
                                  std::string("\"a\\"),
                                  std::string("\"\xFF\""),
                                  std::string("{}\0", 3),
                                  std::string("[\0]", 3),
                                  "[" + deep + closed + "]"})
    EXPECT_EQ(JsonLine().read(text).kind(), JsonLine::Kind::none) << text;

  JsonLine line;
  const auto object = line.read(R"({"a":1,"t\u0079pe":"x","l":[{"m":[2]},"s"],"a":"last"})");
  EXPECT_EQ(object["a"].string(), "last");
  EXPECT_TRUE(object["type"].isString("x"));
  EXPECT_EQ(object["l"].elements().size(), 2u);
  EXPECT_EQ(object["l"].elements()[1].string(), "s");
  EXPECT_EQ(object["l"]["m"].elements().size(), 0u);
}

TEST(JsonLine, ReadsALineAlikeWhateverCameBefore) {
  const std::string first = R"({"type":"a\"b","o":{"text":"one","n":[1,true]},"id":"x","last":{}})";
  // What a part of the line becomes. Some are no JSON any more.
  const std::vector<std::pair<std::string, std::string>> changes = {{"one", "one and two, \\u00e9"},
                                                                    {"one", ""},
                                                                    {"one", "on\""},
                                                                    {"one", "\\x"},
                                                                    {"one\"", "one"},
                                                                    {"\"one\"", "1"},
                                                                    {"a\\\"b", "a\\\"c"},
                                                                    {"a\\\"b", "plain"},
                                                                    {"\"x\"", "\"y\""},
                                                                    {"[1,true]", "[1,false]"},
                                                                    {"[1,true]", "[]"},
                                                                    {"{}}", "{}"},
                                                                    {"{}}", "{}}}"},
                                                                    {"type", "tipe"}};
  std::vector<std::string> lines = {first};
  for (const auto& [part, other] : changes)
    lines.push_back(std::string(first).replace(first.find(part), part.size(), other));
  JsonLine reader;
  for (const std::string& before : lines) {
    for (const std::string& line : lines) {
      reader.read(before);
      const auto value = reader.read(line);
      JsonLine fresh;
      const auto expected = fresh.read(line);
      ASSERT_EQ(value.kind(), expected.kind()) << before << "\n" << line;
      ASSERT_EQ(value["type"].string(), expected["type"].string()) << before << "\n" << line;
      ASSERT_EQ(value["o"]["text"].string(), expected["o"]["text"].string()) << before << "\n" << line;
      ASSERT_EQ(value["o"]["n"].elements().size(), expected["o"]["n"].elements().size()) << before << "\n" << line;
      ASSERT_EQ(value["id"].string(), expected["id"].string()) << before << "\n" << line;
    }
  }
}

TEST(JsonLine, ReadsNothingBehindALineThatIsCut) {
  const std::string line = R"({"a":[1.5e+3,true,null,"\ud83d\ude00\n"],"b":{"c":false}})";
  for (std::size_t size = 0; size < line.size(); ++size) {
    const std::vector<char> cut(line.begin(), line.begin() + static_cast<std::ptrdiff_t>(size));  // no byte to spare
    EXPECT_EQ(JsonLine().read({cut.data(), size}).kind(), JsonLine::Kind::none) << size;
  }
}

TEST(AssistantStream, TakesALineLikeAPieceOfTheAnswerForWhatItIs) {
  const auto line = [](std::string_view type, std::string_view event, std::string_view delta, std::string_view key) {
    return fmt::format(R"({{"type":"{}","event":{{"type":"{}","delta":{{"type":"{}","{}":"one"}}}}}})"
                       "\n",
                       type, event, delta, key);
  };
  const std::string good = line("stream_event", "content_block_delta", "text_delta", "text");
  const std::string stream = good + line("stream_event", "content_block_delta", "text_delta", "name") + good +
                             line("stream_other", "content_block_delta", "text_delta", "text") +
                             line("stream_event", "content_block_stop", "text_delta", "text") +
                             line("stream_event", "content_block_delta", "json_delta", "text") + good + good;
  EXPECT_THAT(eventsOf(AssistantProvider::claude, stream), ElementsAre("text one", "text one", "text one", "text one"));
}

TEST(ChatLinks, LinkCitationsAndNothingElse) {
  struct Case {
    const char* text;
    const char* linked;
  };
  const Case cases[] = {
      {"See [[Weekly review|the review]].", "See [the review](vesk-note:Weekly%20review)."},
      {"[[Plan]][[Año (2)]]", "[Plan](vesk-note:Plan)[Año (2)](vesk-note:A%C3%B1o%20%282%29)"},
      {"[[[Plan]]] [[a|b|c]] [[a\nb]]", "[[Plan](vesk-note:Plan)] [b|c](vesk-note:a) [a\nb](vesk-note:a%0Ab)"},
      {"[[]] [[|a]] [[a|]] [[a[b]] [[a] ] [[a|b [[c]]", "[[]] [[|a]] [[a|]] [[a[b]] [[a] ] [[a|b [c](vesk-note:c)"},
      {"`[[Code]]` [[a]]\n```\n[[Code]]\n```\n[[b]]",
       "`[[Code]]` [a](vesk-note:a)\n```\n[[Code]]\n```\n[b](vesk-note:b)"},
      {"", ""},
  };
  for (const Case& c : cases) EXPECT_EQ(ChatLinks::linkingNotes(c.text), c.linked) << c.text;

  EXPECT_EQ(ChatLinks::noteTitle("vesk-note:A%C3%B1o%20%282%29"), "Año (2)");
  for (const char* url : {"https://example.org/vesk-note:a", "vesk-note", "vesk-notes:a", "vesk-note:%4",
                          "vesk-note:%zz", "vesk-note:%ff"})
    EXPECT_EQ(ChatLinks::noteTitle(url), std::nullopt) << url;
}

}  // namespace
}  // namespace vesk
