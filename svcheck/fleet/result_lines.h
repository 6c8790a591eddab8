// The lines that a fleet's results consist of, as FailedAnswer and Answer write them: for each
// machine one a record, then one that says how its comparison ended. Pure functions.
#ifndef SVCHECK_FLEET_RESULT_LINES_H_
#define SVCHECK_FLEET_RESULT_LINES_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "report/model.h"

namespace svc::fleet {

// Takes the first line, without its end, off the text; none when it is not whole.
std::optional<std::string_view> TakeLine(std::string_view& text);
// A text member of a line as it is written there, with its escapes; none when there is none.
std::optional<std::string_view> MemberOf(std::string_view line, std::string_view name);

// The text members that a line begins with, in their order.
class TTextMembers {
 public:
  explicit TTextMembers(std::string_view line) : rest(line) {}
  struct TMember {
    std::string_view name;
    std::string_view written;  // With its escapes.
  };
  // None at the end, or at a member of another kind.
  std::optional<TMember> Next();

 private:
  std::string_view rest;  // From the brace or comma before the next one.
};
// Whether it is the last line of a machine.
bool IsLast(std::string_view line);
// The text that is written so in JSON.
std::string Unescaped(std::string_view written);
// The texts of the member "errors" of a last line, as they are written.
std::vector<std::string_view> ErrorsOf(std::string_view line);

// All of a machine's lines as a report. Throws std::runtime_error when they are none.
report::TReport ReportOf(std::string_view lines);

// Of a last line. Throws std::runtime_error for a line that no fleet wrote.
std::string MachineOf(std::string_view line);

}  // namespace svc::fleet

#endif  // SVCHECK_FLEET_RESULT_LINES_H_
