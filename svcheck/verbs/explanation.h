// What a query did: taken down while it runs, and told in words. Used by the thread of the query.
#ifndef SVCHECK_VERBS_EXPLANATION_H_
#define SVCHECK_VERBS_EXPLANATION_H_

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/hskcore/cim.h"
#include "host/hskcore/logger.h"
#include "report/model.h"
#include "report/records.h"
#include "runtime/hskcore/namespace_watch.h"

namespace svc {

using TInstance = const NQRXHSK20::ICIMInstance*;  // Of a namespace that outlives the trace.

struct THeldTest {
  std::size_t position;  // From 1, among the tests of the element.
  std::string property;
};

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
  std::string name;                  // Empty when there was nothing to compare it with.
  std::vector<std::size_t> records;  // Numbers of the records that it gave.
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
  const std::vector<TOfferedTrace>& Offered() const noexcept { return offered; }

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
  std::vector<TOfferedTrace> offered;
};

struct TExplained {
  const TQueryTrace& trace;
  const report::IRecordSource& records;  // In the order of their commit.
  std::string machineType;
  std::string component;  // Show only what goes by this, without regard to case; empty for all.
};

// For each update element the test that decided, for each offered driver whether it is installed.
// REQUIRES: the namespaces that the trace saw are still there.
void WriteExplanation(const TExplained& explained, report::IOutput& output);

}  // namespace svc

#endif  // SVCHECK_VERBS_EXPLANATION_H_
