// The index of a fleet's pages: which groups of machines it has, and what stands below each.
#include "svcheck/fleet/summary.h"

#include <gtest/gtest.h>

#include <regex>
#include <sstream>

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

TEST_F(FleetPages, BeginWithHowManyMachinesHaveUpdatesInTheColourOfTheFirstGroup) {
  const auto leadOf = [&](const std::string& index) {
    const std::size_t begin = index.find("<header class=\"lead ");
    return index.substr(begin, index.find("</header>", begin) - begin);
  };
  const auto lead = [](const std::string& style, const std::string& title,
                       const std::string& text) {
    return "<header class=\"lead " + style + "\"><div><h1>" + title +
           "</h1>\n<p>Firmware and drivers of the fleet. " + text + "</p></div>";
  };
  EXPECT_EQ(leadOf(IndexOf({{"b", Compared("outdated") + Last()},
                            {"f", Last("failed")},
                            {"a", Compared("current") + Last()}})),
            lead("error", "1 of 2 machines have updates to install", "1 could not be compared."));
  EXPECT_EQ(
      leadOf(IndexOf({{"b", Compared("outdated") + Last()}})),
      lead("outdated", "1 of 1 machines have updates to install", "None could not be compared."));
  EXPECT_EQ(
      leadOf(IndexOf({{"b", Compared("current") + Last()}})),
      lead("current", "0 of 1 machines have updates to install", "None could not be compared."));
  EXPECT_EQ(leadOf(IndexOf({})), lead("unknown", "0 of 0 machines have updates to install",
                                      "None could not be compared."));
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

}  // namespace
}  // namespace svc::fleet
