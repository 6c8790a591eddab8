// The parts of a report as JSON (RFC 8259), each on one line. Pure functions; may be called from
// any thread.
#ifndef REPORT_JSON_H_
#define REPORT_JSON_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "report/model.h"

namespace svc::report {

// Collects the members of one object. Values are JSON but for Text.
class TJsonObject {
 public:
  TJsonObject() : text("{") { text.reserve(kUsualSize); }
  // The object comes behind a text, which Done returns as well.
  explicit TJsonObject(std::string before) : text(std::move(before)) { text += '{'; }
  TJsonObject& Text(std::string_view name, std::string_view value);
  TJsonObject& TextIfAny(std::string_view name, std::string_view value);
  TJsonObject& Raw(std::string_view name, std::string_view value);
  TJsonObject& Number(std::string_view name, std::size_t value);
  // REQUIRES: nothing is added any more.
  std::string Done() { return std::move(text += '}'); }

 private:
  static constexpr std::size_t kUsualSize = 250;
  // Makes room for a member and writes its name. Returns where its value, of so many bytes at most,
  // is to be written, up to the place that End is told.
  char* Begin(std::string_view name, std::size_t mostBytes);
  TJsonObject& End(const char* end);

  std::string text;
};

// The four texts of a record as they came from the plug-in.
std::string JsonOfRawRecord(const TRecord& record);
// The same with the verdict.
std::string JsonOfRecord(const TRecord& record);
// The members of JsonOfRecord.
void AddRecord(const TRecord& record, TJsonObject& object);
// The members that say how the record was judged.
void AddVerdict(const TRecord& record, TJsonObject& object);
std::string JsonOfTool(const TReport& report);
std::string JsonOfMachine(const TMachine& machine);
std::string JsonOfSystem(const TOperatingSystem& system);
std::string JsonOfCatalogue(const TCatalogue& catalogue);
std::string JsonOfSummary(const TSummary& summary, bool withWaived);
std::string JsonOfTexts(const std::vector<std::string>& texts);

}  // namespace svc::report

#endif  // REPORT_JSON_H_
