#include "tests/plugins/version_checker/firmware/firmware_fixture.h"

#include <algorithm>
#include <boost/algorithm/string/predicate.hpp>

using namespace svc::checker;

namespace svc::test {

const std::vector<TDispatchTest> kBIOSTests = {
    {"description", "BIOS Update"},
    {"category", "BIOS"},
    {"description", "BIOS Flash"},
    {"description", "Flash BIOS"},
};

const std::vector<TDispatchTest> kChain = {
    {"description", "uEFI"},
    {"category", "UEFI"},
    {"installDirectory", "/PKGS/DIAG"},
    {"description", "Diagnostic"},
    {"description", "Preboot Diagnostics"},
    {"description", "Preboot HSK"},
    {"description", "HSK Preboot"},
    {"installDirectory", "/PKGS/RWA2"},
    {"description", "Remote Watch Adapter II"},
    {"installDirectory", "/PKGS/REMOTWAT"},
    {"description", "Remote Watch Adapter"},
    {"description", "Integrated System Control Processor"},
    {"category", "BMC/H8"},
    {"description", "Broadcom NetXtreme and NetXtreme II Firmware"},
    {"description", "QRX Arrayon AX20i SAS Controller Firmware"},
    {"description", "QRX Arrayon AX20is SAS Controller Firmware"},
    {"description", "QRX Arrayon AX20M SAS Controller Firmware"},
    {"description", "LSI 1064"},
    {"description", "LSI 1078 SAS"},
    {"description", "BIOS and Firmware Update for the SAS Expansion Card (HBXe) for QRX Rackwell"},
};

const std::vector<std::string> kMissingComponents = {
    "No firmware update found for System BIOS.",
    "No firmware update found for Diagnostics.",
    "No firmware update found for RWA II.",
    "No firmware update found for RWA.",
    "No firmware update found for ISCP.",
    "No firmware update found for H8.",
    "No firmware update found for BMC.",
    "No firmware update found for Broadcom NetXtreme or NetXtreme II.",
};

namespace {

const NQRXHSK20::TCIMValue* Find(const TFakeProperties& element, const char* property) {
  const auto found = std::find_if(element.begin(), element.end(),
                                  [&](const auto& entry) { return entry.first == property; });
  return found == element.end() ? nullptr : &found->second;
}

}  // namespace

bool Holds(const TDispatchTest& test, const TFakeProperties& element) {
  const NQRXHSK20::TCIMValue* value = Find(element, test.property);
  return value != nullptr && boost::algorithm::icontains(value->ToString(10), test.needle);
}

TInstanceHandle TFirmwareTest::Element(TFakeProperties properties) {
  return catalogue->Add("QRXPSG_SystemUpdateElement", std::move(properties));
}

void TFirmwareTest::Compare(const TInstanceList& elements, const std::string& machineType) {
  TFirmwareOperations::CompareFirmware(host.inventory, elements, machineType);
}

TWalkLog& TWalkLog::Tests(const std::vector<TDispatchTest>& tests, const TFakeProperties& element) {
  for (const TDispatchTest& test : tests) {
    if (Find(element, test.property) != nullptr) {
      Test();
    } else {
      TestMissing();
    }
    if (Holds(test, element)) break;
  }
  return *this;
}

TWalkLog& TWalkLog::BIOSTests(const TFakeProperties& element) { return Tests(kBIOSTests, element); }

TWalkLog& TWalkLog::ChainTests(const TFakeProperties& element) { return Tests(kChain, element); }

TWalkLog& TWalkLog::Report(const std::set<std::size_t>& found) {
  for (std::size_t component = 0; component < kMissingComponents.size(); ++component) {
    if (found.count(component) == 0) Progress(kMissingComponents[component]);
  }
  Progress("No firmware update found for LSI firmware.");
  return *this;
}

}  // namespace svc::test
