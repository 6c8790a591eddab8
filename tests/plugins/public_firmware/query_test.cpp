// The plug-in object on the runtime: what a query delivers and logs, and what it refuses.
#include <gtest/gtest.h>

#include <boost/make_shared.hpp>

#include "host/hskcore/exception.h"
#include "host/plugin.nsp/plugin_manager.h"
#include "host/xmlparser/namespace_populator.h"
#include "host/xmlparser/xml_parser.h"
#include "plugins/public_firmware/public_firmware.h"
#include "runtime/hskcore/host_setup.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "tests/plugins/public_firmware/made_documents.h"
#include "tests/support/recording_logger.h"
#include "tests/support/temporary_folder.h"

using namespace NQRXHSK20;

namespace svc::publicfirmware {
namespace {

constexpr const char* kGuid = "5b92717b-2cad-4a96-a13b-9d65781df8bf";
constexpr const char* kTooMuch =
    "Public firmware: the catalogue has more releases for the machine's devices, or asks and tells "
    "more of them, than any that is published";

std::string Copies(std::size_t count, const std::string& text) {
  std::string all;
  for (std::size_t i = 0; i < count; ++i) all += text;
  return all;
}

std::string Device(const std::string& name, const std::string& version,
                   const std::string& identifier = kGuid) {
  return Instance("SVC_FirmwareDevice", Property("Name", name) + Property("Version", version) +
                                            Array("Identifiers", {identifier}));
}

std::string Release(const std::string& version, const std::string& properties = {}) {
  return Instance("SVC_FirmwareOffer",
                  Property("Version", version) + Array("Identifiers", {kGuid}) + properties);
}

class Query : public testing::Test {
 protected:
  Query() {
    InstallPluginManager(manager);
    InstallLogger(logger);
  }
  ~Query() override {
    InstallPluginManager({});
    InstallLogger({});
  }

  // The records, each with its properties that are not empty.
  TTexts Run(const std::string& devices, const std::string& releases) {
    folder.Write("firmware.xml", Document(Class("SVC_FirmwareOffer") + releases));
    return Run(devices, CIMContext{{"svPath", folder.Path()}});
  }
  TTexts Run(const std::string& devices, CIMContext context) {
    if (manager->GetPlugins().empty()) ProcessAttach(kReasonProcessAttach);
    folder.Write("inventory.xml",
                 Document(Class("QRXSG_SVResult") + Class("SVC_FirmwareDevice") + devices));
    const TNamespaceHandle inventory = MakeInMemoryNamespace();
    TNamespacePopulator::PopulateFromXMLFile(inventory, folder.Path() + "/inventory.xml");
    logger->Forget();
    manager->GetPlugins().at(0)->GetQueryInterface()->RunQuery(inventory, nullptr, context);
    return Records(inventory);
  }
  static TTexts Records(const TNamespaceHandle& inventory) {
    boost::shared_ptr<ICIMClass> results;
    inventory->GetClass(results, "QRXSG_SVResult", {});
    std::vector<TInstanceHandle> instances;
    results->EnumerateInstances(TAddToVectorCallback<ICIMInstance>(instances), true, {});
    TTexts records;
    for (const TInstanceHandle& instance : instances) {
      std::string record;
      for (const char* const name : {"Type", "Name", "InstalledVersion", "SVVersion", "InstalledIs",
                                     "Urgency", "ReleaseDate", "Description"}) {
        record += (record.empty() ? "" : "|") + TextOf(instance, name);
      }
      records.push_back(record);
    }
    return records;
  }
  TTexts Log() const {
    TTexts texts;
    for (const test::TLogEntry& entry : logger->Entries()) {
      EXPECT_EQ(entry.level, kLogProgress);
      texts.push_back(entry.text);
    }
    return texts;
  }
  void ExpectFailure(const std::function<void()>& action, THSKStatusCode status,
                     const std::string& text) {
    try {
      action();
      ADD_FAILURE() << "accepted";
    } catch (const THSKException& error) {
      EXPECT_EQ(error.GetStatusCode(), status);
      EXPECT_EQ(error.GetMessageText(), text);
    }
  }

  const boost::shared_ptr<TPluginManagerNamespace> manager =
      boost::make_shared<TPluginManagerNamespace>();
  const boost::shared_ptr<test::TRecordingLogger> logger =
      boost::make_shared<test::TRecordingLogger>();
  test::TTemporaryFolder folder;
};

TEST_F(Query, IsOfThePlugInThatOnlyAnAttachRegisters) {
  for (const unsigned long reason : {0UL, 2UL, 3UL}) {
    EXPECT_EQ(ProcessAttach(reason), 1);
    EXPECT_TRUE(manager->GetPlugins().empty()) << reason;
  }
  EXPECT_EQ(ProcessAttach(kReasonProcessAttach), 1);
  ASSERT_EQ(manager->GetPlugins().size(), 1U);
  IPluginCallbacks* const plugin = manager->GetPlugins()[0]->GetPlugin();
  EXPECT_EQ(plugin->GetName(), "Public Firmware");
  EXPECT_EQ(plugin->GetVersion(), "1.0");
  EXPECT_EQ(plugin->GetBuildVersion(), "1.0");
  EXPECT_EQ(plugin->GetInterfaceVersion(), 1);
}

TEST_F(Query, DeliversWhetherTheInstalledVersionIsOlderTheSameOrNewer) {
  EXPECT_EQ(Run(Device("Old", "1.9") + Device("Same", "1.10") + Device("New", "1.11"),
                Release("1.10") + Release("1.2")),
            TTexts({"Firmware|Old|1.9|1.10|older|||", "Firmware|Same|1.10|1.10|same|||",
                    "Firmware|New|1.11|1.10|newer|||"}));
  EXPECT_EQ(Log(), TTexts({"Public firmware: Old: 1.10 is offered, 1.9 is installed",
                           "Public firmware: Same: 1.10 is offered, 1.10 is installed",
                           "Public firmware: New: 1.10 is offered, 1.11 is installed"}));
}

TEST_F(Query, TakesAValueAloneForAListOfOne) {
  const std::string own = Property("Name", "One") + Property("Version", "1");
  EXPECT_EQ(
      Run(Instance("SVC_FirmwareDevice", own + Property("Identifiers", kGuid)),
          Instance("SVC_FirmwareOffer", Property("Version", "2") + Property("Identifiers", kGuid))),
      TTexts({"Firmware|One|1|2|older|||"}));
}

TEST_F(Query, ReadsTheInstancesOfSubclassesToo) {
  const auto derived = [](const std::string& name, const std::string& from) {
    return "<VALUE.OBJECT><CLASS NAME=\"" + name + "\" SUPERCLASS=\"" + from +
           "\"></CLASS></VALUE.OBJECT>";
  };
  const std::string identifiers = Array("Identifiers", {kGuid});
  EXPECT_EQ(Run(derived("OEM_Device", "SVC_FirmwareDevice") +
                    Instance("OEM_Device",
                             Property("Name", "Own") + Property("Version", "1") + identifiers),
                derived("OEM_Offer", "SVC_FirmwareOffer") +
                    Instance("OEM_Offer", Property("Version", "2") + identifiers)),
            TTexts({"Firmware|Own|1|2|older|||"}));
}

TEST_F(Query, DeliversWhatTheChosenReleaseSaysOfItself) {
  const auto says = [](const std::string& text) {
    return Property("Urgency", "u" + text) + Property("ReleaseDate", "d" + text) +
           Property("Description", "n" + text);
  };
  EXPECT_EQ(Run(Device("Dock", "1"), Release("2", says("2")) + Release("3", says("3"))),
            TTexts({"Firmware|Dock|1|3|older|u3|d3|n3"}));
}

TEST_F(Query, DeliversNothingOfADeviceWithoutAReleaseForIt) {
  EXPECT_EQ(Run(Device("Other", "1", "11111111-2222-3333-4444-555555555555") + Device("Dock", "1"),
                Release("2", Array("Requirements", {"hardware - -"}))),
            TTexts());
  EXPECT_EQ(Log(), TTexts({"Public firmware: Other: the catalogue has no release for it",
                           "Public firmware: Dock: nothing is offered",
                           "Public firmware: Dock: 2 is held back: for another hardware id"}));
}

TEST_F(Query, TellsTheWayStepByStepWhereThereIsMoreThanOne) {
  const auto after = [](const std::string& version) {
    return Array("Requirements", {"firmware ge " + version});
  };
  Run(Device("Dock", "1"), Release("2"));
  EXPECT_EQ(Log(), TTexts({"Public firmware: Dock: 2 is offered, 1 is installed"}));
  Run(Device("Dock", "1"), Release("2") + Release("3", after("2")) + Release("4", after("3")));
  EXPECT_EQ(Log(), TTexts({"Public firmware: Dock: 2 is offered, 1 is installed",
                           "Public firmware: Dock: 4 is held back: needs 3 installed first",
                           "Public firmware: Dock: 3 is held back: needs 2 installed first",
                           "Public firmware: Dock: the way to the highest: 2, then 3, then 4"}));
}

TEST_F(Query, TellsOfSixteenReleasesThatAreHeldBack) {
  for (const std::size_t count : {16U, 17U, 18U}) {
    std::string releases = Release("2");
    for (std::size_t i = 0; i < count; ++i) {
      releases += Release("3." + std::to_string(99 - i), Array("Requirements", {"hardware - -"}));
    }
    Run(Device("Dock", "1"), releases);
    const TTexts log = Log();
    ASSERT_EQ(log.size(), count == 16 ? 17U : 18U);
    EXPECT_EQ(log[1], "Public firmware: Dock: 3.99 is held back: for another hardware id");
    EXPECT_EQ(log[16], "Public firmware: Dock: 3.84 is held back: for another hardware id");
    if (count > 16) {
      EXPECT_EQ(log[17],
                "Public firmware: Dock: " + std::to_string(count - 16) + " more are held back");
    }
  }
}

TEST_F(Query, OfADownloadOrOfNoReleasesDeliversNothingAndReadsNoDevice) {
  EXPECT_EQ(Run(Device("Dock", "1"), CIMContext{{"svPath", "_live_"}}), TTexts());
  EXPECT_EQ(Run(Device("Dock", "1"), ""), TTexts());
  EXPECT_EQ(Log(), TTexts());
}

TEST_F(Query, WithoutAFolderFails) {
  ExpectFailure([&] { Run("", CIMContext{}); }, THSKStatusCode::kMissingContextEntry,
                "Public firmware: 'svPath' not passed via context");
}

TEST_F(Query, ReadsACatalogueAnewThatWasWrittenSince) {
  EXPECT_EQ(Run(Device("Dock", "1"), Release("2")), TTexts({"Firmware|Dock|1|2|older|||"}));
  EXPECT_EQ(Run(Device("Dock", "1"), Release("3.0")), TTexts({"Firmware|Dock|1|3.0|older|||"}));
}

// A release counts, and each of its requirements.
TEST_F(Query, LooksAtAMillionReleasesAndRequirementsAtMost) {
  TTexts requirements(9'999, "id");
  requirements[0] = "hardware - -";
  const std::string release = Release("2", Array("Requirements", requirements));
  EXPECT_EQ(Run(Copies(100, Device("Dock", "1")), release), TTexts());
  ExpectFailure([&] { Run(Copies(101, Device("Dock", "1")), release); }, THSKStatusCode::kFailed,
                kTooMuch);
}

TEST_F(Query, DeliversFourMebibytesOfReleasesTextsAtMost) {
  // With the version, the urgency and the date 1 MiB for each device.
  const auto release = [](std::size_t more) {
    return Release(
        "2", Property("Urgency", "u") + Property("ReleaseDate", "d") +
                 Property("Description", std::string((std::size_t{1} << 20) - 3 + more, 'n')));
  };
  EXPECT_EQ(Run(Copies(4, Device("Dock", "1")), release(0)).size(), 4U);
  ExpectFailure([&] { Run(Copies(4, Device("Dock", "1")), release(1)); }, THSKStatusCode::kFailed,
                kTooMuch);
}

}  // namespace
}  // namespace svc::publicfirmware
