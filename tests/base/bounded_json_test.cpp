#include "base/bounded_json.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace svc {
namespace {

using TJson = nlohmann::json;
using TOrdered = nlohmann::ordered_json;

constexpr TJsonBounds kWide{.levels = 64, .values = 1000};

template <typename T = TJson>
T Read(const std::string& text, const TJsonBounds& bounds = kWide) {
  std::size_t values = 0;
  return TBoundedJson<T>(bounds, values).Read(text);
}

std::string WhyRefused(const std::string& text, const TJsonBounds& bounds) {
  try {
    Read<TOrdered>(text, bounds);
  } catch (const TError& error) {
    return error.what();
  }
  return {};
}

std::size_t CountOf(const std::string& text) {
  std::size_t values = 0;
  TBoundedJson<TJson>(kWide, values).Read(text);
  return values;
}

TEST(BoundedJson, IsReadAsTheLibraryReadsIt) {
  for (const char* text :
       {"7", "-7", "1.5", "1e300", "null", "true", "\"a\\u00e4\\ud83d\\ude00\"", "[]", "{}",
        " { \"b\" : [ 1 , { \"c\" : [ [ ] , { } ] } , \"x\" ] , \"a\" : { \"d\" : false } } ",
        "{\"a\":1,\"a\":[2]}", "{\"a\":[1],\"b\":0,\"a\":null}", "[[[1],2],3]"}) {
    EXPECT_EQ(Read(text), TJson::parse(text)) << text;
    EXPECT_EQ(Read<TOrdered>(text).dump(), TOrdered::parse(text).dump()) << text;
  }
}

TEST(BoundedJson, IsRefusedWithTheWordsOfTheLibrary) {
  for (const char* text : {"", "[", "{\"a\"}", "[1,]", "{}x", "\"\\ud800\"", "\"\xFF\"", "1e999",
                           "nul", "[\"a\x01\"]"}) {
    std::string expected;
    try {
      expected = TJson::parse(text).dump();
    } catch (const TJson::exception& error) {
      expected = error.what();
    }
    try {
      Read(text);
      ADD_FAILURE() << text;
    } catch (const TJson::exception& error) {
      EXPECT_EQ(error.what(), expected);
    }
  }
}

TEST(BoundedJson, NestsUpToItsLevelsAndNoFurther) {
  const TJsonBounds bounds{.levels = 3, .values = 1000};
  EXPECT_EQ(WhyRefused("[[[]]]", bounds), "");
  EXPECT_EQ(WhyRefused("{\"a\":{\"b\":1}}", bounds), "");
  for (const char* text : {"[[[[]]]]", "[[[1]]]", "{\"a\":{\"b\":{\"c\":1}}}", "[[[{}"}) {
    EXPECT_EQ(WhyRefused(text, bounds), "it is nested too deeply") << text;
  }
}

TEST(BoundedJson, HasItsValuesAndNoMore) {
  const std::string text = "{\"a\":[1,\"b\",{}],\"c\":null}";
  EXPECT_EQ(CountOf(text), 11U);
  EXPECT_EQ(WhyRefused(text, {.levels = 9, .values = 11}), "");
  EXPECT_EQ(WhyRefused(text, {.levels = 9, .values = 10}), "it has too many values");
}

TEST(BoundedJson, CountsFromOneDocumentToTheNext) {
  std::size_t values = 0;
  for (int i = 0; i < 2; ++i) TBoundedJson<TJson>({.levels = 9, .values = 4}, values).Read("[]");
  EXPECT_EQ(values, 4U);
  TBoundedJson<TJson> third({.levels = 9, .values = 4}, values);
  EXPECT_THROW(third.Read("[]"), TError);
  EXPECT_EQ(values, 5U);
}

TEST(BoundedJson, HasObjectsOfSoManyMembersAndNoMore) {
  const TJsonBounds bounds{.levels = 9, .values = 1000, .members = 2};
  EXPECT_EQ(WhyRefused("[{\"a\":1,\"b\":{\"c\":1,\"d\":2}},{\"a\":1,\"b\":2,\"a\":3}]", bounds),
            "");
  EXPECT_EQ(WhyRefused("[{\"a\":1,\"b\":2,\"c\":3}]", bounds),
            "it has an object of too many members");
}

TEST(BoundedJson, ValuesGrowWithTheBytes) {
  EXPECT_EQ(ValuesInProportion(0), 200'000U);
  EXPECT_EQ(ValuesInProportion(1'600'000), 300'000U);
}

struct TItems {
  explicit TItems(const TJsonBounds& bounds = kWide) : parser(bounds, values) {
    parser.TakeItems(
        "files", [this] { items.clear(); },
        [this](const TJson& item) {
          if (item == "bad") throw std::runtime_error("bad");
          items.push_back(item.dump());
        });
  }
  std::size_t values = 0;
  TBoundedJson<TJson> parser;
  std::vector<std::string> items;
};

TEST(BoundedJsonItems, AreHandedOverOneByOneAndForgotten) {
  TItems all;
  const TJson left = all.parser.Read(
      "{\"a\":[1,{\"files\":[2]}],\"files\":[3,[4,[5]],{\"files\":[6]},\"x\"],\"b\":[7]}");
  EXPECT_EQ(left, TJson::parse("{\"a\":[1,{\"files\":[2]}],\"files\":[],\"b\":[7]}"));
  EXPECT_EQ(all.items, (std::vector<std::string>{"3", "[4,[5]]", "{\"files\":[6]}", "\"x\""}));
  EXPECT_NO_THROW(all.parser.CheckItems());
}

TEST(BoundedJsonItems, AreThoseOfTheLastMemberOfTheName) {
  TItems all;
  EXPECT_EQ(all.parser.Read("{\"files\":[1,2],\"files\":[3]}").dump(), "{\"files\":[]}");
  EXPECT_EQ(all.items, std::vector<std::string>{"3"});
  TItems none;
  EXPECT_EQ(none.parser.Read("{\"files\":[1],\"files\":2}").dump(), "{\"files\":2}");
}

TEST(BoundedJsonItems, AreNoneInAListThatIsNoMemberOfTheDocument) {
  for (const char* text : {"[[1,2]]", "[\"files\",[1]]", "{\"a\":{\"files\":[1]}}"}) {
    TItems none;
    EXPECT_EQ(none.parser.Read(text), TJson::parse(text));
    EXPECT_TRUE(none.items.empty()) << text;
  }
}

TEST(BoundedJsonItems, CountEachByItself) {
  std::string text = "{\"files\":[[1,2]";
  for (int i = 0; i < 1000; ++i) text += ",[1,2]";
  const auto read = [&](std::size_t most) {
    TItems all({.levels = 9, .values = most});
    all.parser.Read(text + "]}");
    EXPECT_EQ(all.items.size(), 1001U);
    return all.values;
  };
  EXPECT_EQ(read(7), 5U);  // With one item there are seven; the ends of list and document follow.
  EXPECT_THROW(read(6), TError);
}

TEST(BoundedJsonItems, WhatIsThrownOfOneIsKeptUntilSomebodyAsks) {
  TItems all;
  EXPECT_EQ(all.parser.Read("{\"files\":[1,\"bad\",2],\"b\":3}").dump(), "{\"b\":3,\"files\":[]}");
  EXPECT_EQ(all.items, std::vector<std::string>{"1"});
  EXPECT_THROW(all.parser.CheckItems(), std::runtime_error);
  TItems again;
  again.parser.Read("{\"files\":[\"bad\"],\"files\":[4]}");
  EXPECT_NO_THROW(again.parser.CheckItems());
  EXPECT_EQ(again.items, std::vector<std::string>{"4"});
}

}  // namespace
}  // namespace svc
