// A catalogue apart from any query: its folder as it is found, of which a query tells no more than
// that it could not load one, for which machine types it is, and of when; and what a person is told
// while a query works, of a download that brings a catalogue above all. Used by one thread.
#pragma once

#include <boost/shared_ptr.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "host/hskcore/cim.h"
#include "report/model.h"
#include "runtime/acquire/settings.h"

namespace svc {

// Whether the folder seems to hold an index: also where nobody may look, which is no reason to say
// that there is none.
bool HasIndex(const std::filesystem::path& folder) noexcept;

struct TCatalogueFolder {
  // How a query of it would end: kDone, kNoCatalogue, kUnsupportedCatalogue, kUnreadableCatalogue,
  // or kNoDefinitions where its index was not looked into.
  report::EOutcome outcome = report::EOutcome::kDone;
  std::string cause;                                     // Names the file; empty with kDone.
  boost::shared_ptr<NQRXHSK20::ICIMNamespace> elements;  // With kDone alone.
};

// Loads it as a query does; `dataFolder` holds sv/.
TCatalogueFolder LoadCatalogueFolder(const std::filesystem::path& folder,
                                     const std::filesystem::path& dataFolder);

// For a report of a check that failed for a cause of its own: where the catalogue of the folder is
// of no use either, that becomes the outcome, and its cause the first error. Returns whether it is;
// of a folder for public firmware alone it is not.
bool TellOfCatalogueToo(const std::filesystem::path& folder,
                        const std::filesystem::path& dataFolder, report::TReport& report);

// Those that a catalogue's update elements name, each once, in the order of their first elements.
std::vector<std::string> MachineTypesIn(
    const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& catalogue);

// The catalogue's own date: the newest `ReleaseDate` of its elements that is not after `now`, both
// in seconds since 1970. None where no element tells one.
std::optional<std::int64_t> DateOf(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& catalogue,
                                   std::int64_t now);

// Why nothing applies to a machine, of a catalogue for these types: none of its elements is for the
// machine's, and which ones are nearest, or none of those is for its system.
std::string WhyNothingApplies(const report::TReport& report, const std::vector<std::string>& types);

// What a person is told while a query works: what it is at, how its download goes, and what is to
// be known of the download folder beside what was compared.

// One line, written over by the next one, and gone at the end. Writes plain characters only, so
// that it needs nothing of the terminal but a carriage return. Used by one thread at a time.
class TStatusLine {
 public:
  // The stream is borrowed; null to show nothing.
  explicit TStatusLine(std::FILE* stream) : stream(stream) {}
  ~TStatusLine() { Clear(); }
  TStatusLine(const TStatusLine&) = delete;
  TStatusLine& operator=(const TStatusLine&) = delete;

  // An ASCII text without line ends; an empty one clears the line.
  void Show(const std::string& text) noexcept;
  void Clear() noexcept { Show({}); }

 private:
  std::FILE* stream;
  std::size_t shown = 0;  // Characters on the line.
};

// "3 of 12 files, 1.2 of 4.5 MiB, 800 KiB/s, 5 s left", as far as each can be told. `running` is
// the time since the files began to come.
std::string DownloadLine(const acquire::TDownloadProgress& progress,
                         std::chrono::milliseconds running);

// "48.2 MiB"
std::string SizeText(std::uint64_t bytes);

// The observer of one download after another. One thread.
class TDownloadDisplay : public acquire::IProgressObserver {
 public:
  // The stream is borrowed; null to show nothing.
  explicit TDownloadDisplay(std::FILE* stream) : line(stream) {}
  void OnProgress(const acquire::TDownloadProgress& progress) noexcept override;

 private:
  using TClock = std::chrono::steady_clock;

  TStatusLine line;
  acquire::TDownloadProgress::EPhase phase = acquire::TDownloadProgress::EPhase::kEnded;
  TClock::time_point begin;
  TClock::time_point last;
};

// Shows each download, where that is wanted, and lets an interruption stop it cleanly. One thread.
class TDownloadWatch : public acquire::IProgressObserver {
 public:
  explicit TDownloadWatch(bool shown) : display(shown ? stderr : nullptr) {}
  void OnProgress(const acquire::TDownloadProgress& progress) noexcept override;

 private:
  TDownloadDisplay display;
};

// The names of the files in the download folder; none where it cannot be read.
std::vector<std::string> DownloadedFiles();
// The files of the download folder that count in a live check though the repository does not offer
// them (any more): what is there stays. Empty where the outcome does not tell what it offers.
std::vector<std::string> FilesNotOffered(const acquire::TOutcome& outcome);

// One line on these files, which are some.
std::string RemarkOnFilesNotOffered(const std::vector<std::string>& names);
std::string AdviceOnFilesNotOffered();

// One line on a live check that opened no connection.
std::string RemarkOnOffline();

}  // namespace svc
