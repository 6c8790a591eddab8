// The index of a fleet's pages: which groups of machines it has, and what stands below each.
#include "svcheck/fleet/summary.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <regex>
#include <sstream>

#include "svcheck/system/failure.h"
#include "tests/support/temporary_folder.h"

namespace svc::fleet {
namespace {

using TTexts = std::vector<std::string>;

std::string Compared(const std::string& verdict) {
  return R"({"machine":"m","Type":"BIOS","Name":"System","InstalledVersion":"1","SVVersion":"2",)"
         R"("verdict":")" +
         verdict + "\"}\n";
}

std::string Last(const std::string& outcome = "done") {
  return R"({"machine":"m","outcome":")" + outcome +
         R"(","machineType":"4638","summary":{},"errors":[]})" + "\n";
}

class FleetPages : public testing::Test {
 protected:
  // Machines by their names, with all that is told of each.
  std::string IndexOf(const std::vector<std::pair<std::string, std::string>>& machines) const {
    TPages pages(folder.Path() + "/pages", {});
    TSummary summary;
    for (const auto& [name, lines] : machines) {
      pages.Add(name, lines);
      summary.Add(lines);
    }
    pages.Finish(summary);
    std::stringstream index;
    index << std::ifstream(folder.Path() + "/pages/index.html").rdbuf();
    return index.str();
  }

  // The headings of groups, and the machines below each, in their order.
  static TTexts RowsOf(const std::string& index) {
    static const std::regex kRow(
        "<tr class=\"group\"><th [^>]*><bdi>([^<]*)</bdi> <small>([^<]*)</small>|"
        "<a href=\"machines/[^\"]*\">([^<]*)</a>");
    TTexts rows;
    for (std::sregex_iterator row(index.begin(), index.end(), kRow), none; row != none; ++row) {
      rows.push_back((*row)[3].matched ? (*row)[3].str()
                                       : "# " + (*row)[1].str() + ": " + (*row)[2].str());
    }
    return rows;
  }

  test::TTemporaryFolder folder;
};

TEST_F(FleetPages, HaveEachGroupThatHasAMachineAndNoOther) {
  EXPECT_EQ(
      RowsOf(IndexOf({{"b", Compared("outdated") + Last()},
                      {"f", Last("failed")},
                      {"a", Compared("outdated") + Last()}})),
      (TTexts{"# Not compared: 1 machine", "f", "# Updates to install: 2 machines", "b", "a"}));
  EXPECT_EQ(RowsOf(IndexOf({{"a", Compared("current") + Last()}, {"u", Last()}})),
            (TTexts{"# Nothing is known to be outdated: 1 machine", "u",
                    "# Nothing to install: 1 machine", "a"}));
  EXPECT_EQ(RowsOf(IndexOf({})), TTexts());
}

TEST_F(FleetPages, BeginWithWhatThereIsToDoInTheColourOfTheFirstGroup) {
  const auto leadOf = [&](const std::vector<std::pair<std::string, std::string>>& machines) {
    const std::string index = IndexOf(machines);
    const std::size_t begin = index.find("<header class=\"lead ");
    const std::size_t end = index.find("</header>", begin);
    return index.substr(begin, end == index.npos ? 0 : end - begin);
  };
  const auto lead = [](const std::string& style, const std::string& title,
                       const std::string& failed) {
    return "<header class=\"lead " + style + "\"><div><h1>" + title +
           " machines have updates to install</h1>\n<p>Firmware and drivers of the fleet. " +
           failed + " could not be compared.</p></div>";
  };
  EXPECT_EQ(leadOf({{"a", Compared("current") + Last()}}), lead("current", "0 of 1", "None"));
  EXPECT_EQ(leadOf({{"a", Compared("current") + Last()}, {"u", Last()}}),
            lead("unknown", "0 of 2", "None"));
  EXPECT_EQ(leadOf({{"a", Compared("current") + Last()}, {"b", Compared("outdated") + Last()}}),
            lead("outdated", "1 of 2", "None"));
  EXPECT_EQ(leadOf({{"f", Last("failed")}, {"b", Compared("outdated") + Last()}}),
            lead("error", "1 of 1", "1"));
  EXPECT_EQ(leadOf({}), lead("unknown", "0 of 0", "None"));
}

TEST_F(FleetPages, HaveARowForEachMachineWithItsCountsOrWhyThereAreNone) {
  const auto rowOf = [&](const std::string& machine, const std::string& lines) {
    const std::string index = IndexOf({{machine, lines}});
    const std::size_t begin = index.find("<tr data-verdict");
    const std::size_t end = index.find("</tr>", begin);
    return std::regex_replace(index.substr(begin, end == index.npos ? 0 : end - begin),
                              std::regex("<span [^>]*>([^<]*)</span>"), "[$1]");
  };
  EXPECT_EQ(rowOf("a b", Compared("outdated") + Compared("outdated") + Compared("newer") + Last()),
            "<tr data-verdict=\"outdated\"><th scope=\"row\"><a href=\"machines/a%2520b.html\">a b"
            "</a></th><td>4638</td><td class=\"verdict\">[outdated]</td><td>2</td><td>0</td>"
            "<td>1</td><td>0</td>");
  EXPECT_EQ(rowOf("f", R"({"machine":"m","outcome":"failed","machineType":"","summary":{},)"
                       R"("errors":["a < b","second"]})"
                       "\n"),
            "<tr data-verdict=\"error\" class=\"none\"><th scope=\"row\"><a "
            "href=\"machines/f.html\">f</a></th><td>–</td><td class=\"verdict\">[failed]<small>a "
            "&lt; b</small></td><td>–</td><td>–</td><td>–</td><td>–</td>");
}

TEST_F(FleetPages, HaveAButtonForSixteenMachineTypesThoseOfMostMachinesFirst) {
  const auto lastOf = [](const std::string& type) {
    return R"({"machine":"m","outcome":"done","machineType":")" + type +
           R"(","summary":{},"errors":[]})" + "\n";
  };
  for (const int types : {16, 17}) {
    std::vector<std::pair<std::string, std::string>> machines;
    TTexts expected;
    for (int number = 1; number < types; ++number) {
      const std::string type = "T" + std::to_string(100 + number);
      machines.emplace_back(type, lastOf(type));
      expected.push_back(type);
    }
    machines.emplace_back("z1", lastOf("Z"));
    machines.emplace_back("z2", lastOf("Z"));
    machines.emplace_back("none", lastOf(""));
    expected.insert(expected.begin(), "Z");
    expected.resize(16);
    const std::string index = IndexOf(machines);
    static const std::regex kButton("<button[^>]* data-type=\"([^\"]*)\"");
    TTexts buttons;
    for (std::sregex_iterator button(index.begin(), index.end(), kButton), none; button != none;
         ++button)
      buttons.push_back((*button)[1].str());
    EXPECT_EQ(buttons, expected) << types;
    // That without a type is one of them.
    EXPECT_NE(index.find("<summary>Machine types: " + std::to_string(types + 1) + "</summary>"),
              std::string::npos);
    EXPECT_EQ(index.find("<details class=\"card types\" open>"), std::string::npos);
  }
  const std::string few = IndexOf({{"a", Compared("outdated") + Last()}});
  EXPECT_NE(few.find("<details class=\"card types\" open><summary>Machine types: 1</summary>\n"
                     "<table><thead><tr><th scope=\"col\">Type</th><th scope=\"col\" "
                     "class=\"number\">Machines</th>"),
            std::string::npos);
  EXPECT_NE(few.find("<tr><th scope=\"row\">4638</th><td>1</td><td>1</td><td>0</td><td>0</td>"
                     "<td>0</td></tr>\n</tbody></table></details>\n"),
            std::string::npos);
}

TEST_F(FleetPages, ShowTheTableOfSixteenMachineTypesOpen) {
  for (const int types : {16, 17}) {
    std::vector<std::pair<std::string, std::string>> machines;
    for (int number = 0; number < types; ++number) {
      machines.emplace_back("m" + std::to_string(number),
                            R"({"machine":"m","outcome":"done","machineType":"T)" +
                                std::to_string(number) + R"(","summary":{},"errors":[]})" + "\n");
    }
    const std::string index = IndexOf(machines);
    EXPECT_EQ(index.find("<details class=\"card types\" open>") != index.npos, types == 16);
  }
}

TEST_F(FleetPages, SayInWordsWhatTheirBarShowsAndNothingOfGroupsWithoutAMachine) {
  const auto labelOf = [&](const std::string& index) {
    std::smatch label;
    return std::regex_search(index, label, std::regex("aria-label=\"([^\"]*)\"")) ? label[1].str()
                                                                                  : std::string();
  };
  EXPECT_EQ(labelOf(IndexOf({{"f", Last("failed")},
                             {"a", Compared("current") + Last()},
                             {"b", Compared("current") + Last()}})),
            "1 failed, 2 current");
}

// Rows wait in a file, of which a part is read at once.
TEST_F(FleetPages, HaveEachRowWholeHoweverManyThereAre) {
  std::vector<std::pair<std::string, std::string>> machines;
  TTexts expected = {"# Nothing to install: 40 machines"};
  for (std::size_t number = 0; number < 40; ++number) {
    expected.push_back(std::string(2000 + number * 7, 'n') + std::to_string(number));
    machines.emplace_back(expected.back(), Compared("current") + Last());
  }
  const std::string index = IndexOf(machines);
  EXPECT_GT(index.size(), std::size_t{1} << 16);
  EXPECT_EQ(RowsOf(index), expected);
}

TEST_F(FleetPages, SayWhatWasComparedAndWhen) {
  report::TCatalogue catalogue;
  catalogue.source = "folder";
  catalogue.path = "/srv/catalogue";
  const auto today = std::chrono::floor<std::chrono::days>(std::chrono::system_clock::now());
  TPages pages(folder.Path() + "/pages", catalogue);
  const std::string lines = Compared("current") + Last();
  pages.Add("web 01", lines);
  TSummary summary;
  summary.Add(lines);
  EXPECT_FALSE(folder.Holds("pages/index.html")) << "before it is whole";
  pages.Finish(summary);
  const auto dayOf = [](std::chrono::sys_days day) {
    const std::chrono::year_month_day date(day);
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02u", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
    return std::string(text.data());
  };
  for (const char* name : {"pages/index.html", "pages/machines/web%2001.html"}) {
    std::stringstream page;
    page << std::ifstream(folder.Path() + "/" + name).rdbuf();
    const std::string text = page.str();
    EXPECT_NE(text.find("/srv/catalogue"), std::string::npos) << name;
    EXPECT_TRUE(text.find(dayOf(today)) != std::string::npos ||
                text.find(dayOf(today + std::chrono::days(1))) != std::string::npos)
        << name;
  }
  std::stringstream page;
  page << std::ifstream(folder.Path() + "/pages/machines/web%2001.html").rdbuf();
  EXPECT_NE(page.str().find("<dt>Host</dt><dd>web 01</dd>"), std::string::npos);
}

TEST_F(FleetPages, NeedAFolderThatCanBeMade) {
  folder.Write("file", "");
  try {
    TPages pages(folder.Path() + "/file/pages", {});
    FAIL() << "a file is no folder";
  } catch (const TError& error) {
    EXPECT_EQ(std::string(error.what()),
              "cannot make the folder " + folder.Path() + "/file/pages: Not a directory");
  }
}

}  // namespace
}  // namespace svc::fleet
