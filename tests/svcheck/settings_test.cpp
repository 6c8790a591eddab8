// Which settings hold beside a command line, and which files are none.

#include <gtest/gtest.h>

#include "svcheck/cli/command_line.h"
#include "svcheck/system/failure.h"
#include "tests/support/temporary_folder.h"

namespace svc {
namespace {

TOptionDescription Option(const std::string& name, const std::string& value,
                          std::vector<std::string> excludes = {}) {
  TOptionDescription option;
  option.names = {name};
  option.value = value;
  option.excludes = std::move(excludes);
  option.configurable = true;
  return option;
}

class HoldingSettings : public testing::Test {
 protected:
  HoldingSettings() {
    check.name = "svcheck check";
    check.options = {Option("--live", "", {"--catalogue"}),
                     Option("--catalogue", "DIR", {"--live"})};
  }
  static TSetting Of(ELayer layer, const std::string& name, const std::string& value,
                     const std::string& verb = "") {
    TSetting setting;
    setting.layer = layer;
    setting.verb = verb;
    setting.name = name;
    setting.values = {value};
    if (layer == ELayer::kEnvironment) {
      setting.variable = "SVCHECK_" + name;
    } else {
      setting.file = "/etc/config.toml";
      setting.line = 3;
      setting.form = name == "live" ? EValueForm::kTruth : EValueForm::kText;
    }
    return setting;
  }
  // Names and values of those that hold.
  std::vector<std::string> Held(const std::vector<TSetting>& settings,
                                const std::vector<std::string>& given = {}) const {
    std::vector<std::string> held;
    for (const THolding& holding : HoldingFor(check, settings, given))
      held.push_back(holding.setting->name + "=" + holding.values.at(0));
    return held;
  }
  using TTexts = std::vector<std::string>;

  TCommandDescription check;
};

constexpr ELayer kLayers[] = {ELayer::kEnvironment, ELayer::kUserFile, ELayer::kSystemFile};

TEST_F(HoldingSettings, ThatSayFalseSetNothingAside) {
  for (const ELayer strong : kLayers) {
    for (const ELayer weak : kLayers) {
      if (weak < strong) continue;
      EXPECT_EQ(Held({Of(strong, "live", "false"), Of(weak, "catalogue", "/c")}),
                (TTexts{"live=false", "catalogue=/c"}));
    }
  }
}

TEST_F(HoldingSettings, SetAsideWhatIsWeakerAndDoesNotGoTogetherWithThem) {
  const TSetting live = Of(ELayer::kEnvironment, "live", "true");
  EXPECT_EQ(Held({live, Of(ELayer::kUserFile, "catalogue", "/c")}), (TTexts{"live=true"}));
  EXPECT_EQ(
      Held({Of(ELayer::kUserFile, "catalogue", "/c"), Of(ELayer::kSystemFile, "live", "true")}),
      (TTexts{"catalogue=/c"}));
  EXPECT_EQ(Held({Of(ELayer::kUserFile, "catalogue", "/c", "check"),
                  Of(ELayer::kUserFile, "live", "true")}),
            (TTexts{"catalogue=/c"}))
      << "the verb's own table is the stronger one";
}

TEST_F(HoldingSettings, OfEqualStrengthThatDoNotGoTogetherAreAMistake) {
  for (const ELayer layer : kLayers) {
    EXPECT_THROW(Held({Of(layer, "live", "true"), Of(layer, "catalogue", "/c")}), TError);
  }
}

TEST_F(HoldingSettings, AreSetAsideByTheCommandLine) {
  const TSetting catalogue = Of(ELayer::kEnvironment, "catalogue", "/c");
  EXPECT_EQ(Held({catalogue}, {"--live"}), TTexts{});
  EXPECT_EQ(Held({catalogue}, {"--catalogue"}), TTexts{});
  EXPECT_EQ(Held({catalogue}, {"--format"}), TTexts{"catalogue=/c"});
}

TEST_F(HoldingSettings, AreThoseOfTheVerbWithOptionsThatMayBeSet) {
  check.options.push_back(Option("--exact", "TEXT"));
  check.options.back().configurable = false;
  EXPECT_EQ(
      Held({Of(ELayer::kUserFile, "catalogue", "/a", "report"), Of(ELayer::kUserFile, "exact", "x"),
            Of(ELayer::kUserFile, "other", "x"), Of(ELayer::kUserFile, "catalogue", "/b", "check"),
            Of(ELayer::kSystemFile, "catalogue", "/c")}),
      TTexts{"catalogue=/b"});
  check.name = "svcheck check deep";
  EXPECT_EQ(Held({Of(ELayer::kUserFile, "catalogue", "/b", "check")}), TTexts{"catalogue=/b"});
}

TEST_F(HoldingSettings, HavePathsOfAFileSeenFromItsFolder) {
  check.options = {Option("--into", "DIR"), Option("--from", "FILE"), Option("--text", "TEXT")};
  const auto valuesOf = [&](TSetting setting, const std::string& value) {
    setting.values = {value, "", "/b"};
    setting.isArray = true;
    for (TOptionDescription& option : check.options) option.repeatable = true;
    const std::vector<TSetting> settings = {setting};
    return HoldingFor(check, settings, {}).at(0).values;
  };
  for (const char* name : {"into", "from"}) {
    EXPECT_EQ(valuesOf(Of(ELayer::kUserFile, name, ""), "a/x"), (TTexts{"/etc/a/x", "", "/b"}));
    EXPECT_EQ(valuesOf(Of(ELayer::kEnvironment, name, ""), "a/x"), (TTexts{"a/x", "", "/b"}));
  }
  EXPECT_EQ(valuesOf(Of(ELayer::kUserFile, "text", ""), "a/x"), (TTexts{"a/x", "", "/b"}));
}

TEST(Setting, NamesItsPlace) {
  TSetting setting;
  setting.variable = "SVCHECK_FORMAT";
  EXPECT_EQ(setting.Place(), "environment SVCHECK_FORMAT");
  setting.file = "/etc/svcheck/config.toml";
  setting.line = 3;
  EXPECT_EQ(setting.Place(), "/etc/svcheck/config.toml:3");
}

TEST(Setting, IsShownWithoutPasswords) {
  EXPECT_EQ(ShownValue("context", "svProxy=h,1,me,secret"), "svProxy=h,1,…");
  EXPECT_EQ(ShownValue("context", "svProxy=h,,me"), "svProxy=h,,…");
  EXPECT_EQ(ShownValue("context", "svProxy=,1,"), "svProxy=,1,…");
  for (const char* whole : {"svProxy=h,1", "svProxy=h", "svProxy=", "svPath=a,b,c,d", ""})
    EXPECT_EQ(ShownValue("context", whole), whole);
  EXPECT_EQ(ShownValue("catalogue", "svProxy=h,1,me,secret"), "svProxy=h,1,me,secret");
  for (const char* name : {"proxy", "repository"})
    EXPECT_EQ(ShownValue(name, "https://me:secret@h/x").find("secret"), std::string::npos) << name;
  EXPECT_EQ(ShownValue("format", "https://me:secret@h/x"), "https://me:secret@h/x");
}

class SettingsFile : public testing::Test {
 protected:
  std::vector<TSetting> Read(const std::string& text) const {
    folder.Write("config.toml", text);
    return ReadSettingsFile(folder.Path() + "/config.toml", ELayer::kUserFile);
  }
  std::string Refusal(const std::string& text) const {
    try {
      Read(text);
      return "none";
    } catch (const TError& failure) {
      EXPECT_EQ(StatusOf(failure), kExitUsage);
      const std::string_view place = "/config.toml";
      const std::string_view what = failure.what();
      return std::string(what.substr(what.find(place) + place.size()));
    }
  }
  static std::string Repeated(const std::string& text, std::size_t times) {
    std::string all;
    all.reserve(text.size() * times);
    for (std::size_t i = 0; i < times; ++i) all += text;
    return all;
  }

  using TTexts = std::vector<std::string>;

  test::TTemporaryFolder folder;
};

TEST_F(SettingsFile, MayHaveKeysOfAFewParts) {
  EXPECT_EQ(Refusal(Repeated("a.", 300'000) + "b = 1\n"), ":1: a key has too many parts");
  constexpr const char* kMany = ": a key has too many parts";
  for (const std::string& part :
       {std::string("a."), std::string("\"a.\"."), std::string("'a' . ")}) {
    EXPECT_EQ(Refusal("\n" + Repeated(part, 17) + "b = 1\n"), ":2" + std::string(kMany)) << part;
    EXPECT_EQ(Refusal("\n" + Repeated(part, 150'000) + "b = 1\n"), ":2" + std::string(kMany));
    EXPECT_EQ(Refusal("[" + Repeated(part, 150'000) + "b]\n"), ":1" + std::string(kMany));
    EXPECT_EQ(Refusal("a = {" + Repeated(part, 150'000) + "b = 1}\n"), ":1" + std::string(kMany));
    EXPECT_EQ(Refusal("x = 1," + Repeated(part, 150'000) + "b = 1}\n"), ":1" + std::string(kMany));
    EXPECT_EQ(Refusal(Repeated(part, 16) + "b = 1\n").find(kMany), std::string::npos) << part;
  }
  EXPECT_EQ(Refusal(Repeated("a-.", 17) + "b = 1\n"), ":1" + std::string(kMany));
  EXPECT_EQ(Refusal("a = [" + Repeated("1.5,", 100) + "1.5]\n").find(kMany), std::string::npos)
      << "each number begins anew";
}

TEST_F(SettingsFile, MayNestAFewListsAndTables) {
  constexpr const char* kDeep = ":2: lists and tables are nested too deeply";
  for (const auto& [open, close] : {std::pair("[", "]"), std::pair("{a=", "}")}) {
    const auto nested = [&, open = open, close = close](std::size_t depth) {
      return "\nformat = " + Repeated(open, depth) + "1" + Repeated(close, depth) + "\n";
    };
    EXPECT_EQ(Refusal(nested(17)), kDeep);
    EXPECT_EQ(Refusal(nested(200'000)), kDeep);
    EXPECT_EQ(Refusal("\nformat = " + Repeated(open, 300'000)), kDeep);
    EXPECT_TRUE(Refusal(nested(16)).find("is neither a text") != std::string::npos);
  }
  EXPECT_EQ(Refusal(Repeated("]}", 1000) + "\nf = " + Repeated("[", 17)), kDeep)
      << "what closes nothing opens nothing";
}

TEST_F(SettingsFile, MayHaveAnyNumberOfListsBesideEachOther) {
  const std::string nested = "f = " + Repeated("[", 16) + "1" + Repeated("]", 16) + "\n";
  EXPECT_TRUE(Refusal("a = []\nb = [[1]]\nc = {}\n" + nested).find("is neither a text") !=
              std::string::npos);
  EXPECT_EQ(Refusal("a = []\n" + nested + "g = " + Repeated("[", 17)).find(":3: lists"), 0U);
}

TEST_F(SettingsFile, ThatEndsWithinATextIsRefused) {
  for (const char* text : {"f = \"a", "f = \"a\\", "f = 'a", "f = \"\"\"a\\", "f = '''a"})
    EXPECT_TRUE(Refusal(text).starts_with(":1: ")) << text << ": " << Refusal(text);
}

TEST_F(SettingsFile, HasThoseOfVerbsBeforeTheGeneralOnes) {
  TTexts told;
  for (const TSetting& setting : Read("format = \"json\"\n[check]\nlive = true\nfail-on = [\"a\", "
                                      "\"b\"]\n[fleet]\njobs = 3\n")) {
    std::string text = setting.verb + "." + setting.name + ":" + std::to_string(setting.line);
    for (const std::string& value : setting.values) text += " " + value;
    told.push_back(text + " " + std::to_string(static_cast<int>(setting.form)) +
                   (setting.isArray ? " list" : ""));
    EXPECT_EQ(setting.layer, ELayer::kUserFile);
    EXPECT_EQ(setting.file, folder.Path() + "/config.toml");
    EXPECT_EQ(setting.variable, "");
  }
  const auto form = [](EValueForm value) { return " " + std::to_string(static_cast<int>(value)); };
  EXPECT_EQ(told, (TTexts{"check.fail-on:4 a b" + form(EValueForm::kText) + " list",
                          "check.live:3 true" + form(EValueForm::kTruth),
                          "fleet.jobs:6 3" + form(EValueForm::kNumber),
                          ".format:1 json" + form(EValueForm::kText)}));
}

TEST_F(SettingsFile, MayHoldAnythingInTextsAndComments) {
  const std::string much = Repeated("a.b[{", 1000);
  const auto read =
      Read("# " + much + "\nf = \"" + much + "\\\"" + much + "\" # " + much + "\ng = '" + much +
           "\\' # \"\nh = \"\"\"\n" + much + "\n\"" + much + "\\\"\"\"" + much +
           "\"\"\"\ni = '''\n" + much + "\\''" + much + "'''\nj = \"\\\\\"\nk = ''\n");
  std::map<std::string, std::string> values;
  for (const TSetting& setting : read) values[setting.name] = setting.values.at(0);
  EXPECT_EQ(values,
            (std::map<std::string, std::string>{{"f", much + "\"" + much},
                                                {"g", much + "\\"},
                                                {"h", much + "\n\"" + much + "\"\"\"" + much},
                                                {"i", much + "\\''" + much},
                                                {"j", "\\"},
                                                {"k", ""}}));
  // Each is followed by what nests: it is seen there again.
  for (const std::string& text : {"f = \"" + much + "\"\n", "# " + much + "\n",
                                  "f = '''\n" + much + "'''\n", "f = \"\"\"\n" + much + "\"\"\"\n",
                                  "f = '" + much + "\\'\n", std::string("f = \"\\\\\"\n")}) {
    EXPECT_NE(Refusal(text + "x = " + Repeated("[", 17)).find("too deeply"), std::string::npos)
        << text.substr(0, 20);
  }
}

TEST_F(SettingsFile, IsAtMostAMebibyteLarge) {
  constexpr std::size_t kMebibyte = 1U << 20U;
  const std::string begin = "format = \"json\"\n#";
  EXPECT_EQ(Read(begin + std::string(kMebibyte - begin.size() - 1, 'x')).size(), 1U);
  EXPECT_EQ(Read(begin + std::string(kMebibyte - begin.size(), 'x')).size(), 1U);
  EXPECT_EQ(Refusal(begin + std::string(kMebibyte + 1 - begin.size(), 'x')),
            " is larger than 1 MiB, which no settings are");
  EXPECT_EQ(Read("").size(), 0U);
}

// The memory of the process is a file whose first byte cannot be read.
TEST_F(SettingsFile, ThatBreaksOffWhileItIsReadIsRefused) {
  try {
    ReadSettingsFile("/proc/self/mem", ELayer::kUserFile);
    ADD_FAILURE() << "it was read";
  } catch (const TError& failure) {
    EXPECT_EQ(StatusOf(failure), kExitUsage);
    EXPECT_STREQ(failure.what(),
                 "cannot read /proc/self/mem: Input/output error; make it a file that you may "
                 "read, or remove it");
  }
}

TEST_F(SettingsFile, IsAFile) {
  try {
    ReadSettingsFile("/dev/null", ELayer::kUserFile);
    ADD_FAILURE() << "it was read";
  } catch (const TError& failure) {
    EXPECT_EQ(StatusOf(failure), kExitUsage);
    EXPECT_STREQ(failure.what(),
                 "cannot read /dev/null: it is a device and no file; make it a file that you may "
                 "read, or remove it");
  }
  folder.Write("file", "x");
  for (const char* none : {"/none.toml", "/file/none.toml"})
    EXPECT_TRUE(ReadSettingsFile(folder.Path() + none, ELayer::kUserFile).empty()) << none;
}

TEST_F(SettingsFile, HasWholeNumbersThatFitAndNoOthers) {
  for (const char* number :
       {"-1", "0", "2147483647", "2147483648", "4294967296", "4294967297", "9223372036854775807"}) {
    const auto read = Read("jobs = " + std::string(number) + "\n");
    EXPECT_EQ(read.at(0).values, std::vector<std::string>{number});
    EXPECT_EQ(read.at(0).form, EValueForm::kNumber);
  }
  for (const char* number : {"9223372036854775808", "18446744073709551616", "18446744073709551620",
                             "-9223372036854775809"}) {
    EXPECT_TRUE(Refusal("jobs = " + std::string(number) + "\n").starts_with(":1: ")) << number;
  }
}

}  // namespace
}  // namespace svc
