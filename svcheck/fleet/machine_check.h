// The comparison of one machine of a fleet: a query of the plug-in, told as lines of JSON.
#ifndef SVCHECK_FLEET_MACHINE_CHECK_H_
#define SVCHECK_FLEET_MACHINE_CHECK_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "report/model.h"
#include "report/waivers.h"
#include "runtime/xmlparser/shared_documents.h"
#include "svcheck/fleet/frame.h"
#include "svcheck/fleet/passed_over.h"
#include "svcheck/session/query_session.h"

namespace svc::fleet {

struct TCheckSettings {
  TQueryOptions query;    // Without an inventory.
  std::string catalogue;  // The folder.
  std::string logFolder;  // One log a machine; empty for none.
  std::string waivers;    // The file of those that hold for each machine; empty for none.
};

// The lines of records behind the machine's name: machines of a fleet have the same drivers, and
// are offered the same. Each record has one place, which the last one takes that falls there.
class TRecordLines {
 public:
  // Valid until the next call.
  const std::string& Of(const report::TRecord& record);

 private:
  struct TLine {
    std::string type, name, installed, offered;
    report::EVerdict verdict = report::EVerdict::kUnknown;
    std::string rest;  // Empty where there is none yet.
    bool IsOf(const report::TRecord& record) const;
  };

  std::vector<TLine> lines;
  std::string other;  // That is not kept.
};

// Used by one thread; one at a time.
class TMachineCheck {
 public:
  // Loads the plug-in and, by a query for a machine that nothing is offered for, the catalogue.
  // Throws TError (kCatalogue when the catalogue cannot be used).
  explicit TMachineCheck(TCheckSettings settings);

  // A line for each record, then one without a "Type" that says how the comparison ended. Behind
  // them, where the task wants it and the answer is that of every machine of which the same is
  // read, what was read.
  std::string Answer(TTask task);

 private:
  void LoadCatalogue();
  // Of the catalogue, as far as it is known.
  report::TReport EmptyReport() const;
  // Takes the task's text. The elements that are known to make no difference to machines of the
  // same kind are left out.
  // `told` gets what was read, where the task wants it.
  report::TReport Compare(TTask& task, std::string& told);
  bool IsShared(const report::TReport& report) const;
  // Takes the task's text.
  TQueryRequest RequestFor(TTask& task) const;
  // All lines of a machine. Throws TError where they are longer than any that are taken.
  std::string Text(const report::TReport& report, const std::string& machine);

  TCheckSettings settings;
  TQueryRequest request;  // Without an inventory.
  TDocumentSharing sharing;
  std::shared_ptr<TLoadedPlugin> plugin;
  std::optional<std::uint64_t> elements;
  std::vector<std::string> machineTypes;  // That the catalogue is for.
  bool isOwnPlugin = false;               // What others choose elements by, nobody knows.
  TPassedOver passedOver;
  std::vector<report::TWaiver> waivers;
  TRecordLines lines;
  std::int64_t began = 0;  // Seconds since 1970; waivers end by it.
};

// The last line of a machine that has no answer, and why.
std::string FailedAnswer(const std::string& machine, const std::string& cause);

// A file name of a machine's name, the same for the same and another for another; at most 120
// bytes, so that endings have room.
std::string FileNameOf(std::string_view machine);

}  // namespace svc::fleet

#endif  // SVCHECK_FLEET_MACHINE_CHECK_H_
