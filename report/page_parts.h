// The parts that the page of a report and the index of a fleet share: one file without outside
// references, readable without its script, on paper and by a screen reader. Nothing runs in it but
// its own script, whatever the texts hold: the page names the hashes of its style and script (W3C,
// Content Security Policy Level 3). Parameters called `markup` are written as they are given, all
// others are escaped. Used by one thread; what the output throws passes through.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "report/model.h"

namespace svc::report {

// One that others stand beside: letters that read from right to left do not move those.
std::string Isolated(std::string_view text);

// Up to the beginning of the body.
void WritePageHead(std::string_view title, IOutput& output);
// The script, and the end of the body.
void WritePageEnd(std::string_view tool, std::string_view version, IOutput& output);

// What the page says first; `style` is a class of the style sheet.
std::string LeadPart(std::string_view style, std::string_view title, std::string_view markup);
// Rows of one style: how many, what they are called and what that means.
struct TPart {
  std::string_view style;
  std::string_view name;
  std::uint64_t count;
  std::string_view meaning;
};
// How the rows divide, as a bar; `label` says the same.
std::string PartsBar(std::span<const TPart> parts, std::string_view label);
// The counts; each is a filter once the script runs.
std::string Tiles(std::span<const TPart> parts);

std::string Pill(std::string_view style, std::string_view text);
// Nothing for an empty value.
std::string Fact(std::string_view name, std::string_view value);
// What was compared with, and when.
std::string CatalogueCard(const TReport& report);

// What the rows are found, filtered and sorted with; shown by the script, without which it could do
// nothing. `search` says what is found, `unsorted` what the order is called that the rows come in.
std::string Tools(std::string_view search, std::span<const std::string> types,
                  std::string_view unsorted, std::span<const std::string_view> orders);

struct TColumn {
  std::string_view title;
  bool isNumber = false;
};

// A table whose rows stand in groups. A browser lays out the rows that come into view, a body at a
// time: a group has as many bodies as it needs. However many rows there are, none is kept.
class TPageTable {
 public:
  TPageTable(std::string_view style, std::span<const TColumn> columns, IOutput& output);

  // Begins a group of so many rows; `remark` stands behind its name.
  void Group(std::string_view name, std::string_view remark, std::size_t rows);
  // A row as markup. REQUIRES: as many in a group as it announced.
  void Row(std::string_view markup);
  void End();

 private:
  void OpenBody(std::string_view attributes);
  void EndBody();

  IOutput& output;
  std::size_t columns;
  std::size_t left = 0;    // Rows that the group still gets.
  std::size_t inBody = 0;  // Rows that the body has.
  bool isOpen = false;
};

}  // namespace svc::report
