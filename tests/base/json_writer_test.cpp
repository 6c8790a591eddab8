// JSON as it is written, to the byte.
#include "base/json_writer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace svc {
namespace {

constexpr std::string_view kMark = "\xEF\xBF\xBD";

TEST(JsonWriter, WritesEachKindOfValueWithAndWithoutAName) {
  std::string text = "before ";
  TJsonWriter json(text);
  json.Object().Text("a", "b").Number("c", 0).Name("d").Null().Name("e").Written("true");
  json.List("f").Text("g").Number(std::numeric_limits<std::uint64_t>::max()).Null();
  json.Object().End().List().End().End();
  json.TextIfAny("h", "").TextIfAny("i", "j").TextOrNull("k", "").TextOrNull("l", "m");
  json.Texts("n", {}).Texts("o", {"p"}).Texts("q", {"r", "s"}).End();
  EXPECT_EQ(text,
            R"(before {"a":"b","c":0,"d":null,"e":true,"f":["g",18446744073709551615,null,{},[]],)"
            R"("i":"j","k":null,"l":"m","n":[],"o":["p"],"q":["r","s"]})");
}

TEST(JsonWriter, KeepsToTheLayoutOfEachLevel) {
  std::string text;
  TJsonWriter json(text);
  json.Object(kJsonDocument).Number("schema", 1).List("none", kJsonRows).End();
  json.List("rows", kJsonRows).Object().Text("a", "b").Number("c", 1).End();
  json.Object(kJsonSpaced).Text("a", "b").Number("c", 1).End().End();
  json.List("lines", kJsonLines).End().List("more", kJsonLines).Text("x").Text("y").End().End();
  EXPECT_EQ(
      text,
      "{\n  \"schema\": 1,\n  \"none\": [],\n  \"rows\": [\n    {\"a\":\"b\",\"c\":1},\n"
      "    {\"a\": \"b\", \"c\": 1}\n  ],\n  \"lines\": [\n],\n  \"more\": [\n\"x\",\n\"y\"\n]"
      "\n}");
}

TEST(JsonWriter, GoesOnWhereItsTextWasTakenAway) {
  std::string text, whole;
  TJsonWriter json(text);
  json.Object().List("a");
  for (const char* const item : {"b", "c"}) {
    whole += text;
    text.clear();
    json.Text(item);
  }
  json.End().End();
  EXPECT_EQ(whole + text, R"({"a":["b","c"]})");
}

std::string Written(std::string_view value) {
  std::string text;
  TJsonWriter(text).Text(value);
  return text;
}

TEST(JsonWriter, EscapesWhatJsonDemands) {
  EXPECT_EQ(Written("a\"b\\c\n\x01"), R"("a\"b\\c\n\u0001")");
  EXPECT_EQ(Written("\xC3 \xE2\x82"), "\"" + std::string(kMark) + " " + std::string(kMark) + "\"");
  EXPECT_EQ(Written("\b\t\f\r\v"), R"("\b\t\f\r\u000b")");
  EXPECT_EQ(Written(std::string_view("\0", 1)), R"("\u0000")");
  std::string text;
  TJsonWriter(text).Object().AnyName("a\"b").Number(1).End();
  EXPECT_EQ(text, R"({"a\"b":1})");
}

TEST(JsonWriter, EscapesWhatATerminalWouldObey) {
  EXPECT_EQ(Written("a\x7F"), R"("a\u007f")");
  EXPECT_EQ(Written("\xC2\x80 \xC2\x9F \xC2\xA0"), "\"\\u0080 \\u009f \xC2\xA0\"");
  EXPECT_EQ(Written("\xE2\x80\xA9\xE2\x80\xAA\xE2\x80\xAE\xE2\x80\xAF"),
            "\"\xE2\x80\xA9\\u202a\\u202e\xE2\x80\xAF\"");
  EXPECT_EQ(Written("\xE2\x81\xA5\xE2\x81\xA6\xE2\x81\xA9\xE2\x81\xAA"),
            "\"\xE2\x81\xA5\\u2066\\u2069\xE2\x81\xAA\"");
}

// The ways through a text differ by its length.
TEST(JsonWriter, FindsWhatNeedsAnEscapeWhereverItStands) {
  for (std::size_t size = 1; size < 140; ++size) {
    for (std::size_t at = 0; at < size; ++at) {
      std::string value(size, 'x');
      value[at] = '"';
      const std::string expected = '"' + value.substr(0, at) + '\\' + value.substr(at) + '"';
      ASSERT_EQ(Written(value), expected) << size << ' ' << at;
    }
    EXPECT_EQ(Written(std::string(size, 'x')), '"' + std::string(size, 'x') + '"');
  }
}

}  // namespace
}  // namespace svc
