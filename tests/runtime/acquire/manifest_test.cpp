#include "runtime/acquire/manifest.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <nlohmann/json.hpp>

#include "outside_numbers.h"
#include "runtime/acquire/settings.h"

namespace svc::acquire {
namespace {

using nlohmann::json;

json Entry() {
  return {{"name", "4620.xml"},
          {"path", "files/4620.xml"},
          {"size", 5},
          {"sha256", std::string(64, 'A')},
          {"machineTypes", {"4620", "4621"}},
          {"os", 203},
          {"arch", 2},
          {"latest", true},
          {"payload", false}};
}

json Document() {
  return {{"schema", 1}, {"serial", 7}, {"expires", "2027-06-30T00:00:00Z"}, {"files", {Entry()}}};
}

std::string Complaint(const json& document) {
  try {
    ParseManifest(document.dump());
    return "";
  } catch (const TError& failure) {
    EXPECT_EQ(OutcomeOf(failure), EOutcome::kBadManifest);
    return failure.what();
  }
}

TManifestFile File(const char* name, int os = 203, int arch = 2) {
  return {name, "p", 1, std::string(64, '0'), {"4620"}, os, arch, true, false};
}

const TSelection kSelection{{"4620"}, {{203, 2}}, true, false};

TEST(Manifest, IsReadWhole) {
  const TManifest manifest = ParseManifest(Document().dump());
  EXPECT_EQ(manifest.serial, 7U);
  EXPECT_EQ(FormatTime(manifest.expires), "2027-06-30T00:00:00Z");
  ASSERT_EQ(manifest.files.size(), 1U);
  const TManifestFile& file = manifest.files.front();
  EXPECT_EQ(file.name, "4620.xml");
  EXPECT_EQ(file.path, "files/4620.xml");
  EXPECT_EQ(file.size, 5U);
  EXPECT_EQ(file.sha256, std::string(64, 'a'));
  EXPECT_EQ(file.machineTypes, (std::vector<std::string>{"4620", "4621"}));
  EXPECT_EQ(file.os, 203);
  EXPECT_EQ(file.arch, 2);
  EXPECT_TRUE(file.latest);
  EXPECT_FALSE(file.payload);
}

TEST(Manifest, MayHoldMoreThanIsKnown) {
  json document = Document();
  document["note"] = {1, 2};
  document["files"][0]["note"] = nullptr;
  EXPECT_EQ(Complaint(document), "");
}

TEST(Manifest, NamesTheMemberThatIsMissingOrWrong) {
  const json whole = Document();
  for (const auto& item : whole.items()) {
    json document = Document();
    document[item.key()] = {{"wrong", 1}};
    EXPECT_NE(Complaint(document).find("\"" + item.key() + "\""), std::string::npos) << item.key();
    document.erase(item.key());
    EXPECT_NE(Complaint(document).find("\"" + item.key() + "\""), std::string::npos) << item.key();
  }
}

TEST(Manifest, NamesTheFileAndTheMemberThatIsMissingOrWrong) {
  const json whole = Entry();
  for (const auto& item : whole.items()) {
    json document = Document();
    document["files"].push_back(Entry());
    document["files"][1][item.key()] = {{"wrong", 1}};
    const std::string complaint = Complaint(document);
    EXPECT_NE(complaint.find("file 2"), std::string::npos) << complaint;
    EXPECT_NE(complaint.find("\"" + item.key() + "\""), std::string::npos) << complaint;
    document["files"][1].erase(item.key());
    EXPECT_NE(Complaint(document).find("file 2"), std::string::npos) << item.key();
  }
}

// What is said of a manifest whose text this is, without the beginning that is always the same.
std::string CauseOf(const std::string& text) {
  constexpr std::string_view kBeginning = "the repository's manifest cannot be used: ";
  try {
    ParseManifest(text);
    return "";
  } catch (const TError& failure) {
    EXPECT_EQ(OutcomeOf(failure), EOutcome::kBadManifest);
    const std::string message = failure.what();
    EXPECT_TRUE(message.starts_with(kBeginning)) << message;
    return message.substr(std::min(kBeginning.size(), message.size()));
  }
}

// The same with another value of a member, of the manifest's or of its file's.
std::string CauseWith(const char* member, const json& value) {
  json document = Document();
  document[member] = value;
  return CauseOf(document.dump());
}
std::string CauseInFile(const char* member, const json& value) {
  json document = Document();
  document["files"][0][member] = value;
  return CauseOf(document.dump());
}

TEST(Manifest, ThatIsNoneIsCalledSo) {
  for (const char* text : {"", "no JSON", "{", "{} more"})
    EXPECT_EQ(CauseOf(text), "it is no JSON");
  for (const char* text : {"[]", "1", "null"}) EXPECT_EQ(CauseOf(text), "it is no object");
  EXPECT_EQ(CauseOf("{}"), "it lacks \"schema\"");
}

TEST(Manifest, OfMoreThanAnyHoldsIsRefusedAsABadOne) {
  const auto nested = [](std::size_t levels) {
    json document = Document();
    document["later"] = json::parse(std::string(levels, '[') + std::string(levels, ']'));
    return document.dump();
  };
  EXPECT_NO_THROW(ParseManifest(nested(63)));
  EXPECT_EQ(CauseOf(nested(64)), "it is nested too deeply");

  const auto holding = [](std::size_t numbers) {
    json document = Document();
    document["later"] = std::vector<int>(numbers);
    return document.dump();
  };
  EXPECT_NO_THROW(ParseManifest(holding(200'000)));
  EXPECT_EQ(CauseOf(holding(300'000)), "it has too many values");
  // Of so many bytes 300,000, of which the other members and the ends of the lists are 14. Those of
  // the file do not count, which is read and forgotten.
  const auto ofOneSize = [&](std::size_t numbers) {
    std::string text = holding(numbers);
    return text.append(1'600'000 - text.size(), ' ');
  };
  EXPECT_NO_THROW(ParseManifest(ofOneSize(299'986)));
  EXPECT_EQ(CauseOf(ofOneSize(299'987)), "it has too many values");
}

// Names and the ends of lists count as values do: it has five names, three texts and numbers, and
// with itself three beginnings and ends, beside its list of so many numbers.
TEST(Manifest, HoldsOneValueForSixteenBytesAndTwoHundredThousandMoreAndNotOneBeyond) {
  constexpr std::size_t kNumbers = 230'000;
  constexpr std::size_t kBytes = (kNumbers + 5 + 3 + 6 - 200'000) * 16;
  json document = Document();
  document["files"] = json::array();
  document["later"] = std::vector<int>(kNumbers);
  const std::string text = document.dump();
  ASSERT_LT(text.size(), kBytes - 1);
  EXPECT_EQ(CauseOf(text + std::string(kBytes - text.size(), ' ')), "");
  EXPECT_EQ(CauseOf(text + std::string(kBytes - 1 - text.size(), ' ')), "it has too many values");
}

TEST(Manifest, SaysOfEachMemberWhatItIsNot) {
  const std::string number = " is no whole number from 0 up";
  EXPECT_EQ(CauseWith("schema", "1"), "it: \"schema\"" + number);
  EXPECT_EQ(CauseWith("schema", 2),
            "it: \"schema\" is 2, this program knows 1; a newer version of it may know more");
  EXPECT_EQ(CauseWith("serial", -1), "it: \"serial\"" + number);
  EXPECT_EQ(CauseWith("expires", 1), "it: \"expires\" is no text");
  EXPECT_EQ(CauseWith("expires", "tomorrow"),
            "it: \"expires\" is not a time in the form 2027-06-30T00:00:00Z");
  EXPECT_EQ(CauseWith("expires", "2027-02-29T00:00:00Z"), "it: \"expires\" is no time that exists");
  EXPECT_EQ(CauseWith("files", json::object()), "it: \"files\" is no list");
  EXPECT_EQ(CauseWith("files", {Entry(), 1}), "file 2 is no object");
  for (const char* member : {"name", "path", "sha256"})
    EXPECT_EQ(CauseInFile(member, 1), "file 1: \"" + std::string(member) + "\" is no text");
  for (const char* member : {"size", "os", "arch"})
    EXPECT_EQ(CauseInFile(member, 1.5), "file 1: \"" + std::string(member) + "\"" + number);
  for (const char* member : {"os", "arch"}) {
    EXPECT_EQ(CauseInFile(member, 2147483648),
              "file 1: \"" + std::string(member) + "\" is too large");
    EXPECT_EQ(CauseInFile(member, 2147483647), "");
  }
  for (const char* member : {"latest", "payload"})
    EXPECT_EQ(CauseInFile(member, 1),
              "file 1: \"" + std::string(member) + "\" is neither true nor false");
  for (const json& none : {json("4620"), json({"4620", 1}), json(nullptr), json({{"a", "b"}})})
    EXPECT_EQ(CauseInFile("machineTypes", none), "file 1: \"machineTypes\" is no list of texts");
  EXPECT_EQ(CauseInFile("sha256", "0"), "file 1: \"sha256\" is not 64 hexadecimal digits");
}

TEST(Manifest, SaysOfANameWhyItIsUnsafe) {
  EXPECT_EQ(CauseInFile("name", "a/b"),
            "file 1: \"name\" is not a plain file name: it holds a separator of folders");
  EXPECT_EQ(CauseInFile("path", "a/../b"),
            "file 1: \"path\" does not stay below the repository: a part of it names a folder");
  EXPECT_EQ(CauseInFile("path", ""),
            "file 1: \"path\" does not stay below the repository: a part of it is empty");
}

TEST(Manifest, SaysWhichMemberIsMissing) {
  for (const char* member : {"schema", "serial", "expires", "files"}) {
    json document = Document();
    document.erase(member);
    EXPECT_EQ(CauseOf(document.dump()), "it lacks \"" + std::string(member) + "\"");
  }
  const json whole = Entry();
  for (const auto& item : whole.items()) {
    json document = Document();
    document["files"].push_back(Entry());
    document["files"][1].erase(item.key());
    EXPECT_EQ(CauseOf(document.dump()), "file 2 lacks \"" + item.key() + "\"");
  }
}

TEST(Manifest, OfAnotherSchemaIsNotLookedIntoAnyFurther) {
  EXPECT_NE(Complaint({{"schema", 2}}).find("\"schema\" is 2"), std::string::npos);
}

// The document with a number of its own in the place of another.
std::string With(const char* place, const char* number) {
  std::string text = Document().dump();
  const std::size_t at = text.find(place) + std::string_view(place).size();
  return text.replace(at, text.find_first_of(",}", at) - at, number);
}

// What the manifest says in that place; nothing where it is refused, with the member's name.
template <typename TRead>
std::optional<std::uint64_t> Told(const char* name, const char* number, TRead read) {
  try {
    return read(ParseManifest(With(("\"" + std::string(name) + "\":").c_str(), number)));
  } catch (const TError& failure) {
    EXPECT_EQ(OutcomeOf(failure), EOutcome::kBadManifest);
    EXPECT_NE(std::string(failure.what()).find(name), std::string::npos) << failure.what();
    return std::nullopt;
  }
}

TEST(Manifest, TakesNoNumberForAnother) {
  for (const auto& [text, value] : kOutsideNumbers) {
    const auto code = value && *value <= kLargestCode ? value : std::nullopt;
    const auto schema = value == 1U ? value : std::nullopt;
    EXPECT_EQ(Told("serial", text, [](const TManifest& read) { return read.serial; }), value)
        << text;
    EXPECT_EQ(Told("size", text, [](const TManifest& read) { return read.files[0].size; }), value)
        << text;
    EXPECT_EQ(Told("os", text, [](const TManifest& read) { return read.files[0].os; }), code)
        << text;
    EXPECT_EQ(Told("arch", text, [](const TManifest& read) { return read.files[0].arch; }), code)
        << text;
    EXPECT_EQ(Told("schema", text, [](const TManifest&) { return 1; }), schema) << text;
  }
}

TEST(Manifest, NamesNoFileByAHashOfAnotherForm) {
  for (const std::string& hash :
       {std::string(63, 'a'), std::string(65, 'a'), std::string(63, 'a') + "g",
        std::string(63, 'a') + " ", std::string()}) {
    json document = Document();
    document["files"][0]["sha256"] = hash;
    EXPECT_NE(Complaint(document).find("64 hexadecimal digits"), std::string::npos) << hash;
  }
}

TEST(Time, IsReadInOneFormOnly) {
  for (const char* text : {"1970-01-01T00:00:00Z", "2000-02-29T23:59:59Z", "9999-12-31T12:00:00Z"})
    EXPECT_EQ(FormatTime(ParseTime(text)), text);
  for (const char* text : {"", "2027-06-30", "2027-06-30T00:00:00", "2027-06-30 00:00:00Z",
                           "2027-06-30T00:00:00+00:00", "2027-13-01T00:00:00Z",
                           "2027-02-29T00:00:00Z", "2027-06-30T24:00:00Z", "2027-06-30T00:60:00Z",
                           "2027-06-30T00:00:60Z", "-027-06-30T00:00:00Z"})
    EXPECT_THROW(ParseTime(text), std::invalid_argument) << text;
}

TEST(Time, IsCountedInSecondsAndHasDigitsOnly) {
  const std::string_view longer = "1970-01-02T03:04:05Z!";
  EXPECT_EQ(ParseTime(longer.substr(0, 20)).time_since_epoch().count(), 97445);
  EXPECT_THROW(ParseTime(longer), std::invalid_argument);
  EXPECT_EQ(ParseTime("1970-01-02T03:04:05Z").time_since_epoch().count(), 97445);
  EXPECT_EQ(FormatTime(std::chrono::sys_seconds(std::chrono::seconds(97445))),
            "1970-01-02T03:04:05Z");
  EXPECT_EQ(FormatTime(std::chrono::sys_seconds(std::chrono::seconds(-1))), "1969-12-31T23:59:59Z");
  for (const char* text : {"2027-06-3/T00:00:00Z", "2027-06-3:T00:00:00Z", "2027-06-30t00:00:00Z",
                           "2027-06-30T00:00:00z", "2027-00-01T00:00:00Z", "2027-06-00T00:00:00Z"})
    EXPECT_THROW(ParseTime(text), std::invalid_argument) << text;
}

TEST(Selection, TakesThePairOfSystemAndArchitecture) {
  EXPECT_TRUE(IsSelected(File("a"), kSelection));
  EXPECT_FALSE(IsSelected(File("a", 203, 1), kSelection));
  EXPECT_FALSE(IsSelected(File("a", 204, 2), kSelection));
}

TEST(Selection, TakesWholeMachineTypes) {
  for (const char* type : {"462", "46200", "", "4620 "}) {
    TManifestFile file = File("a");
    file.machineTypes = {type};
    EXPECT_FALSE(IsSelected(file, kSelection)) << type;
    file.machineTypes.emplace_back("4620");
    EXPECT_TRUE(IsSelected(file, kSelection)) << type;
  }
}

TEST(Selection, TakesSupersededFilesAndPayloadsOnlyWhenAsked) {
  TManifestFile old = File("a");
  old.latest = false;
  TManifestFile payload = File("a");
  payload.payload = true;
  EXPECT_FALSE(IsSelected(old, kSelection));
  EXPECT_FALSE(IsSelected(payload, kSelection));
  const TSelection everything{{"4620"}, {{203, 2}}, false, true};
  EXPECT_TRUE(IsSelected(old, everything));
  EXPECT_TRUE(IsSelected(payload, everything));
}

TEST(Selection, HoldsAFileOfSeveralEntriesOnce) {
  const TSelection both{{"4620"}, {{203, 1}, {203, 2}}, true, false};
  EXPECT_EQ(Select({1, {}, {File("a", 203, 1), File("a"), File("b")}}, both).size(), 2U);
}

TEST(Selection, RefusesTwoFilesOfOneName) {
  TManifestFile other = File("A");
  other.sha256 = std::string(64, '1');
  try {
    Select({1, {}, {File("a"), other}}, kSelection);
    FAIL();
  } catch (const TError& failure) {
    EXPECT_EQ(OutcomeOf(failure), EOutcome::kBadManifest);
    EXPECT_STREQ(failure.what(),
                 "the repository's manifest cannot be used: two different files for this machine "
                 "have the name A");
  }
  other.os = 204;
  EXPECT_EQ(Select({1, {}, {File("a"), other}}, kSelection).size(), 1U);
}

TEST(Descriptions, AreTheLatestOfTheMachineTypesAskedForWhateverTheirSystem) {
  const auto file = [](const char* name, char hash, std::vector<std::string> machineTypes) {
    TManifestFile made = File(name, 101, 1);
    made.sha256 = std::string(64, hash);
    made.machineTypes = std::move(machineTypes);
    return made;
  };
  TManifest manifest{1, {}, {}};
  manifest.files = {file("a", 'a', {"4620"}), file("b", 'b', {"x", "7x0Y"}),
                    file("c", 'c', {"46200"}), file("a too", 'a', {"4620"})};
  TManifestFile old = file("old", 'd', {"4620"});
  old.latest = false;
  TManifestFile payload = file("payload", 'e', {"4620"});
  payload.payload = true;
  manifest.files.insert(manifest.files.end(), {old, payload});
  const auto selected = [&](const std::vector<std::string>& machineTypes) {
    std::string hashes;
    for (const TManifestFile& one : SelectDescriptions(manifest, machineTypes)) {
      EXPECT_EQ(one.name, one.sha256);
      EXPECT_EQ(one.path, "p");
      hashes += one.sha256.front();
    }
    return hashes;
  };
  EXPECT_EQ(selected({"4620"}), "a");
  EXPECT_EQ(selected({"7X0y"}), "b");
  EXPECT_EQ(selected({"462", "46200", "7x0Y"}), "bc");
  EXPECT_EQ(selected({"4620", "X"}), "ab");
  EXPECT_EQ(selected({"462", ""}), "");
  EXPECT_EQ(selected({}), "abc");
}

EOutcome OutcomeOf(const std::function<void()>& check) {
  try {
    check();
    return EOutcome::kDone;
  } catch (const TError& failure) {
    return acquire::OutcomeOf(failure);
  }
}

TEST(Acceptance, EndsWithTheDateOfTheManifest) {
  const auto expires = ParseTime("2027-06-30T00:00:00Z");
  const TManifest manifest{1, expires, {}};
  const std::chrono::seconds second(1);
  EXPECT_EQ(OutcomeOf([&] { CheckManifest(manifest, expires - second, {}); }), EOutcome::kDone);
  EXPECT_EQ(OutcomeOf([&] { CheckManifest(manifest, expires, {}); }), EOutcome::kExpired);
  EXPECT_EQ(OutcomeOf([&] { CheckManifest(manifest, expires + second, {}); }), EOutcome::kExpired);
}

TEST(Acceptance, OfSerialsGoesByTheWholeNumber) {
  for (const auto& [text, value] : kOutsideNumbers) {
    if (!value) continue;
    const std::uint64_t serial = *value;
    const TManifest manifest{serial, {}, {}};
    EXPECT_EQ(OutcomeOf([&] { CheckSerial(manifest, serial); }), EOutcome::kDone) << text;
    const bool hasLess = serial > 0;
    const bool hasMore = serial != std::numeric_limits<std::uint64_t>::max();
    EXPECT_EQ(OutcomeOf([&] { CheckSerial(manifest, serial - hasLess); }), EOutcome::kDone) << text;
    EXPECT_EQ(OutcomeOf([&] { CheckSerial(manifest, serial + hasMore); }),
              hasMore ? EOutcome::kRolledBack : EOutcome::kDone)
        << text;
  }
}

TEST(Acceptance, NeverGoesBack) {
  const TManifest manifest{7, {}, {}};
  EXPECT_EQ(OutcomeOf([&] { CheckSerial(manifest, 0); }), EOutcome::kDone);
  EXPECT_EQ(OutcomeOf([&] { CheckSerial(manifest, 7); }), EOutcome::kDone);
  EXPECT_EQ(OutcomeOf([&] { CheckSerial(manifest, 8); }), EOutcome::kRolledBack);
}

TEST(Acceptance, HasALimitForEachKindOfFile) {
  TLimits limits;
  limits.description = 10;
  limits.payload = 20;
  TManifestFile file = File("a");
  const auto outcome = [&](std::uint64_t size, bool isPayload) {
    file.size = size;
    file.payload = isPayload;
    const TManifest manifest{1, ParseTime("9999-01-01T00:00:00Z"), {file}};
    return OutcomeOf([&] { CheckManifest(manifest, {}, limits); });
  };
  EXPECT_EQ(outcome(10, false), EOutcome::kDone);
  EXPECT_EQ(outcome(11, false), EOutcome::kTooLarge);
  EXPECT_EQ(outcome(9, false), EOutcome::kDone);
  EXPECT_EQ(outcome(20, true), EOutcome::kDone);
  EXPECT_EQ(outcome(21, true), EOutcome::kTooLarge);
  for (const auto& [text, value] : kOutsideNumbers)
    EXPECT_EQ(outcome(value.value_or(21), true),
              value.value_or(21) > 20 ? EOutcome::kTooLarge : EOutcome::kDone)
        << text;
}

}  // namespace
}  // namespace svc::acquire
