// A host that fails at each of its calls in turn: what a query does then follows from the operation
// that made the call, and the records delivered before stay.
#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "tests/plugins/version_checker/query/query_fixture.h"

using namespace NQRXHSK20;

namespace svc::test {
namespace {

struct THostCall {
  std::string text;
  std::string operation;  // The last one that announced itself before the call, "In RunQuery".
  std::size_t records;    // Delivered before the call.
};

enum class EOutcome { kReturns, kReturnsWithItsText, kAssertionLeaves, kOtherLeaves };

struct TRun {
  std::vector<THostCall> calls;
  TRecords records;
  TLog log;
  EOutcome outcome = EOutcome::kReturns;
  bool held = false;  // Something of the host's was still held when the query was over.
};

constexpr const char* kLive = "_live_";

CIMContext ContextOf(const std::string& svPath) {
  return {{"svPath", svPath},
          {"svProxy", TCIMValue::Array(ECIMType::kString, {"proxy", "8080", "user", "password"})}};
}

TRun RunFaulty(const TTemporaryFolder& folder, const std::string& svPath, std::size_t number,
               std::optional<TFault> fault) {
  TRun run;
  TFakeHost host;
  FillInventory(*host.inventory);
  WriteCatalogue(folder, host, FillCatalogue);
  WriteDownload(folder, host, [](TFakeNamespace& made) { FillCatalogueFor(made, "Linux"); });
  CIMContext context = ContextOf(svPath);
  std::string operation;
  host.logger.OnEntry([&](std::string_view text) {
    if (text.substr(0, 3) == "In ") operation = text;
  });
  Attach(host);
  if (fault) {
    host.script.FailAt(number, *fault);
  } else {
    host.script.OnCall([&] { run.calls.push_back({"", operation, host.Records().size()}); });
  }
  try {
    RunQuery(host, context);
  } catch (const TAssertionFailed&) {
    run.outcome = EOutcome::kAssertionLeaves;
  } catch (const TOtherFailure&) {
    run.outcome = EOutcome::kOtherLeaves;
  }
  run.records = host.Records();
  run.log = host.logger.Entries();
  if (run.outcome == EOutcome::kReturns && !run.log.empty() &&
      run.log.back() == TLogEntry{0, kScriptedFailure}) {
    run.outcome = EOutcome::kReturnsWithItsText;
  }
  run.held = host.inventory.use_count() != 1 || host.Catalogue() != nullptr;
  for (std::size_t i = 0; i < run.calls.size(); ++i) run.calls[i].text = host.script.Calls()[i];
  return run;
}

bool Begins(const std::string& text, const char* beginning) {
  return text.rfind(beginning, 0) == 0;
}

// The calls that GetMachineType makes are the host's own.
bool IsHostsOwn(const THostCall& call) {
  return call.operation == "In RunQuery" &&
         (Begins(call.text, "GetClass QRXSG") || Begins(call.text, "EnumerateInstances QRXSG") ||
          Begins(call.text, "GetProperty") || Begins(call.text, "Value"));
}

bool IsGuardedList(const THostCall& call) {
  return call.operation == "In getVersionItemFromContainer";
}

EOutcome AfterStatus(const THostCall& call, int status) {
  if (Begins(call.text, "GetClass ")) {
    const bool goesOn =
        status == 15 || IsGuardedList(call) || Begins(call.text, "GetClass QRXSG_DeviceDriverInfo");
    return goesOn ? EOutcome::kReturns : EOutcome::kAssertionLeaves;
  }
  if (Begins(call.text, "EnumerateInstances") && IsGuardedList(call)) return EOutcome::kReturns;
  const bool isRead = Begins(call.text, "GetProperty") || Begins(call.text, "Value");
  const bool isSystemType = call.text.find(" OSType ") != std::string::npos;
  return isRead && !isSystemType ? EOutcome::kReturns : EOutcome::kReturnsWithItsText;
}

EOutcome AfterOther(const THostCall& call) {
  const bool caught = IsGuardedList(call) && Begins(call.text, "EnumerateInstances");
  return caught ? EOutcome::kReturns : EOutcome::kOtherLeaves;
}

// Of calls that fill a handle.
std::optional<EOutcome> AfterEmptyHandle(const THostCall& call) {
  if (Begins(call.text, "GetClass QRXSG_DeviceDriverInfo")) return EOutcome::kReturns;
  if (Begins(call.text, "GetClass ") && IsGuardedList(call)) return EOutcome::kReturns;
  for (const char* operation : {"GetClass ", "EnumerateInstances", "CreateInstance", "GetProperty",
                                "GetProvider", "CreateNamespace"}) {
    if (Begins(call.text, operation)) return EOutcome::kAssertionLeaves;
  }
  return std::nullopt;
}

std::optional<EOutcome> AfterUnlikelyValue(const THostCall& call) {
  if (!Begins(call.text, "Value")) return std::nullopt;
  return EOutcome::kReturns;  // An array where a number is needed ends it with another text.
}

// A query whose catalogue is in the folder that "svPath" names, or downloaded.
class THostFaultsOf : public testing::Test {
 protected:
  explicit THostFaultsOf(std::string svPath) : svPath(std::move(svPath)) {}

  void Expect(std::size_t number, const TFault& fault, EOutcome outcome) {
    const THostCall& call = clean.calls[number];
    const TRun run = RunFaulty(folder, svPath, number, fault);
    SCOPED_TRACE("call " + std::to_string(number) + " (" + call.text + ", " + call.operation +
                 "), fault " + std::to_string(static_cast<int>(fault.kind)) + ", status " +
                 std::to_string(static_cast<int>(fault.status)));
    EXPECT_EQ(run.outcome, outcome);
    ASSERT_GE(run.records.size(), call.records);
    EXPECT_TRUE(std::equal(clean.records.begin(),
                           clean.records.begin() + static_cast<std::ptrdiff_t>(call.records),
                           run.records.begin()));
    EXPECT_FALSE(run.held);
  }
  template <typename TRule>
  void Sweep(const TFault& fault, const TRule& rule) {
    for (std::size_t number = 0; number < clean.calls.size(); ++number) {
      if (IsHostsOwn(clean.calls[number])) continue;
      const std::optional<EOutcome> outcome = rule(clean.calls[number]);
      if (outcome) Expect(number, fault, *outcome);
      if (HasFailure()) return;
    }
  }

  const std::string svPath;
  TTemporaryFolder folder;
  TRun clean = RunFaulty(folder, svPath, 0, std::nullopt);
};

class THostFaults : public THostFaultsOf, public testing::WithParamInterface<std::string> {
 protected:
  THostFaults() : THostFaultsOf(GetParam()) {}
};

const auto kPaths = testing::Values(std::string(kCatalogueFolder), std::string(kLive));
INSTANTIATE_TEST_SUITE_P(Paths, THostFaults, kPaths,
                         [](const auto& test) { return test.index == 0 ? "Folder" : "Live"; });

TEST_P(THostFaults, QueryWithoutThemMakesManyCalls) {
  EXPECT_GT(clean.calls.size(), 200U);
  EXPECT_EQ(std::any_of(clean.calls.begin(), clean.calls.end(),
                        [](const THostCall& call) { return call.text == "setProxy"; }),
            svPath == kLive);
  EXPECT_EQ(clean.records.size(), 4U);
  EXPECT_FALSE(clean.held);
}

using TPathAndStatus = std::tuple<std::string, int>;

class THostStatus : public THostFaultsOf, public testing::WithParamInterface<TPathAndStatus> {
 protected:
  THostStatus() : THostFaultsOf(std::get<0>(GetParam())) {}
  const int status = std::get<1>(GetParam());
};

TEST_P(THostStatus, OfEachCallIsHandledByTheOperation) {
  Sweep(ThrowStatus(status),
        [this](const THostCall& call) { return std::optional(AfterStatus(call, status)); });
}

// Every code that the host has, and some that it has not.
INSTANTIATE_TEST_SUITE_P(Statuses, THostStatus,
                         testing::Combine(kPaths, testing::Values(1, 4, 9, 11, 12, 13, 15, 26, 32,
                                                                  0, -1, 77)));

TEST_P(THostFaults, OtherExceptionsPassToTheHost) {
  Sweep(kThrowOther, [](const THostCall& call) { return std::optional(AfterOther(call)); });
}

TEST_P(THostFaults, EmptyHandlesTripTheAssertion) { Sweep(kEmptyHandle, AfterEmptyHandle); }

TEST_P(THostFaults, UnlikelyValuesAreNoFailure) { Sweep(kUnlikelyValue, AfterUnlikelyValue); }

TEST_P(THostFaults, MachineTypeThatCannotBeReadEndsTheQuery) {
  for (const int status : {1, 4, 9, 11, 12, 13, 15, 26, 32, 77}) {
    for (std::size_t number = 0; IsHostsOwn(clean.calls[number]); ++number) {
      const TRun run = RunFaulty(folder, svPath, number, ThrowStatus(status));
      EXPECT_EQ(run.log, TLog({{4, "In RunQuery"}, {0, "Unable to determine machine type"}}));
      EXPECT_FALSE(run.held);
    }
  }
}

}  // namespace
}  // namespace svc::test
