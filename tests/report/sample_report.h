// A report with a record of each verdict, and a renderer into a string.
#pragma once

#include <string>
#include <string_view>

#include "report/model.h"

namespace svc::report {

class TTextOutput : public IOutput {
 public:
  void Write(std::string_view part) override { text += part; }
  std::string text;
};

inline TReport SampleReport() {
  TReport report;
  report.tool = "svcheck";
  report.toolVersion = "1.0.0";
  report.plugin = "Plug";
  report.pluginVersion = "1.0";
  report.generated = 1814313600;
  report.machine = {"4638", "QRX", "QRX Rackwell 4638", "06C4638"};
  report.system = {"Some Linux 5", "2.6.18", "x86_64"};
  report.catalogue = {"folder", "/srv/catalogue", 17, 1814313600 - 3 * 86400};
  report.outcome = EOutcome::kDone;
  report.records = {
      {"Firmware", "System BIOS", "YUE110B", "YUE112A", EVerdict::kOutdated, {}},
      {"Firmware", "Remote <Watch> Adapter", "1.08 (A) ", "1.08 (B) ", EVerdict::kUnknown, {}},
      {"Driver", "E1000E", "1.3.10", "1.2.20", EVerdict::kNewer, {}},
      {"Driver", "BNX2", "1.7.9", "1.7.9", EVerdict::kCurrent, {}}};
  return report;
}

inline TReport FailedReport() {
  TReport report = SampleReport();
  report.records.clear();
  report.catalogue.elements.reset();
  report.outcome = EOutcome::kNoCatalogue;
  report.errors = {"index.xml: \"no\" such file | really"};
  return report;
}

inline std::string Rendered(std::string_view format, const TReport& report,
                            const TRenderOptions& options = {}) {
  TTextOutput output;
  FormatOfName(format)->render(report, options, output);
  return output.text;
}

}  // namespace svc::report
