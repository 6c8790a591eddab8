// A walk over update elements on the fake host, and the log that it is to write.
#pragma once

#include <gtest/gtest.h>

#include <boost/make_shared.hpp>

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "plugins/version_checker/firmware/firmware_operations.h"
#include "tests/support/expected_log.h"
#include "tests/support/fake_host.h"

namespace svc::test {

struct TDispatchTest {
  const char* property;
  const char* needle;
};
// The tests that are made of an element, in their order: written down once more, apart from the
// tables that the code works by, to judge these.
extern const std::vector<TDispatchTest> kBIOSTests;
extern const std::vector<TDispatchTest> kChain;

// What the report at the end of a walk says when nothing was found, without its last line.
extern const std::vector<std::string> kMissingComponents;

class TFirmwareTest : public testing::Test {
 protected:
  checker::TInstanceHandle Element(TFakeProperties properties);
  // Walks over these elements, or over one of these properties.
  void Compare(const checker::TInstanceList& elements, const std::string& machineType = "4631");
  void CompareOne(const TFakeProperties& element) {
    Compare(checker::TInstanceList{Element(element)});
  }

  void Install(const std::string& className, const TFakeProperties& properties) {
    host.inventory->Add(className, properties);
  }

  TFakeHost host;
  boost::shared_ptr<TFakeNamespace> catalogue = boost::make_shared<TFakeNamespace>(host.script);
};

// Whether a test holds for an element, decided in the simplest way.
bool Holds(const TDispatchTest& test, const TFakeProperties& element);

// What a walk logs for an element before its branch begins.
class TWalkLog : public TExpectedLog {
 public:
  // The tests for the BIOS, up to the one that holds.
  TWalkLog& BIOSTests(const TFakeProperties& element);
  // The tests of the chain, up to the row that holds.
  TWalkLog& ChainTests(const TFakeProperties& element);
  // The report: each component's line but for the numbers of those found, and the last line.
  TWalkLog& Report(const std::set<std::size_t>& found = {});

 private:
  TWalkLog& Tests(const std::vector<TDispatchTest>& tests, const TFakeProperties& element);
};

// Components by their line of the report.
enum EReported { kSystemBIOS, kDiagnostics, kRWA2, kRWA, kISCP, kH8, kBMC, kBroadcom };

}  // namespace svc::test
