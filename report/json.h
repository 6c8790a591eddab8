// The parts of a report as JSON (RFC 8259). May be called from any thread.
#ifndef REPORT_JSON_H_
#define REPORT_JSON_H_

#include "base/json_writer.h"
#include "report/model.h"

namespace svc::report {

// The members of a record: its four texts as they came from the plug-in, and how it was judged.
void AddTexts(const TRecord& record, TJsonWriter& json);
void AddVerdict(const TRecord& record, TJsonWriter& json);

// The next value.
void WriteMachine(const TMachine& machine, TJsonWriter& json);
void WriteSystem(const TOperatingSystem& system, TJsonWriter& json);
void WriteCatalogue(const TCatalogue& catalogue, TJsonWriter& json);
void WriteSummary(const TSummary& summary, bool withWaived, TJsonWriter& json);

}  // namespace svc::report

#endif  // REPORT_JSON_H_
