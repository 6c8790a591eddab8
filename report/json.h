// A report as JSON (RFC 8259): its parts as they are written, and the whole as it is read back. May
// be called from any thread.
#ifndef REPORT_JSON_H_
#define REPORT_JSON_H_

#include <string_view>

#include "base/json_writer.h"
#include "report/model.h"

namespace svc::report {

// The members of a record: its four texts as they came from the plug-in, and how it was judged.
void AddTexts(const TRecord& record, TJsonWriter& json);
void AddVerdict(const TRecord& record, TJsonWriter& json);

// Members that say how a check ended: outcome, state and, where it has one, the state's reason.
void WriteEnd(const TReport& report, const TSummary& summary, TJsonWriter& json);

// The next value.
void WriteMachine(const TMachine& machine, TJsonWriter& json);
void WriteSystem(const TOperatingSystem& system, TJsonWriter& json);
void WriteCatalogue(const TCatalogue& catalogue, TJsonWriter& json);
void WriteSummary(const TSummary& summary, bool withWaived, TJsonWriter& json);

// The report that RenderJson wrote. Members that it does not know are passed over: a later version
// of the same schema may add some. Throws TError (kText) for a text that is no report, or not a
// whole one: what is wrong and where in it.
TReport ReadSavedReport(std::string_view json);

}  // namespace svc::report

#endif  // REPORT_JSON_H_
