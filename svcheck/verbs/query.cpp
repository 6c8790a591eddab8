#include <algorithm>
#include <array>
#include <cstring>
#include <iostream>
#include <span>
#include <utility>

#include "base/json_writer.h"
#include "report/records.h"
#include "rules/components.h"
#include "rules/log_texts.h"
#include "rules/names.h"
#include "svcheck/cli/command_line.h"
#include "svcheck/cli/verb_description.h"
#include "svcheck/session/query_session.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/paths.h"
#include "svcheck/verbs/explanation.h"

using namespace NQRXHSK20;
namespace svc {

namespace {

// Entries by which a comparison says how it ended, and what they mean to a person.
struct TRemark {
  std::string_view entry;
  std::string_view meaning;
};
constexpr std::array kRemarks = {
    TRemark{rules::kDiagnosticsSkipped,
            "diagnostics of this release are not compared on this machine type"},
    TRemark{rules::kOtherController, "the installed and the offered controller differ"},
    TRemark{rules::kInstalledIsOffered,
            "its driver files do not name the installed firmware: what is installed is shown as "
            "offered"}};

std::span<const rules::TComponentTest> TestsOf(ETests list) {
  switch (list) {
    case ETests::kBios:
      return rules::kBiosTests;
    case ETests::kChain:
      return rules::kChainTests;
    case ETests::kProcessor:
      break;
  }
  return rules::kProcessorTests;
}

// The row of the chain behind which the tests for a processor are made.
std::size_t RowOfProcessors() {
  const auto* const row = std::find_if(
      rules::kChainTests.begin(), rules::kChainTests.end(), [](const rules::TComponentTest& test) {
        return test.component == rules::EComponent::kUnnamedProcessor;
      });
  return static_cast<std::size_t>(row - rules::kChainTests.begin());
}

}  // namespace

std::string LabelOf(const THeldTest& test) {
  switch (test.list) {
    case ETests::kBios:
      return 'B' + std::to_string(test.number + 1);
    case ETests::kChain:
      return std::to_string(test.number + 1);
    case ETests::kProcessor:
      break;
  }
  return std::to_string(RowOfProcessors() + 1) + static_cast<char>('a' + test.number);
}

std::string_view WantedBy(const THeldTest& test) {
  const auto tests = TestsOf(test.list);
  return test.number < tests.size() ? tests[test.number].text.Written() : std::string_view();
}

TQueryTrace::TQueryTrace(boost::shared_ptr<ILogger> next) : next(std::move(next)) {}

void TQueryTrace::Log(int level, std::string_view message) {
  if (next && next->IsLogged(level)) next->Log(level, message);
  if (phase == EPhase::kLoading) {
    if (level == kLogTrace && message == rules::kSelectsMachine) phase = EPhase::kMachine;
    return;
  }
  if (phase == EPhase::kInstalled) return NoteDriver(message);
  if (phase == EPhase::kMachine && message == rules::kSelectsSystem) phase = EPhase::kSystem;
  testing = message == rules::kTests || (testing && message == rules::kReads);
  if (phase != EPhase::kFirmware || testing) return;
  const auto* const remark =
      std::find_if(kRemarks.begin(), kRemarks.end(),
                   [&](const TRemark& candidate) { return candidate.entry == message; });
  if (remark != kRemarks.end()) Current().remarks.emplace_back(remark->meaning);
}

void TQueryTrace::ReadElement(TInstance instance, std::string_view property) {
  if (phase == EPhase::kLoading) return;
  if (phase == EPhase::kMachine || phase == EPhase::kSystem) Select(instance);
  const bool isTest = std::exchange(testing, false);
  const auto number = numbers.find(instance);
  if (number == numbers.end()) return;
  if (phase == EPhase::kFirmware) {
    if (isTest) {
      current = number->second;
      TestFirmware(Current(), property);
    } else if (property == rules::kUpdateSystems) {  // Asked first when it turns to drivers.
      phase = EPhase::kOffered;
    } else {
      HoldLastTest();
      AddOnce(Current().texts, property);
    }
  }
  if (phase == EPhase::kOffered) ++elements[number->second].driverReads;
}

// Each selection asks each element once: an element that is asked again has come further.
void TQueryTrace::Select(TInstance instance) {
  const auto [number, isNew] = numbers.try_emplace(instance, elements.size());
  if (isNew) {
    elements.emplace_back().instance = instance;
    return;
  }
  bool& systemTested = elements[number->second].systemTested;
  if (phase == EPhase::kMachine || systemTested) {
    phase = EPhase::kFirmware;
  } else {
    systemTested = true;
  }
}

void TQueryTrace::TestFirmware(TElementTrace& element, std::string_view property) {
  ++element.tests;
  const bool isOver = element.isDecided || element.made == TestsOf(element.list).size();
  if (isOver && element.list != ETests::kProcessor) {
    element.list = element.list == ETests::kBios ? ETests::kChain : ETests::kProcessor;
    element.made = 0;
    element.isDecided = false;
  }
  ++element.made;
  lastTested = property;
  AddOnce(element.asked, property);
}

void TQueryTrace::AddOnce(std::vector<std::string>& names, std::string_view name) {
  if (std::find(names.begin(), names.end(), name) == names.end()) names.emplace_back(name);
}

void TQueryTrace::HoldLastTest() {
  TElementTrace& element = Current();
  if (!element.held.empty() && element.held.back().position == element.tests) return;
  element.isDecided = true;
  element.held.push_back({element.tests, lastTested, element.list, element.made - 1});
}

void TQueryTrace::AskForClass(std::string_view className) {
  if (phase == EPhase::kOffered) phase = EPhase::kInstalled;
  if (phase != EPhase::kFirmware && phase != EPhase::kInstalled) return;
  if (className == rules::kResultClass) return CountRecord();
  if (phase != EPhase::kFirmware) return;
  HoldLastTest();
  Current().reads.push_back({std::string(className), {}});
}

void TQueryTrace::CountRecord() {
  const std::size_t number = records++;
  if (phase == EPhase::kFirmware) {
    HoldLastTest();
    Current().records.push_back(number);
  } else if (offered && candidate > 0) {
    if (offered->records++ == 0) offered->first = number;
    installed[candidate - 1].matched = true;
  }
}

void TQueryTrace::ReadInventory(TInstance instance, std::string_view property) {
  if (phase == EPhase::kFirmware && !Current().reads.empty()) {
    Current().reads.back().properties.emplace_back(instance, property);
  } else if (phase == EPhase::kInstalled &&
             (installed.empty() || installed.back().instance != instance)) {
    installed.push_back({instance, true, false});
  }
}

// Each offered driver is compared with each installed one, in order.
TInstalledTrace& TQueryTrace::NextCandidate() {
  if (!offered || candidate == installed.size()) {
    if (offered) PutOfferedAside();
    offered.emplace();
    candidate = 0;
  }
  return installed[candidate++];
}

void TQueryTrace::PutOfferedAside() {
  std::string text;
  for (const std::size_t number : {offered->records, offered->first}) {
    text.append(reinterpret_cast<const char*>(&number), sizeof number);
  }
  offeredBefore.Add(text + offered->name);
}

void TQueryTrace::ForEachOffered(
    const std::function<void(const TOfferedTrace& driver)>& use) const {
  TOfferedTrace driver;
  offeredBefore.ForEach([&](std::string_view text) {
    for (std::size_t* const number : {&driver.records, &driver.first}) {
      std::memcpy(number, text.data(), sizeof *number);
      text.remove_prefix(sizeof *number);
    }
    driver.name = text;
    use(driver);
  });
  if (offered) use(*offered);
}

void TQueryTrace::NoteDriver(std::string_view message) {
  if (std::exchange(isState, message == rules::kStateFollows) || installed.empty()) return;
  if (message == rules::kNotRunning) {
    NextCandidate().running = false;
  } else if (message == rules::kNameless || message.starts_with(rules::kInstalledName)) {
    NextCandidate();
  } else if (message.starts_with(rules::kOfferedName) && offered && offered->name.empty()) {
    offered->name = message.substr(rules::kOfferedName.size());
  }
}

// `svcheck query`: one raw query, for programs and for tests.

namespace {

class TQueryVerb : public IVerb {
 public:
  explicit TQueryVerb(CLI::App& app) {
    AddInventoryOption(app, options).Required();
    AddQueryOptions(app, options);
    AddText(app, "--records", recordsFile, "Where the records go; \"-\" is standard output",
            "FILE");
  }

  int Run() override {
    TQueryRequest request = RequestOf(options);
    const auto records = OpenOutput(recordsFile);
    TLogFile log(options);
    // From the loading of the plug-in on.
    const TInstalledLogger logging(log.Logger());
    TQuerySession session(std::move(request));
    const TQueryEnd end = session.Ask();
    std::cout.flush();
    std::fflush(stdout);
    const auto found = session.Records();
    report::TRecord record;
    std::string line;
    TJsonWriter json(line);
    for (std::size_t i = 0; i < found->Count(); ++i) {
      found->Read(i, record);
      json.Object();
      report::AddTexts(record, json);
      json.End();
      records->Write(line += '\n');
      line.clear();
    }
    records->Commit();
    FlushStandardOutput();
    return Status(end, log.Flush());
  }

 private:
  static int Status(const TQueryEnd& end, bool logIsWhole) {
    if (!end.returned) {
      ReportError("an exception left the plug-in's query: " + end.exceptionText +
                  (end.status ? " (status " + std::to_string(*end.status) + ")" : "") +
                  "; --log FILE shows what the query did");
      return kExitException;
    }
    return logIsWhole ? kExitDone : kExitFailure;
  }

  TQueryOptions options;
  std::string recordsFile = "-";
};

}  // namespace

std::unique_ptr<IVerb> MakeQuery(CLI::App& app) { return std::make_unique<TQueryVerb>(app); }

}  // namespace svc
