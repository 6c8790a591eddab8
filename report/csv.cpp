// The records for a spreadsheet: RFC 4180.
#include <string>

#include "report/records.h"
#include "report/render.h"
#include "report/text.h"

namespace svc::report {

// A check that did not take place is a record of its own: an empty table would look like good news.
void RenderCsv(const TReport& report, const TRenderOptions& options, IOutput& output) {
  const auto field = [&](std::string_view text) { return CsvField(text, options.csv); };
  output.Write("Type,Name,InstalledVersion,SVVersion,Verdict,Waived,WaiverExpired\r\n");
  for (const TRecord& record : RecordsOf(report)) {
    std::string line;
    for (const std::string* text :
         {&record.type, &record.name, &record.installed, &record.offered}) {
      line += field(*text) + ',';
    }
    line += NameOf(record.verdict);
    line += ',';
    if (record.waived) line += field(record.waived->reason);
    line += ',';
    if (record.expiredWaiver) line += field(record.expiredWaiver->expires);
    output.Write(line + "\r\n");
  }
  if (WasCompared(report.outcome)) return;
  output.Write("Error," + field(RowOf(report.outcome).sentence) + ",,,not checked,,\r\n");
  for (const std::string& error : report.errors) {
    output.Write("Error," + field(error) + ",,,not checked,,\r\n");
  }
}

}  // namespace svc::report
