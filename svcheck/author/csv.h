// Tables as text (RFC 4180). Pure functions; may be called from any thread.
#ifndef SVCHECK_AUTHOR_CSV_H_
#define SVCHECK_AUTHOR_CSV_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace svc::catalogue {

struct TCsvRow {
  std::size_t line;  // From 1, where the row begins.
  std::vector<std::string> fields;
};

// Every row but the empty ones. Fields are parted by commas, or by semicolons where the first line
// has no comma, as spreadsheets write it where the comma is the decimal point; blanks around a
// field that is not quoted are cut. Throws TError (kText) for quotes that do not fit.
std::vector<TCsvRow> ParseCsv(std::string_view text);

}  // namespace svc::catalogue

#endif  // SVCHECK_AUTHOR_CSV_H_
