#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>

#include <gtest/gtest.h>

#include "core/base/Json.h"
#include "core/base/Text.h"

namespace vesk {
namespace {

using namespace std::string_literals;

std::string nested(std::size_t levels) { return std::string(levels, '[') + std::string(levels, ']'); }

std::string errorOf(std::string_view text) {
  try {
    Json::parse(text);
  } catch (const JsonError& error) {
    return error.what();
  }
  return "";
}

TEST(Json, WritesBackWhatItRead) {
  struct Case {
    std::string_view text;
    std::string_view compact;
  };
  const Case cases[] = {
      {" null ", "null"},
      {"[true,false,null]", "[true,false,null]"},
      {"\xEF\xBB\xBF{\"a\" : [ ] , \"b\":{ }}", R"({"a":[],"b":{}})"},
      // Numbers keep their text.
      {"[0,-0,-0.0,1.10,1e5,1E+05,-12]", "[0,-0,-0.0,1.10,1e5,1E+05,-12]"},
      {"[18446744073709551615,18446744073709551616,-9223372036854775809]",
       "[18446744073709551615,18446744073709551616,-9223372036854775809]"},
      {"[0.1000000000000000055511151231257827,1E400,-1e-400]", "[0.1000000000000000055511151231257827,1E400,-1e-400]"},
      // Strings are written in one way, however they were escaped.
      {R"("\/ \u0041 \u00e9 \ud83d\ude00 \uFFFF")", "\"/ A é 😀 \uFFFF\""},
      {R"("\b\f\n\r\t\"\\\u0000\u001F")", R"("\b\f\n\r\t\"\\\u0000\u001f")"},
      {"\"\x7F\"", "\"\x7F\""},
      // Keys are sorted by their bytes; of a key given twice the last value holds, whatever kinds the two are of.
      {R"({"é":1,"b":2,"B":3,"a/b":4,"":5})", R"({"":5,"B":3,"a/b":4,"b":2,"é":1})"},
      {R"({"a":[1,2],"b":0,"a":{"c":3},"a":[4]})", R"({"a":[4],"b":0})"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    const Json value = Json::parse(c.text);
    EXPECT_EQ(value.compact(), c.compact);
    EXPECT_EQ(Json::parse(value.pretty()), value);
  }
}

TEST(Json, LaysOutForPeople) {
  const Json value = Json::parse(R"({"nodes":[{"x":1,"text":"a: b"},[],{}],"edges":[],"meta":{}})");
  EXPECT_EQ(value.pretty(), R"({
  "edges" : [],
  "meta" : {},
  "nodes" : [
    {
      "text" : "a: b",
      "x" : 1
    },
    [],
    {}
  ]
})");
}

TEST(Json, SaysWhereTextIsNoJson) {
  struct Case {
    std::string text;
    std::string where;
  };
  const Case cases[] = {
      {"", "line 1, column 1"},
      {"{\n  \"a\": 1,\n  \"é\": x\n}", "line 3, column 8"},
      {"[1,]", "line 1, column 4"},
      {"[1", "line 1, column 3"},
      {"{} {}", "line 1, column 4"},
      {"nul", "line 1, column 4"},
      {"'a'", "line 1, column 1"},
      {"01", "line 1, column 2"},
      {"[NaN]", "line 1, column 2"},
      {"// note\n1", "line 1, column 1"},
      {"1\0[]"s, "line 1, column 2"},  // a NUL ends nothing
      {"\"a\0b\""s, "line 1, column 3"},
      {"\"a\nb\"", "line 1, column 3"},
      {"\"\\x\"", "line 1, column 3"},
      {"\"\\ud800\"", "line 1, column 8"},  // surrogates come in pairs
      {"\"\\udc00\"", "line 1, column 7"},
      {"\"\\ud800\\u0041\"", "line 1, column 13"},
      {"\"\xFF\"", "line 1, column 2"},
      {"\"\xC0\xAF\"", "line 1, column 2"},          // overlong
      {"{\"\xED\xA0\x80\":1}", "line 1, column 4"},  // a surrogate in UTF-8
      {"\"\xE2\x82", "line 1, column 3"},            // cut short
  };
  for (const Case& c : cases) EXPECT_EQ(errorOf(c.text), "This isn't valid JSON: " + c.where + ".") << c.text;
}

TEST(Json, LimitsDepth) {
  EXPECT_EQ(Json::parse(nested(Json::maximumDepth)).compact(), nested(Json::maximumDepth));
  const std::string tooDeep = "This JSON is nested more than 512 levels deep.";
  EXPECT_EQ(errorOf(nested(Json::maximumDepth + 1)), tooDeep);
  EXPECT_EQ(errorOf(std::string(1'000'000, '[')), tooDeep);
  std::string objects;
  for (int level = 0; level <= Json::maximumDepth; ++level) objects += R"({"a":)";
  EXPECT_EQ(errorOf(objects), tooDeep);
  // Levels that were closed again don't count.
  EXPECT_EQ(errorOf("[" + nested(300) + "," + nested(300) + "]"), "");
}

TEST(Json, ReadsNumbersOnlyAsWhatTheyAre) {
  struct Case {
    const char* text;
    std::optional<std::int64_t> integer;
    std::optional<double> real;
  };
  const Case cases[] = {
      {"42", 42, 42.0},
      {"-0", 0, -0.0},
      {"9223372036854775807", std::numeric_limits<std::int64_t>::max(), 0x1p63},
      {"9223372036854775808", std::nullopt, 0x1p63},
      {"1.0", std::nullopt, 1.0},
      {"1e2", std::nullopt, 100.0},
      {"1E400", std::nullopt, std::nullopt},
      {"\"1\"", std::nullopt, std::nullopt},
      {"true", std::nullopt, std::nullopt},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(Json::parse(c.text).integer(), c.integer);
    EXPECT_EQ(Json::parse(c.text).real(), c.real);
  }
}

TEST(Json, WritesValuesOfTheLanguage) {
  const std::string name = "Ana";
  const Json::Array values = {
      nullptr, true, -7, std::size_t{7}, std::numeric_limits<std::int64_t>::min(), "a", std::string_view("b"), name};
  EXPECT_EQ(Json(values).compact(), R"([null,true,-7,7,-9223372036854775808,"a","b","Ana"])");

  const Json::Array reals = {0.1, 250.0, 100000.0, -0.0, 1e300, 1.0 / 3, 5e-324, 0x1p53};
  EXPECT_EQ(Json(reals).compact(), "[0.1,250,100000,-0,1e+300,0.3333333333333333,5e-324,9007199254740992]");
  for (const Json& real : reals) EXPECT_EQ(Json::parse(real.compact()).real(), real.real());
  EXPECT_THROW(Json{std::numeric_limits<double>::infinity()}, JsonError);
  EXPECT_THROW(Json{std::numeric_limits<double>::quiet_NaN()}, JsonError);

  // A pointer that isn't text must not become `true`.
  static_assert(!std::is_constructible_v<Json, const std::string*>);
  static_assert(!std::is_constructible_v<Json, const Json*>);
}

TEST(Json, FindsAndMakesMembers) {
  Json settings;
  settings["mail"]["port"] = 993;
  settings["mail"]["port"] = 143;
  settings["name"] = "Vesk";
  EXPECT_EQ(settings.compact(), R"({"mail":{"port":143},"name":"Vesk"})");
  EXPECT_THROW(settings["name"]["first"], std::logic_error);

  EXPECT_EQ(*settings.find("name")->string(), "Vesk");
  EXPECT_EQ(settings.find("port"), nullptr);
  EXPECT_EQ(settings.find("name")->find("first"), nullptr);
  EXPECT_EQ(settings.find("name")->array(), nullptr);
  EXPECT_FALSE(settings.find("name")->boolean());
}

TEST(Json, WritesValidUtf8WhateverAStringHolds) {
  struct Case {
    std::string text;
    std::string written;
  };
  const Case cases[] = {
      {"a\xFF"
       "b",
       "\"a\uFFFDb\""},
      {"\x80\n\xC3\xA9", "\"\uFFFD\\né\""},
      {"\uFFFD stays \xFF", "\"\uFFFD stays \uFFFD\""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Json(c.text).compact(), c.written);
    EXPECT_EQ(Json(Json::Object{{c.text, 1}}).compact(), "{" + c.written + ":1}");
  }
  for (const char* text : {"\xE2\x82", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xC0\xAF\xC3"}) {
    EXPECT_TRUE(text::isValidUtf8(Json(text).compact())) << Json(text).compact();
  }
}

}  // namespace
}  // namespace vesk
