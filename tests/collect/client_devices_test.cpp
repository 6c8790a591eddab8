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

TEST(ClientDevices, HaveAllThatTheAnswerTellsOfThem) {
  const auto devices = ReadClientDevices(
      Answer(R"(7,{"Name":" Dock\n","Vendor":"Example","Version":"1.2","VersionFormat":"unknown",)"
             R"("InstanceIds":["USB\\VID_1","",7,"USB\\VID_2"],"Guid":["no guid",")" +
             std::string(kGuid) +
             R"("],"VendorIds":["USB:0x1","PCI:0x2"],"VendorId":"USB:0x3","Branch":"stable",)"
             R"("VersionBootloader":"0.9"})"));
  ASSERT_EQ(devices.size(), 1U);
  EXPECT_EQ(devices[0].name, "Dock");
  EXPECT_EQ(devices[0].versionFormat, "");
  EXPECT_EQ(devices[0].identifiers, (TTexts{"USB\\VID_1", "USB\\VID_2", kGuid}));
  EXPECT_EQ(devices[0].source, "fwupd");
  EXPECT_EQ(devices[0].vendorIds, (TTexts{"USB:0x1", "PCI:0x2"}));
  EXPECT_EQ(devices[0].branch, "stable");
  EXPECT_EQ(devices[0].bootloaderVersion, "0.9");
}

// As older clients write them.
TEST(ClientDevices, HaveTheListsThatAreOneTextWithBars) {
  const auto vendorsOf = [](const std::string& texts) {
    const auto devices = ReadClientDevices(
        Answer(R"({"InstanceIds":"A","VendorIds":[],"VendorId":")" + texts + "\"}"));
    return devices.size() == 1 ? devices[0].vendorIds : TTexts{"no device"};
  };
  EXPECT_EQ(vendorsOf(""), TTexts());
  EXPECT_EQ(vendorsOf("USB:0x1"), TTexts{"USB:0x1"});
  EXPECT_EQ(vendorsOf("USB:0x1|PCI:0x2"), (TTexts{"USB:0x1", "PCI:0x2"}));
  EXPECT_EQ(vendorsOf("|a||b|"), (TTexts{"a", "b"}));
}

TEST(ClientDevices, HaveTextsAndListsUpToTheirLengths) {
  const auto named = [](std::size_t size) {
    return Answer(R"({"InstanceIds":["A"],"Name":")" + std::string(size, 'x') + "\"}");
  };
  EXPECT_EQ(ReadClientDevices(named(4096)).at(0).name, std::string(4096, 'x'));
  EXPECT_EQ(WhyRefused(named(4097)), "a text is longer than any that a device has");
  const auto known = [](std::size_t count) {
    std::string ids;
    for (std::size_t i = 0; i < count; ++i) ids += "\"A\",";
    return Answer("{\"InstanceIds\":[" + ids + "\"\"]}");
  };
  EXPECT_EQ(ReadClientDevices(known(256)).at(0).identifiers.size(), 256U);
  EXPECT_EQ(WhyRefused(known(257)), "a device has more ids than any has");
}

TEST(ClientDevices, AreReadOfAnAnswerUpToItsSizeAndItsDepth) {
  const std::string answer = Answer("");
  const std::string blanks(kMostClientBytes - answer.size(), ' ');
  EXPECT_EQ(WhyRefused(answer + blanks), "");
  EXPECT_EQ(WhyRefused(answer + blanks + ' '), "it is larger than any list of devices");
  const auto deep = [](std::size_t levels) {
    return "{\"Devices\":[]," + ("\"a\":" + std::string(levels, '[') + std::string(levels, ']')) +
           "}";
  };
  EXPECT_EQ(WhyRefused(deep(15)), "");
  EXPECT_EQ(WhyRefused(deep(16)), "it is nested too deeply");
}

TEST(ClientDevices, AreNoneInAnEmptyAnswer) { EXPECT_TRUE(ReadClientDevices(Answer("")).empty()); }

TEST(ClientDevices, OfWhatIsNoAnswerAreRefused) {
  for (const char* json : {"", "{\"Devices\":[", "no json"})
    EXPECT_EQ(WhyRefused(json), "it is no JSON") << json;
  for (const char* json : {"[]", "{}", "{\"Devices\":7}", "{\"Error\":7}", "{\"Devices\":{}}"})
    EXPECT_EQ(WhyRefused(json), "it is no list of devices") << json;
  EXPECT_EQ(WhyRefused("{\"Error\":{\"Message\":\"No detected devices\"},\"Devices\":[]}"),
            "the client failed: No detected devices");
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
  EXPECT_EQ(WhyRefused(Answer(most + ',' + one)), "it has more than 4096 devices");
}

}  // namespace
}  // namespace svc::collect
