// What a service in memory tells of a server, and what is asked of it for that.
#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "base/error.h"
#include "service_in_memory.h"

namespace svc::collect {
namespace {

TEST_F(TServerTest, IsAMachineWithABiosAtLeast) {
  EXPECT_EQ(Read(), TTexts{});
  EXPECT_EQ(machine, (TTexts{"QRXSG_ComputerSystem MachineType=M Model=M",
                             "QRXSG_SystemBIOSElement Name=System BIOS Version=1.0"}));
  EXPECT_EQ(notes, TTexts{});
}

TEST_F(TServerTest, TellsWhoseItIsUnlessThatIsToBeLeftOut) {
  ServeSystem(R"(,"Manufacturer":"Maker","SerialNumber":"S","UUID":"U","HostName":"H")");
  Read();
  const std::string known = "QRXSG_ComputerSystem MachineType=M Manufacturer=Maker Model=M";
  EXPECT_EQ(machine.at(0), known + " SerialNumber=S UUID=U Name=H");
  redact = true;
  Read();
  EXPECT_EQ(machine.at(0), known);
}

TEST_F(TServerTest, SaysWhatItDoesNotTellOfItself) {
  Serve("/systems/1", R"({"BiosVersion":"1.0"})");
  EXPECT_EQ(Read(), TTexts{});
  EXPECT_EQ(machine, TTexts{"QRXSG_SystemBIOSElement Name=System BIOS Version=1.0"});
  EXPECT_EQ(notes, TTexts{"https://bmc/systems/1: no model; the machine type is unknown"});
  Serve("/systems/1", R"({"Model":"M"})");
  EXPECT_EQ(Read(), TTexts{});
  EXPECT_EQ(machine, TTexts{"QRXSG_ComputerSystem MachineType=M Model=M"});
  EXPECT_EQ(notes, TTexts{"https://bmc/systems/1: no BIOS version; left out"});
}

TEST_F(TServerTest, IsTheFirstOfSeveralThatCanBeReadAndSaysSoWhereNoneIsNamed) {
  const auto offer = [&](int count) {
    TTexts links;
    for (int number = 1; number <= count; ++number) {
      links.push_back(Link("/systems/" + std::to_string(number)));
      Serve("/systems/" + std::to_string(number),
            R"({"Model":"M)" + std::to_string(number) + R"(","BiosVersion":"1"})");
    }
    Serve("/systems", Collection(links));
  };
  const auto noteOf = [](int count, const std::string& names, int chosen) {
    return "https://bmc: has " + std::to_string(count) + " systems (" + names +
           "); this is the inventory of " + std::to_string(chosen) +
           ", name another one with --system ID";
  };
  const auto modelOf = [&](const std::string& id) {
    Read(id);
    return machine.at(0);
  };
  const auto model = [](const std::string& number) {
    return "QRXSG_ComputerSystem MachineType=M" + number + " Model=M" + number;
  };
  offer(1);
  EXPECT_EQ(modelOf(""), model("1"));
  EXPECT_EQ(notes, TTexts{});
  offer(2);
  EXPECT_EQ(modelOf(""), model("1"));
  EXPECT_EQ(notes, TTexts{noteOf(2, "1, 2", 1)});
  offer(3);
  EXPECT_EQ(modelOf(""), model("1"));
  EXPECT_EQ(notes, TTexts{noteOf(3, "1, 2, 3", 1)});
  for (const char* id : {"2", "/systems/2", "/systems/2/"})
    EXPECT_EQ(modelOf(id), model("2")) << id;
  EXPECT_EQ(notes, TTexts{});
  EXPECT_EQ(Failure("9\x1b"), "https://bmc: has no system \"9\xEF\xBF\xBD\"; it has: 1, 2, 3");
  Serve("/systems/1", "", 500);
  EXPECT_EQ(modelOf(""), model("2"));
  const std::string broken = "https://bmc/systems/1: the server answered with status 500";
  EXPECT_EQ(notes, (TTexts{broken + "; left out", noteOf(3, "1, 2, 3", 2)}));
  EXPECT_EQ(Failure("1"), broken);
  Serve("/systems/2", "", 404);
  Serve("/systems/3", "", 404);
  EXPECT_EQ(Failure(), broken) << "the first problem";
  std::string names = "1";
  for (int number = 2; number <= 20; ++number) names += ", " + std::to_string(number);
  offer(20);
  Read();
  EXPECT_EQ(notes, TTexts{noteOf(20, names, 1)});
  offer(21);
  Read();
  EXPECT_EQ(notes, TTexts{noteOf(21, names + ", ...", 1)});
}

TEST_F(TServerTest, HasOfItsBiosWhatTheFirmwareInventorySaysOfThatVersion) {
  const auto biosWith = [&](const std::string& ofSystem, const std::string& item) {
    Serve("/systems/1", R"({"Model":"M")" + ofSystem + "}");
    ServeFirmware({item});
    Read();
    const std::string begin = "QRXSG_SystemBIOSElement Name=System BIOS ";
    const bool hasBios = machine.size() == 2 && machine[1].starts_with(begin);
    return hasBios ? machine[1].substr(begin.size()) : std::string();
  };
  const std::string own = R"(,"BiosVersion":"1.0")";
  const auto item = [](const std::string& version, const std::string& more) {
    return R"({"Name":"N","Version":")" + version +
           R"(","Manufacturer":"Maker","ReleaseDate":"2026")" + more + "}";
  };
  const std::string byId = R"(,"Id":"BIOS")";
  const auto related = [](const std::string& place) {
    return R"(,"RelatedItem":[{"@odata.id":")" + place + "\"}]";
  };
  const std::string more = " Manufacturer=Maker ReleaseDate=2026";
  EXPECT_EQ(biosWith(own, item("1.0", byId)), "Version=1.0" + more);
  EXPECT_EQ(biosWith(own, item("1.0", R"(,"Id":"Uefi")")), "Version=1.0" + more);
  EXPECT_EQ(biosWith(own, item("1.0", R"(,"Id":"BIOS2")")), "Version=1.0");
  EXPECT_EQ(biosWith(own, item("1.0 (12/06/2017)", byId)), "Version=1.0" + more);
  EXPECT_EQ(biosWith(R"x(,"BiosVersion":"1.0 (12/06/2017)")x", item("1.0", byId)),
            "Version=1.0 (12/06/2017)" + more);
  for (const char* other : {"1.1", "1.0.1", "1.0(x)", "", "1."})
    EXPECT_EQ(biosWith(own, item(other, byId)), "Version=1.0") << other;
  EXPECT_EQ(biosWith(own, item("1.0", related("/Systems/1/BIOS"))), "Version=1.0" + more);
  EXPECT_EQ(biosWith(own, item("1.0", byId + related("/systems/1"))), "Version=1.0" + more);
  EXPECT_EQ(biosWith(own, item("1.0", related("/systems/1"))), "Version=1.0");
  EXPECT_EQ(biosWith(own, item("1.0", byId + related("/systems/2"))), "Version=1.0");
  EXPECT_EQ(biosWith("", item("3.0", byId)), "Version=3.0" + more);
  EXPECT_EQ(biosWith("", item("3.0", byId + related("/systems/2"))), "");
}

TEST_F(TServerTest, HasTheManagersThatItNamesAndOthersOnlyWhereItNamesNone) {
  const auto manager = [](const std::string& name, const std::string& more) {
    return R"({"Name":"Manager","Model":")" + name + R"(","FirmwareVersion":"7")" + more + "}";
  };
  Serve("/managers", Collection({Link("/managers/1"), Link("/managers/2")}));
  Serve("/managers/1",
        manager("own", R"(,"Links":{"ManagerForServers":[)" + Link("/systems/1/") + "]}"));
  Serve("/managers/2", manager("named", ""));
  const auto told = [](const std::string& name) {
    return "QRXSG_IPMIFirmwareElement Name=" + name + " Version=7";
  };
  EXPECT_EQ(Read(), (TTexts{told("own"), told("named")}));
  ServeSystem(R"(,"Links":{"ManagedBy":[)" + Link("/managers/2") + "," + Link("/gone") + "]}");
  EXPECT_EQ(Read(), TTexts{told("named")});
  EXPECT_EQ(notes, TTexts{"https://bmc/gone: the server answered with status 404; left out"});
}

TEST_F(TServerTest, IsReadPageByPageUpToTwoThousandMembers) {
  const auto page = [](int first, int count, const std::string& next) {
    TTexts items;
    for (int number = first; number < first + count; ++number)
      items.push_back(R"({"Name":"F)" + std::to_string(number) + R"(","Version":"2"})");
    std::string text = Collection(items);
    if (!next.empty()) text.insert(text.size() - 1, R"(,"Members@odata.nextLink":")" + next + "\"");
    return text;
  };
  Serve("/firmware", page(0, 2, "/firmware?page=2"));
  Serve("/firmware?page=2", page(2, 1, "/firmware"));
  EXPECT_EQ(Read().size(), 3U) << "the first page comes once";
  EXPECT_EQ(notes, TTexts{});
  Serve("/firmware?page=2", "", 500);
  EXPECT_EQ(Read().size(), 2U);
  EXPECT_EQ(notes,
            TTexts{"https://bmc/firmware?page=2: the server answered with status 500; left out"});
  Serve("/firmware", "", 500);
  EXPECT_EQ(Read().size(), 0U);
  EXPECT_EQ(notes, TTexts{"https://bmc/firmware: the server answered with status 500; left out"});
  Serve("/firmware", page(0, 1000, "/firmware?page=2"));
  const TTexts more = {"https://bmc/firmware: more than 2000 members; left out"}, none;
  for (const auto& [second, count, told] :
       {std::tuple{999, 1999, none}, {1000, 2000, none}, {1001, 2000, more}}) {
    Serve("/firmware?page=2", page(1000, second, ""));
    EXPECT_EQ(std::ssize(Read()), count);
    EXPECT_EQ(notes, told) << second;
  }
  Serve("/firmware?page=2", page(1000, 1000, "/firmware?page=3"));
  EXPECT_EQ(std::ssize(Read()), 2000);
  EXPECT_EQ(notes, more) << "nobody looks what stands there";
}

TEST_F(TServerTest, HasControllersOfItsBoardInTheirClassAndOthersAsDevices) {
  TTexts links;
  for (const char* kind :
       {"", "BMC", "ManagementController", "EnclosureManager", "bmc", "Service"}) {
    links.push_back(Link(std::string("/managers/") + kind + "1"));
    Serve(std::string("/managers/") + kind + "1",
          R"({"ManagerType":")" + std::string(kind) + R"(","Name":"N)" + kind +
              R"(","Manufacturer":"Maker","FirmwareVersion":"7"})");
  }
  links.push_back(Link("/managers/silent"));
  Serve("/managers/silent", R"({"ManagerType":"BMC","Name":"Silent"})");
  links.push_back(Link("/managers/other"));
  Serve("/managers/other",
        R"({"FirmwareVersion":"8","Links":{"ManagerForServers":[)" + Link("/systems/10") + "]}}");
  for (const std::string place : {"/systems", "/systems/1/Oem"}) {
    links.push_back(Link("/managers" + place));
    Serve("/managers" + place, R"({"Name":")" + place +
                                   R"(","FirmwareVersion":"9","Links":{"ManagerForServers":[)" +
                                   Link(place) + "]}}");
  }
  Serve("/managers", Collection(links));
  const auto device = [](const std::string& kind) {
    return "SVC_FirmwareDevice Name=N" + kind + " Vendor=Maker Version=7 Source=redfish";
  };
  EXPECT_EQ(Read(), (TTexts{"QRXSG_IPMIFirmwareElement Name=N Version=7",
                            "QRXSG_IPMIFirmwareElement Name=NBMC Version=7",
                            "QRXSG_IPMIFirmwareElement Name=NManagementController Version=7",
                            device("EnclosureManager"), device("bmc"), device("Service"),
                            "QRXSG_IPMIFirmwareElement Name=/systems/1/Oem Version=9"}));
  EXPECT_EQ(notes, TTexts{"https://bmc/managers/silent: no firmware version; left out"});
}

// An item that a resource has said, by its place, its own words or a version with a date behind it.
TEST_F(TServerTest, HasNoFirmwareTwice) {
  Serve("/managers", Collection({Link("/managers/1")}));
  Serve("/managers/1", R"({"FirmwareVersion":"2.0","Model":"Lights"})");
  const auto item = [](const std::string& name, const std::string& version,
                       const std::string& more = "") {
    return R"({"Name":")" + name + R"(","Version":")" + version + "\"" + more + "}";
  };
  const std::string ofManager = R"(,"RelatedItem":[{"@odata.id":"/Managers/1/"}])";
  ServeFirmware({item("Board UEFI", "1.0"), item("x", "2.0", ofManager),
                 item("x", "2.0 (12/06/2017)", ofManager), item("The BMC", "2.0"),
                 item("Managed", "2.0"), item("Board UEFI", "1.0.1"), item("x", "2.0"),
                 item("y", "2.0(1)", ofManager), item("", "2.0", ofManager + R"(,"Id":"z")"),
                 item("w", "2.0", ofManager + R"(,"SoftwareId":"S","Manufacturer":"M")"),
                 item("Software Inventory", "3", R"(,"Id":"CPLD")")});
  const auto device = [](const std::string& texts) {
    return "SVC_FirmwareDevice Name=" + texts + " Source=redfish";
  };
  EXPECT_EQ(Read(), (TTexts{"QRXSG_IPMIFirmwareElement Name=Lights Version=2.0",
                            device("Board UEFI Version=1.0.1"), device("x Version=2.0"),
                            device("y Version=2.0(1)"),
                            device("w Vendor=M Version=2.0 "
                                   "Identifiers=[REDFISH\\VENDOR_M&SOFTWAREID_S]"),
                            device("CPLD Version=3")}));
}

TEST_F(TServerTest, HasTheFirmwareOfNoOtherSystem) {
  Serve("/systems", Collection({Link("/systems/1"), Link("/systems/2"), Link("/systems/3")}));
  const auto item = [](const std::string& name, const TTexts& related) {
    std::string links;
    for (const std::string& place : related) links += (links.empty() ? "" : ",") + Link(place);
    return R"({"Name":")" + name + R"(","Version":"1","RelatedItem":[)" + links + "]}";
  };
  ServeFirmware({item("own", {"/systems/1/Bios"}), item("other", {"/systems/2"}),
                 item("others", {"/systems/2/Bios", "/systems/3"}),
                 item("shared", {"/systems/2", "/systems/1"}), item("nobody's", {}),
                 item("tenth", {"/systems/20"})});
  TTexts names;
  for (const std::string& told : Read("1")) names.push_back(told.substr(24));
  EXPECT_EQ(names, (TTexts{"own Version=1 Source=redfish", "shared Version=1 Source=redfish",
                           "nobody's Version=1 Source=redfish", "tenth Version=1 Source=redfish"}));
  EXPECT_EQ(notes, TTexts{});
}

TEST_F(TServerTest, LooksAtThirtyTwoOfTheResourcesThatFirmwareIsFor) {
  Serve("/systems", Collection({Link("/systems/1"), Link("/systems/2")}));
  for (const int others : {31, 32}) {
    std::string links;
    for (int other = 0; other < others; ++other) links += Link("/systems/2") + ",";
    ServeFirmware(
        {R"({"Name":"F","Version":"2","RelatedItem":[)" + links + Link("/systems/1") + "]}",
         R"({"Name":"G","Version":"1.0","RelatedItem":[)" + links + Link("/systems/1/Bios") +
             "]}"});
    // F is known to be for this one too, and G to be its BIOS, which it has told.
    EXPECT_EQ(Read("1"), others == 31 ? TTexts{"SVC_FirmwareDevice Name=F Version=2 Source=redfish"}
                                      : TTexts{});
  }
}

TEST_F(TServerTest, KnowsFirmwareByItsGuidOrByItsMakerAndItsName) {
  constexpr const char* kGuid = "0f0a1b2c-3d4e-5f60-7182-93a4b5c6d7e8";
  const auto item = [](const std::string& id, const std::string& maker) {
    return R"({"Name":"F","Version":"2","SoftwareId":")" + id + R"(","Manufacturer":")" + maker +
           "\"}";
  };
  ServeFirmware({item(kGuid, "Maker"), item("A 1", "Maker"), item("A", ""), item("", "Maker")});
  const TTexts told = Read();
  ASSERT_EQ(told.size(), 4U);
  EXPECT_NE(told[0].find(kGuid), std::string::npos) << told[0];
  EXPECT_EQ(told[0].find("REDFISH"), std::string::npos) << told[0];
  EXPECT_NE(told[1].find("[REDFISH\\VENDOR_"), std::string::npos) << told[1];
  EXPECT_NE(told[1].find("&SOFTWAREID_A"), std::string::npos) << told[1];
  EXPECT_EQ(told[2], "SVC_FirmwareDevice Name=F Version=2 Source=redfish");
  EXPECT_EQ(told[3], "SVC_FirmwareDevice Name=F Vendor=Maker Version=2 Source=redfish");
}

TEST_F(TServerTest, FailsWithTheReasonWhyItsSystemsAreNotTold) {
  Serve("/systems", "", 403);
  EXPECT_EQ(Failure(),
            "https://bmc/systems: the server answered with status 403; the user may not read it");
  Serve("/systems", "", 404);
  EXPECT_EQ(Failure(), "https://bmc/systems: the server answered with status 404");
  Serve("/systems", "[]");
  EXPECT_EQ(Failure(), "https://bmc/systems: it is no JSON object");
  Serve("/systems", Collection({}));
  EXPECT_EQ(Failure(), "https://bmc: the service tells of no system");
  Serve("/systems", Collection({R"({"Name":"of no place"})"}));
  EXPECT_EQ(Failure(), "https://bmc: the service tells of no system");
  Serve("/redfish/v1/", R"({"RedfishVersion":"1.0"})");
  EXPECT_EQ(Failure(), "https://bmc: the service tells of no system");
  Serve("/redfish/v1/", R"({"Links":{}})");
  EXPECT_EQ(Failure(), "https://bmc: the service tells of no system");
  Serve("/redfish/v1/", R"({"Name":"another"})");
  EXPECT_EQ(
      Failure(),
      "https://bmc/redfish/v1/: no Redfish service is there; give the address of the server's "
      "management controller");
}

// "" where members are asked for one by one.
TEST_F(TServerTest, IsAskedForMembersAtOnceAsItOffers) {
  struct TOffer {
    std::string features;
    std::string query;
  };
  const std::string each = "?$expand=.", levels = "?$expand=.($levels=1)";
  for (const TOffer& offer :
       {TOffer{R"({"NoLinks":true,"Levels":true})", levels},
        TOffer{R"({"NoLinks":true,"Levels":false})", each},
        TOffer{R"({"NoLinks":true,"Levels":"true"})", each}, TOffer{R"({"NoLinks":true})", each},
        TOffer{R"({"NoLinks":false,"Levels":true})", ""},
        TOffer{R"({"NoLinks":"true","Levels":true})", ""}, TOffer{R"({"NoLinks":1})", ""},
        TOffer{R"({"Levels":true})", ""}, TOffer{"{}", ""}, TOffer{"[]", ""}}) {
    const std::size_t before = Asked("").size();
    ServeRoot(R"(,"ProtocolFeaturesSupported":{"ExpandQuery":)" + offer.features + "}");
    ServeFirmware({R"({"Name":"one by one","Version":"1"})"});
    Serve("/firmware" + offer.query, offer.query.empty() ? Collection({Link("/firmware/0")})
                                                         : Collection({R"({"Name":"at once"})"}));
    Serve("/managers" + offer.query, Collection({}));
    const std::string name = offer.query.empty() ? "one by one Version=1" : "at once";
    EXPECT_EQ(Read(), TTexts{"SVC_FirmwareDevice Name=" + name + " Source=redfish"});
    TTexts wanted = {"/redfish/v1/", "/systems", "/systems/1", "/updates",
                     "/firmware" + offer.query};
    if (offer.query.empty()) wanted.emplace_back("/firmware/0");
    wanted.push_back("/managers" + offer.query);
    const TTexts asked = Asked("");
    EXPECT_EQ(TTexts(asked.begin() + static_cast<std::ptrdiff_t>(before), asked.end()), wanted)
        << offer.features << ": of the systems the places are enough";
  }
}

TEST_F(TServerTest, IsAskedForTheNextPageAsItNamesIt) {
  ServeRoot(R"(,"ProtocolFeaturesSupported":{"ExpandQuery":{"NoLinks":true}})");
  Serve("/managers?$expand=.", Collection({}));
  std::string first = Collection({R"({"Name":"F","Version":"1"})"});
  first.insert(first.size() - 1, R"(,"Members@odata.nextLink":"/firmware?page=2")");
  Serve("/firmware?$expand=.", first);
  Serve("/firmware?page=2", Collection({R"({"Name":"G","Version":"2"})"}));
  EXPECT_EQ(Read(), (TTexts{"SVC_FirmwareDevice Name=F Version=1 Source=redfish",
                            "SVC_FirmwareDevice Name=G Version=2 Source=redfish"}));
  EXPECT_EQ(Asked("/firmware"), (TTexts{"/firmware?$expand=.", "/firmware?page=2"}));
  EXPECT_EQ(Asked("/managers"), TTexts{"/managers?$expand=."});
}

TEST_F(TServerTest, ThatDoesNotDoWhatItOffersIsAskedThePlainWayFromThenOn) {
  ServeRoot(R"(,"ProtocolFeaturesSupported":{"ExpandQuery":{"NoLinks":true}})");
  ServeFirmware({R"({"Name":"F","Version":"1"})"});
  EXPECT_EQ(Read(), TTexts{"SVC_FirmwareDevice Name=F Version=1 Source=redfish"});
  EXPECT_EQ(Asked("/firmware"), (TTexts{"/firmware?$expand=.", "/firmware", "/firmware/0"}));
  EXPECT_EQ(Asked("/managers"), TTexts{"/managers"});
  EXPECT_EQ(notes, TTexts{});
}

TEST_F(TServerTest, HasALineForEachProblemButOneForTheEndOfAll) {
  const TWatch watch([] { return false; }, std::chrono::seconds(600), time);
  TClientLimits limits;
  limits.requests = 1;
  TClient client(transport, watch, "https://bmc", limits);
  TInventory inventory;
  TService service(client, inventory);
  EXPECT_TRUE(service.Read("/none").is_null());
  service.Note("one");
  service.Note("one");
  EXPECT_TRUE(service.Read("").is_null());
  EXPECT_TRUE(service.Read("/systems").is_null());
  EXPECT_TRUE(service.Read("/managers").is_null());
  service.Note("two");
  EXPECT_EQ(
      inventory.Notes(),
      (TTexts{"https://bmc/none: the server answered with status 404; left out", "one; left out",
              "one; left out", "https://bmc: 1 requests were made; all that is missing is left out",
              "two; left out"}));
}

TEST_F(TServerTest, TellsOfAThousandProblemsTheLastOfWhichStandsForTheOthers) {
  for (const int problems : {999, 1000, 1001, 1500}) {
    const TWatch watch([] { return false; }, std::chrono::seconds(600), time);
    TClient client(transport, watch, "https://bmc");
    TInventory inventory;
    TService service(client, inventory);
    for (int problem = 0; problem < problems; ++problem) service.Note(std::to_string(problem));
    ASSERT_EQ(inventory.Notes().size(), std::min<std::size_t>(problems, 1000));
    EXPECT_EQ(inventory.Notes()[998], "998; left out");
    if (problems > 999) {
      EXPECT_EQ(inventory.Notes()[999], "https://bmc: more is left out than is told here");
    }
  }
}

}  // namespace
}  // namespace svc::collect
