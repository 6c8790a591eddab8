// What a query says while it runs, read for what became of it. The query tells its end only by what
// it logs and prints, so the texts here are the plug-in's own.
#pragma once

#include <atomic>
#include <boost/shared_ptr.hpp>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/error.h"
#include "host/hskcore/root_object.h"
#include "report/model.h"

namespace svc {

// How a query ended. An exception is no failure of the run: it is what the host sees.
struct TQueryEnd {
  bool returned = true;
  std::string exceptionText;
  std::optional<int> status;  // Of a THSKException.
  // Of another plug-in than the installed one: it says in words of its own how it went.
  bool isOther = false;
};

// The logger of a check. Hands every entry on to a log file, where there is one. May be used from
// any thread.
class TJournal : public NQRXHSK20::ILogger {
 public:
  // Is told once when the catalogue was loaded, on the thread of the query.
  using TOnLoaded = std::function<void()>;

  // `next` and `onLoaded` may be empty.
  explicit TJournal(boost::shared_ptr<NQRXHSK20::ILogger> next, TOnLoaded onLoaded = {});

  void Log(int level, std::string_view message) override;
  bool IsLogged(int level) const noexcept override;

  // The files of the download folder that were loaded, in their order.
  std::vector<std::string> LoadedFiles() const;
  // What became of a query that has ended, from its log, what it printed and the number of update
  // elements that it saw (none when it had no catalogue). Sets outcome and errors of the report;
  // errors that name only a line of the catalogue name its file as well, as
  // "FOLDER/index.xml:12: …".
  void Conclude(const TQueryEnd& end, const std::string& printed, report::TReport& report) const;

 private:
  // Whether this logger itself looks at an entry of the level.
  bool IsRead(int level) const noexcept;
  void Take(int level, std::string_view message);
  void Note(int level, std::string_view message);

  boost::shared_ptr<NQRXHSK20::ILogger> next;
  TOnLoaded onLoaded;           // Empty once it was told.
  std::atomic<bool> isLoading;  // Until then.
  mutable std::mutex mutex;
  std::optional<report::EOutcome> outcome;  // That the query itself named.
  bool walked = false;                      // Whether the firmware was compared to its end.
  std::string lastError;
  std::vector<std::string> remarks;
  std::vector<std::string> loadedFiles;
};

// The plug-in for public firmware by its name, and the class of what its catalogues hold.
inline constexpr std::string_view kPublicFirmwareName = "Public Firmware";
// What its entries in the log begin with.
inline constexpr std::string_view kPublicFirmwareEntry = "Public firmware: ";
inline constexpr std::string_view kOfferClass = "SVC_FirmwareOffer";

// The same for the plug-in for public firmware, which tells by an exception what went wrong.
// REQUIRES: the report has its records.
void ConcludePublicFirmware(const TQueryEnd& end, report::TReport& report);

// What kind of failure a check is that ended so; none when it took place.
std::optional<EErrorKind> FailureOf(report::EOutcome outcome) noexcept;
int ExitStatusOf(report::EOutcome outcome) noexcept;

// What a person can do about a check that did not take place, from its outcome and errors; empty
// for one that did.
std::string_view AdviceOn(const report::TReport& report);

// Puts the name of the property before the error of a value that is no number: the comparison asks
// for one of a single property.
void NameNumberProperty(report::TReport& report);

// The one line for standard error: what happened, why and what to do.
std::string FailureLine(const report::TReport& report);

}  // namespace svc
