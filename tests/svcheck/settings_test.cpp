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
