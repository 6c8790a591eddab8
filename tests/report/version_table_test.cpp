// The table of docs/reports.md: what it says of each form holds, and orders do not contradict each
// other, whatever three of its texts are compared.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "report/version.h"

namespace svc::report {
namespace {

struct TClaim {
  std::string left;
  char order;
  std::string right;
};

struct TForm {
  std::string name;
  std::vector<TClaim> claims;
};

std::vector<TForm> DocumentedForms() {
  std::ifstream file(DOCS_FOLDER "/reports.md");
  std::vector<TForm> forms;
  bool isInTable = false;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("#")) isInTable = line == "### What has an order";
    static const std::regex kRow(R"(\| (.+) \| (.+) \| .+ \|)");
    static const std::regex kClaim(R"(`([^`]+)` ([<=?]) `([^`]+)`)");
    std::smatch row;
    if (!isInTable || !std::regex_match(line, row, kRow) || row[1] == "form") continue;
    TForm form{row[1], {}};
    const std::string examples = row[2];
    for (std::sregex_iterator claim(examples.begin(), examples.end(), kClaim), end; claim != end;
         ++claim) {
      form.claims.push_back({(*claim)[1], (*claim)[2].str().front(), (*claim)[3]});
    }
    forms.push_back(form);
  }
  return forms;
}

char Order(const std::string& left, const std::string& right) {
  switch (JudgeTexts(left, right)) {
    case EVerdict::kOutdated:
      return '<';
    case EVerdict::kNewer:
      return '>';
    case EVerdict::kCurrent:
      return '=';
    case EVerdict::kUnknown:
      return '?';
  }
  return '!';
}

char Mirror(char order) { return order == '<' ? '>' : order == '>' ? '<' : order; }

std::vector<std::string> TextsOf(const TForm& form) {
  std::vector<std::string> texts;
  for (const TClaim& claim : form.claims) {
    texts.push_back(claim.left);
    texts.push_back(claim.right);
  }
  std::sort(texts.begin(), texts.end());
  texts.erase(std::unique(texts.begin(), texts.end()), texts.end());
  return texts;
}

// Every order of two of these texts, by their places.
std::vector<std::string> OrdersAmong(const std::vector<std::string>& texts) {
  std::vector<std::string> orders;
  for (const std::string& left : texts) {
    std::string& row = orders.emplace_back();
    for (const std::string& right : texts) row += Order(left, right);
  }
  return orders;
}

// What has to be the order of the first and the third of three texts; '?' when nothing follows.
char Following(char one, char other) {
  if (one == '?' || other == '?') return '?';
  if (one == '=') return other;
  return other == '=' || one == other ? one : '?';
}

// Calls what finds the places of three texts, what follows from two of their orders, and the third.
template <typename TFind>
void ForEachTriple(const std::vector<std::string>& orders, TFind&& find) {
  for (std::size_t a = 0; a < orders.size(); ++a) {
    for (std::size_t b = 0; b < orders.size(); ++b) {
      for (std::size_t c = 0; c < orders.size(); ++c) {
        const char following = Following(orders[a][b], orders[b][c]);
        if (following != '?') find(a, b, c, following);
      }
    }
  }
}

TEST(VersionTable, SaysWhatIsSo) {
  const std::vector<TForm> forms = DocumentedForms();
  EXPECT_EQ(forms.size(), 29U);
  for (const TForm& form : forms) {
    EXPECT_FALSE(form.claims.empty()) << form.name;
    for (const TClaim& claim : form.claims) {
      EXPECT_EQ(Order(claim.left, claim.right), claim.order) << claim.left << ", " << claim.right;
      EXPECT_EQ(Order(claim.right, claim.left), Mirror(claim.order))
          << claim.right << ", " << claim.left;
    }
  }
}

TEST(VersionTable, OrdersOfOneFormLeadToEachOther) {
  std::size_t triples = 0;
  for (const TForm& form : DocumentedForms()) {
    const std::vector<std::string> texts = TextsOf(form);
    const auto orders = OrdersAmong(texts);
    ForEachTriple(orders, [&](std::size_t a, std::size_t b, std::size_t c, char following) {
      ++triples;
      EXPECT_EQ(orders[a][c], following) << texts[a] << ", " << texts[b] << ", " << texts[c];
    });
  }
  EXPECT_GT(triples, 500U);
}

TEST(VersionTable, NoThreeTextsContradictEachOther) {
  TForm all;
  for (const TForm& form : DocumentedForms()) {
    all.claims.insert(all.claims.end(), form.claims.begin(), form.claims.end());
  }
  const std::vector<std::string> texts = TextsOf(all);
  ASSERT_GT(texts.size(), 100U);
  const auto orders = OrdersAmong(texts);
  for (std::size_t a = 0; a < texts.size(); ++a) {
    EXPECT_EQ(orders[a][a], '=') << texts[a];
    for (std::size_t b = 0; b < texts.size(); ++b) {
      EXPECT_EQ(orders[a][b], Mirror(orders[b][a])) << texts[a] << ", " << texts[b];
    }
  }
  ForEachTriple(orders, [&](std::size_t a, std::size_t b, std::size_t c, char following) {
    EXPECT_TRUE(orders[a][c] == following || orders[a][c] == '?')
        << texts[a] << ", " << texts[b] << ", " << texts[c] << ": " << orders[a][c];
  });
}

}  // namespace
}  // namespace svc::report
