// What a query did: taken down while it runs, and told in words. Used by the thread of the query.
#pragma once

#include <array>
#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/hskcore/cim.h"
#include "host/hskcore/root_object.h"
#include "report/model.h"
#include "report/records.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "svcheck/session/spool.h"

namespace svc {

using TInstance = const NQRXHSK20::ICIMInstance*;  // Of a namespace that outlives the trace.

// The lists of tests, in the order in which they are made of an element.
enum class ETests { kBios, kChain, kProcessor };

struct THeldTest {
  std::size_t position;  // From 1, among the tests of the element.
  std::string property;
  ETests list = ETests::kBios;
  std::size_t number = 0;  // From 0, in its list.
};
// By which docs/catalogue-format.md names it: "B1", "13", "13a".
std::string LabelOf(const THeldTest& test);
// What it looked for.
std::string_view WantedBy(const THeldTest& test);

// The inventory class that a comparison asked for, with what it read of it, in order.
struct TInventoryRead {
  std::string className;
  std::vector<std::pair<TInstance, std::string>> properties;
};

// One update element on its way through the query.
struct TElementTrace {
  TInstance instance = nullptr;
  bool systemTested = false;
  std::size_t tests = 0;             // That looked for its firmware component.
  ETests list = ETests::kBios;       // Of the last of them,
  std::size_t made = 0;              // so many of which were made,
  bool isDecided = false;            // and whether the last of these led to a comparison.
  std::vector<THeldTest> held;       // Those of them that led to a comparison.
  std::vector<std::string> asked;    // The properties that the tests read, each once.
  std::vector<std::string> texts;    // The properties that the comparisons read of it.
  std::vector<std::string> remarks;  // What the comparisons said of how they ended.
  std::vector<TInventoryRead> reads;
  std::vector<std::size_t> records;  // Numbers of the firmware records that it gave.
  std::size_t driverReads = 0;       // 1: asked for its systems; more: its drivers are offered.
};

struct TInstalledTrace {
  TInstance instance;
  bool running = true;
  bool matched = false;
};

struct TOfferedTrace {
  std::string name;         // Empty when there was nothing to compare it with.
  std::size_t records = 0;  // That it gave, one after the other,
  std::size_t first = 0;    // from this number on.
};

// What a query did with each update element, from the entries of its log and from what it reads of
// catalogue and inventory. Knows in which order the query works, not by which rules.
class TQueryTrace : public NQRXHSK20::ILogger {
 public:
  // Hands every entry on to `next`, which may be empty.
  explicit TQueryTrace(boost::shared_ptr<NQRXHSK20::ILogger> next);

  void Log(int level, std::string_view message) override;
  bool IsLogged(int /*level*/) const noexcept override { return true; }

  // Of the namespaces whose reads are taken down. Valid as long as the trace.
  IReadObserver* OfCatalogue() noexcept { return &catalogue; }
  IReadObserver* OfInventory() noexcept { return &inventory; }

  const std::vector<TElementTrace>& Elements() const noexcept { return elements; }
  const std::vector<TInstalledTrace>& Installed() const noexcept { return installed; }
  // Calls `use` with each offered driver, which may be many more than anything else: they are put
  // aside. Throws TError.
  void ForEachOffered(const std::function<void(const TOfferedTrace& driver)>& use) const;

 private:
  enum class EPhase { kLoading, kMachine, kSystem, kFirmware, kOffered, kInstalled };

  class TCatalogueSide : public IReadObserver {
   public:
    explicit TCatalogueSide(TQueryTrace& trace) : trace(trace) {}
    void OnGetClass(std::string_view /*className*/) override {}
    void OnGetProperty(const NQRXHSK20::ICIMInstance& instance, std::string_view name) override {
      trace.ReadElement(&instance, name);
    }

   private:
    TQueryTrace& trace;
  };
  class TInventorySide : public IReadObserver {
   public:
    explicit TInventorySide(TQueryTrace& trace) : trace(trace) {}
    void OnGetClass(std::string_view className) override { trace.AskForClass(className); }
    void OnGetProperty(const NQRXHSK20::ICIMInstance& instance, std::string_view name) override {
      trace.ReadInventory(&instance, name);
    }

   private:
    TQueryTrace& trace;
  };

  void ReadElement(TInstance instance, std::string_view property);
  void Select(TInstance instance);
  void TestFirmware(TElementTrace& element, std::string_view property);
  void AskForClass(std::string_view className);
  void ReadInventory(TInstance instance, std::string_view property);
  void NoteDriver(std::string_view message);
  TInstalledTrace& NextCandidate();
  void PutOfferedAside();
  // The last test of the current element led to what happens now.
  void HoldLastTest();
  static void AddOnce(std::vector<std::string>& names, std::string_view name);
  void CountRecord();
  TElementTrace& Current() { return elements[current]; }

  boost::shared_ptr<NQRXHSK20::ILogger> next;
  TCatalogueSide catalogue{*this};
  TInventorySide inventory{*this};
  EPhase phase = EPhase::kLoading;
  bool testing = false;    // A test has begun and not yet read its property.
  bool isState = false;    // The next entry is the state of an installed driver.
  std::string lastTested;  // The property that the last test of the current element read.
  std::size_t current = 0;
  std::size_t candidate = 0;  // The next installed driver to be compared.
  std::size_t records = 0;
  std::vector<TElementTrace> elements;
  std::unordered_map<TInstance, std::size_t> numbers;
  std::vector<TInstalledTrace> installed;
  std::optional<TOfferedTrace> offered;  // The one that is compared.
  TTextSpool offeredBefore;
};

struct TExplained {
  const TQueryTrace& trace;
  const report::IRecordSource& records;  // In the order of their commit, judged.
  std::string machineType;
  std::string systemCode;  // The system's in catalogues; empty for one that they do not know.
  std::string component;   // Show only what goes by this, without regard to case; empty for all.
};

// What became of an element, in the order of the summary.
enum class EFate { kRecord, kNoRecord, kNoComponent, kOtherSystem, kOtherMachine };
struct TFateRow {
  std::string_view name;
  std::string_view counted;  // Behind a number of elements.
};
inline constexpr std::array kFates = {TFateRow{"record", "with firmware in the report"},
                                      TFateRow{"no-record", "with firmware that gave no record"},
                                      TFateRow{"no-component", "without firmware"},
                                      TFateRow{"other-system", "for other operating systems"},
                                      TFateRow{"other-machine", "for other machine types"}};

// What a comparison of an adapter looked for in the driver files of an element.
struct TKey {
  std::string wanted;
  std::string files;
  bool isThere;
};

struct TCounts {
  std::array<std::size_t, kFates.size()> elements{};  // By their fates.
  std::size_t drivers = 0;                            // Offered ones,
  std::size_t matched = 0;                            // so many of which gave a record.
  std::size_t installed = 0;                          // Drivers,
  std::size_t running = 0;                            // so many of which run.
};

// What a trace comes to, in words and in parts. REQUIRES: what is explained outlives it, and the
// namespaces that the trace saw are still there.
class TFindings {
 public:
  explicit TFindings(const TExplained& explained) : explained(explained) {}

  static EFate FateOf(const TElementTrace& element);
  // A sentence.
  std::string SaidOf(const TElementTrace& element) const;
  std::string SaidOf(const TOfferedTrace& driver) const;
  static std::string SaidOf(const TInstalledTrace& driver);
  // Of an element whose drivers are not for the system: why, as a clause.
  std::string WhyNoDrivers(const TElementTrace& element) const;
  // Adapters' versions come out of the driver files, or else from what is installed.
  static bool IsInstalledText(const TElementTrace& element, const report::TRecord& record);
  static std::vector<TKey> KeysOf(const TElementTrace& element);
  TCounts Count() const;

  bool IsWanted(const TElementTrace& element) const;
  bool IsWanted(const TOfferedTrace& driver) const;
  // Installed drivers show only where they are asked for by name, and gave no record.
  bool IsWanted(const TInstalledTrace& driver) const;

  // Valid until the next call; null when there is no such record.
  const report::TRecord* RecordOf(std::size_t number) const;

 private:
  bool IsWanted(std::string_view text) const;
  std::string WhyNoRecord(const TElementTrace& element) const;

  const TExplained& explained;
  mutable report::TRecord current;
};

// For each update element the test that decided, for each offered driver whether it is installed.
void WriteExplanation(const TExplained& explained, report::IOutput& output);
// The same for programs: one object.
void WriteExplanationJson(const TExplained& explained, report::IOutput& output);

}  // namespace svc
