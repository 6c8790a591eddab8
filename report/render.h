// From the report model to a report format: one function a format, in a file of its own. They write
// as they go, so that a long report takes no memory in proportion. May be called from any thread.
#ifndef REPORT_RENDER_H_
#define REPORT_RENDER_H_

#include <array>
#include <cstddef>
#include <string_view>

#include "report/model.h"
#include "report/text.h"

namespace svc::report {

// Where a report goes. Write may throw; nothing is written after that.
class IOutput {
 public:
  virtual ~IOutput() = default;
  virtual void Write(std::string_view text) = 0;
};

struct TRenderOptions {
  bool color = false;               // Of the table.
  std::size_t width = 0;            // Columns that the table is cut to; 0 for no cut.
  EFailOn failOn = EFailOn::kNone;  // What the nagios line calls critical.
  ECsvTexts csv = ECsvTexts::kSafe;
};

void RenderTable(const TReport& report, const TRenderOptions& options, IOutput& output);
// One object; docs/reports.md says which members it has.
void RenderJson(const TReport& report, const TRenderOptions& options, IOutput& output);
void RenderNdjson(const TReport& report, const TRenderOptions& options, IOutput& output);
void RenderCsv(const TReport& report, const TRenderOptions& options, IOutput& output);
void RenderHtml(const TReport& report, const TRenderOptions& options, IOutput& output);
void RenderJunit(const TReport& report, const TRenderOptions& options, IOutput& output);
void RenderNagios(const TReport& report, const TRenderOptions& options, IOutput& output);
void RenderPrometheus(const TReport& report, const TRenderOptions& options, IOutput& output);

struct TFormat {
  std::string_view name;
  void (*render)(const TReport& report, const TRenderOptions& options, IOutput& output);
};
inline constexpr std::array kFormats = {
    TFormat{"table", RenderTable},   TFormat{"json", RenderJson},
    TFormat{"ndjson", RenderNdjson}, TFormat{"csv", RenderCsv},
    TFormat{"html", RenderHtml},     TFormat{"junit", RenderJunit},
    TFormat{"nagios", RenderNagios}, TFormat{"prometheus", RenderPrometheus}};

// Null for an unknown name.
const TFormat* FormatOfName(std::string_view name) noexcept;

inline constexpr int kNagiosUnknown = 3;
// What a nagios plug-in exits with: 0 OK, 1 WARNING, 2 CRITICAL, 3 UNKNOWN.
int NagiosStatus(const TReport& report, EFailOn critical);

}  // namespace svc::report

#endif  // REPORT_RENDER_H_
