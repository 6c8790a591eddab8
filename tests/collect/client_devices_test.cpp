#include "collect/firmware_device.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/error.h"

namespace svc::collect {
namespace {

using TTexts = std::vector<std::string>;

constexpr const char* kGuid = "d3b67ac1-2a23-5ff4-9c0a-1a5b8e4b9d3e";

std::string Answer(const std::string& devices) { return "{\"Devices\":[" + devices + "]}"; }

std::string WhyRefused(const std::string& json) {
  try {
    ReadClientDevices(json);
  } catch (const TError& error) {
    return error.what();
  }
  return {};
}

TEST(ClientDevices, AreReadInTheirOrderWithoutThoseThatHaveNoIdentifier) {
  const auto devices = ReadClientDevices(
      Answer("{\"Name\":\"Dock\",\"Vendor\":\"Example\",\"Version\":\"1.2\",\"VersionFormat\":"
             "\"triplet\",\"Guid\":[\"" +
             std::string(kGuid) + "\"]},{\"Name\":\"Nothing\",\"Version\":\"1\"}"));
  ASSERT_EQ(devices.size(), 1U);
  EXPECT_EQ(devices[0].name, "Dock");
  EXPECT_EQ(devices[0].vendor, "Example");
  EXPECT_EQ(devices[0].version, "1.2");
  EXPECT_EQ(devices[0].versionFormat, "triplet");
  EXPECT_EQ(devices[0].identifiers, TTexts{kGuid});
}

TEST(ClientDevices, WhatIsOfAnotherFormIsEmpty) {
  const auto devices = ReadClientDevices(
      Answer("{\"Name\":7,\"Version\":[],\"Guid\":[\"" + std::string(kGuid) + "\",8]}"));
  ASSERT_EQ(devices.size(), 1U);
  EXPECT_EQ(devices[0].name, "");
  EXPECT_EQ(devices[0].version, "");
  EXPECT_EQ(devices[0].identifiers, TTexts{kGuid});
}

TEST(ClientDevices, AreNoneInAnEmptyAnswer) { EXPECT_TRUE(ReadClientDevices(Answer("")).empty()); }

TEST(ClientDevices, OfWhatIsNoAnswerAreRefused) {
  for (const char* json : {"", "[]", "{}", "{\"Devices\":7}", "{\"Devices\":[", "no json"}) {
    EXPECT_NE(WhyRefused(json), "") << json;
  }
  const std::string why = WhyRefused("{\"Error\":{\"Message\":\"No detected devices\"}}");
  EXPECT_NE(why.find("No detected devices"), why.npos) << why;
}

TEST(ClientDevices, WhyTheClientFailedIsSaidAlsoWhereItDoesNotSay) {
  EXPECT_EQ(WhyRefused("{\"Error\":{\"Message\":\"\"}}"), "the client failed and does not say why");
  EXPECT_EQ(WhyRefused("{\"Error\":{}}"), "the client failed and does not say why");
  EXPECT_EQ(WhyRefused("{\"Error\":{\"Message\":\"No\"}}"), "the client failed: No");
}

TEST(ClientDevices, AreTakenUpToTheNumberOfTheirValues) {
  // Besides an object, two names, the list of devices, another one, and their ends.
  constexpr std::size_t kMost = 250'000 - 8;
  const auto answer = [](std::size_t count) {
    std::string zeros = "0";
    for (std::size_t i = 1; i < count; ++i) zeros += ",0";
    return "{\"Devices\":[],\"a\":[" + zeros + "]}";
  };
  EXPECT_EQ(WhyRefused(answer(kMost)), "");
  EXPECT_EQ(WhyRefused(answer(kMost + 1)), "it has too many values");
}

TEST(ClientDevices, AreTakenUpToTheirNumberAndNoFurther) {
  const std::string one = "{\"Guid\":[\"" + std::string(kGuid) + "\"]}";
  std::string most = one;
  for (std::size_t i = 1; i < kMostClientDevices; ++i) most += ',' + one;
  EXPECT_EQ(ReadClientDevices(Answer(most)).size(), kMostClientDevices);
  EXPECT_NE(WhyRefused(Answer(most + ',' + one)), "");
}

}  // namespace
}  // namespace svc::collect
