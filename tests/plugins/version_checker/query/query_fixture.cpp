#include "tests/plugins/version_checker/query/query_fixture.h"

#include <utility>

#include "plugins/version_checker/query/sv_plugin.h"

using namespace NQRXHSK20;
using namespace svc::checker;

// The core library's, which cannot fail, replaced when the test is linked: a host's may. Noted as
// "string" and the text; only the query asks for it.
NQRXHSK20::TCIMValue::operator std::string() const {
  const std::string text = ToString(10);
  svc::test::TFakeHost::Current().script.Enter("string " + text);
  return text;
}

namespace svc::test {

void FillInventory(TFakeNamespace& inventory) {
  inventory.Add("QRXSG_ComputerSystem", {{"MachineType", "4620"}});
  inventory.Add("QRXSG_OperatingSystem",
                {{"Version", "5.3"},
                 {"OSType", TCIMValue::Unsigned(ECIMType::kUint16, 36)},
                 {"BuildID", "Red Hat Enterprise Linux Server release 5.3"},
                 {"HardwarePlatform", "x86_64"}});
  inventory.Add("QRXSG_SystemBIOSElement", {{"Version", "1.05"}});
  inventory.Add("QRXSG_SPROMFirmwareVPDMain",
                {{"Name", "RWA card"}, {"BuildNumber", "B1"}, {"Version", "1.0"}});
  inventory.Add("QRXSG_BcmDeviceFirmwareElement",
                {{"SoftwareElementID", "BCM5708"}, {"Version", "3.1"}});
  inventory.Add("QRXSG_DeviceDriverInfo",
                {{"Path", "\\drivers\\tg3.ko"}, {"Version", "3.9"}, {"CurrentState", "4"}});
}

void AddElement(TFakeNamespace& catalogue, TFakeProperties properties, const char* system) {
  properties.emplace_back("applicableMachineTypes",
                          TCIMValue::Array(ECIMType::kString, {"Rackwell -[4620]-"}));
  properties.emplace_back("applicableOperatingSystems",
                          TCIMValue::Array(ECIMType::kString, {system}));
  catalogue.Add(kElementClass, std::move(properties));
}

void FillCatalogueFor(TFakeNamespace& catalogue, const char* system) {
  AddElement(catalogue, {{"category", "BIOS"}, {"Version", "1.10-[QKL120A]-"}}, system);
  AddElement(catalogue, {{"installDirectory", "/PKGS/REMOTWAT"}, {"Version", "-[B2]-"}}, system);
  AddElement(catalogue,
             {{"description", "Broadcom NetXtreme and NetXtreme II Firmware"},
              {"driverFiles", "bcm5708.bin-#4.0 tg3.ko-#3.99"}},
             system);
}

void FillCatalogue(TFakeNamespace& catalogue) { FillCatalogueFor(catalogue, "RHEL5_64"); }

void WriteDownload(const TTemporaryFolder& folder, TFakeHost& host, TDocument contents) {
  folder.Write("c/QRX_Support/SV/a.xml", "a");
  host.documents["a"] = std::move(contents);
}

void WriteCatalogue(const TTemporaryFolder& folder, TFakeHost& host, TDocument contents) {
  folder.Write("catalogue/index.xml", "index");
  folder.Write("sv/header.xml", "header");
  host.documents["index"] = std::move(contents);
  host.documents["header"] = [](TFakeNamespace&) {};
}

void Attach(TFakeHost& host) {
  ProcessAttach(kReasonProcessAttach);
  host.script.Forget();
}

void RunQuery(TFakeHost& host, const std::string& svPath) {
  CIMContext context = {{"svPath", svPath}};
  RunQuery(host, context);
}

void RunQuery(TFakeHost& host, CIMContext& context) {
  if (host.pluginManager->GetPlugins().empty()) Attach(host);
  host.pluginManager->GetPlugins().back()->GetQueryInterface()->RunQuery(host.inventory, nullptr,
                                                                         context);
}

}  // namespace svc::test
