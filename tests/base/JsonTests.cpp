#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

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
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"\xEF\xBB\xBF{\"a\" : [ ] , \"b\":{ },\"c\":[true,false,null]} ", R"({"a":[],"b":{},"c":[true,false,null]})"},
      // Numbers keep their text.
      {"[0,-0,-0.0,1.10,1e5,1E+05,-12]", "[0,-0,-0.0,1.10,1e5,1E+05,-12]"},
      {"[18446744073709551616,0.1000000000000000055511151231257827,1E400]",
       "[18446744073709551616,0.1000000000000000055511151231257827,1E400]"},
      // Strings are written in one way, however they were escaped.
      {R"("\/ \u0041 \u00e9 \ud83d\ude00 \uFFFF")", "\"/ A é 😀 \uFFFF\""},
      {R"("\b\f\n\r\t\"\\\u0000\u001F\u007f")", "\"\\b\\f\\n\\r\\t\\\"\\\\\\u0000\\u001f\x7F\""},
      // Keys are sorted by their bytes; of a key given twice the last value holds, whatever kinds the two are of.
      {R"({"é":1,"b":2,"B":3,"a/b":4,"":5})", R"({"":5,"B":3,"a/b":4,"b":2,"é":1})"},
      {R"({"a":[1,2],"b":0,"a":{"c":3},"a":[4]})", R"({"a":[4],"b":0})"},
  };
  for (const auto& [text, compact] : cases) {
    SCOPED_TRACE(text);
    const Json value = Json::parse(text);
    EXPECT_EQ(value.compact(), compact);
    EXPECT_EQ(Json::parse(value.pretty()), value);
  }
}

TEST(Json, LaysOutForPeople) {
  const Json value = Json::parse(R"({"nodes":[{"x":1,"text":"a: b"},[],{}],"edges":[],"meta":{}})");
  EXPECT_EQ(value.pretty(),
            "{\n  \"edges\" : [],\n  \"meta\" : {},\n  \"nodes\" : [\n    {\n      \"text\" : \"a: b\",\n"
            "      \"x\" : 1\n    },\n    [],\n    {}\n  ]\n}");
}

TEST(Json, SaysWhereTextIsNoJson) {
  const std::pair<int, std::vector<std::string>> atColumn[] = {
      {1, {"", "'a'", "// note\n1"}},
      {2, {"01", "[NaN]", "1\0[]"s, "\"\xFF\"", "\"\xC0\xAF\""}},  // a NUL ends nothing
      {3, {"[1", "\"a\nb\"", "\"a\0b\""s, "\"\\x\"", "\"\xE2\x82"}},
      {4, {"[1,]", "{} {}", "nul", "{\"\xED\xA0\x80\":1}"}},
      {7, {R"("\udc00")"}},  // surrogates come in pairs
      {8, {R"("\ud800")"}},
      {13, {R"("\ud800\u0041")"}},
  };
  for (const auto& [column, texts] : atColumn)
    for (const std::string& text : texts)
      EXPECT_EQ(errorOf(text), "This isn't valid JSON: line 1, column " + std::to_string(column) + ".") << text;
  EXPECT_EQ(errorOf("{\n  \"a\": 1,\n  \"é\": x\n}"), "This isn't valid JSON: line 3, column 8.");
}

TEST(Json, LimitsDepth) {
  EXPECT_EQ(Json::parse(nested(Json::maximumDepth)).compact(), nested(Json::maximumDepth));
  std::string objects;
  for (int level = 0; level <= Json::maximumDepth; ++level) objects += R"({"a":)";
  for (const std::string& text : {nested(Json::maximumDepth + 1), std::string(1'000'000, '['), objects})
    EXPECT_EQ(errorOf(text), "This JSON is nested more than 512 levels deep.");
  EXPECT_EQ(errorOf("[" + nested(300) + "," + nested(300) + "]"), "");  // levels that were closed again don't count
}

TEST(Json, ReadsNumbersOnlyAsWhatTheyAre) {
  const std::tuple<const char*, std::optional<std::int64_t>, std::optional<double>> cases[] = {
      {"-0", 0, -0.0},
      {"9223372036854775807", std::numeric_limits<std::int64_t>::max(), 0x1p63},
      {"9223372036854775808", std::nullopt, 0x1p63},
      {"1.0", std::nullopt, 1.0},
      {"1e2", std::nullopt, 100.0},
      {"1E400", std::nullopt, std::nullopt},
      {"\"1\"", std::nullopt, std::nullopt},
  };
  for (const auto& [text, integer, real] : cases) {
    EXPECT_EQ(Json::parse(text).integer(), integer) << text;
    EXPECT_EQ(Json::parse(text).real(), real) << text;
  }
}

TEST(Json, WritesValuesOfTheLanguage) {
  const Json::Array values = {nullptr, true, std::numeric_limits<std::int64_t>::min(), std::string_view("b"), "c"s};
  EXPECT_EQ(Json(values).compact(), R"([null,true,-9223372036854775808,"b","c"])");
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
  EXPECT_EQ(settings.find("port"), nullptr);
  EXPECT_EQ(settings.find("name")->find("first"), nullptr);
}

TEST(Json, WritesValidUtf8WhateverAStringHolds) {
  const std::pair<std::string, std::string> cases[] = {{"\xFF\n\xC3\xA9", "\"\uFFFD\\né\""},
                                                       {"\uFFFD stays \xFF", "\"\uFFFD stays \uFFFD\""}};
  for (const auto& [text, written] : cases) {
    EXPECT_EQ(Json(text).compact(), written);
    EXPECT_EQ(Json(Json::Object{{text, 1}}).compact(), "{" + written + ":1}");
  }
  for (const char* text : {"\xE2\x82", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xC0\xAF\xC3"})
    EXPECT_TRUE(text::isValidUtf8(Json(text).compact())) << Json(text).compact();
}

}  // namespace
}  // namespace vesk
