#include "collect/linux/linux_collector.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <utility>

#include "collect/cim_xml.h"
#include "made_tree.h"

namespace svc::collect {
namespace {

// The code that a catalogue gives to a system of these texts.
std::string CodeOf(const std::string& buildId, const std::string& platform) {
  const std::string bits = Contains(platform, "64") ? "_64" : "";
  if (Contains(buildId, "Red Hat Enterprise Linux")) {
    for (const std::string release : {"4", "5", "3", "6"}) {
      if (Contains(buildId, "release " + release)) return "RHEL" + release + bits;
    }
  } else if (Contains(buildId, "SUSE")) {
    for (const std::string release : {"9", "10", "11"}) {
      if (Contains(buildId, release)) return "SLES" + release + bits;
    }
  }
  return "";
}

struct TSystemCase {
  std::string file;
  std::string text;
  std::string kernel;
  std::string code;
};

class KnownSystem : public testing::TestWithParam<TSystemCase> {};

TEST_P(KnownSystem, IsFoundByItsReleaseAndPlatform) {
  TMadeTree tree;
  tree.Write(GetParam().file, GetParam().text)
      .Write("/proc/sys/kernel/osrelease", GetParam().kernel + "\n");
  const auto systems = tree.Instances("QRXSG_OperatingSystem");
  ASSERT_EQ(systems.size(), 1U);
  EXPECT_EQ(systems[0]["OSType"], "36");
  EXPECT_EQ(CodeOf(systems[0]["BuildID"], systems[0]["HardwarePlatform"]), GetParam().code)
      << systems[0]["BuildID"] << " on " << systems[0]["HardwarePlatform"];
}

constexpr const char* kRedHat = "/etc/redhat-release";
constexpr const char* kSuse = "/etc/SuSE-release";
constexpr const char* kOsRelease = "/etc/os-release";

INSTANTIATE_TEST_SUITE_P(
    RedHat, KnownSystem,
    testing::Values(
        TSystemCase{kRedHat, "Red Hat Enterprise Linux AS release 3 (Taroon Update 9)\n",
                    "2.4.21-50.ELsmp.i686", "RHEL3"},
        TSystemCase{kRedHat, "Red Hat Enterprise Linux AS release 3 (Taroon Update 9)\n",
                    "2.4.21-50.EL.x86_64", "RHEL3_64"},
        TSystemCase{kRedHat, "Red Hat Enterprise Linux ES release 4 (Nahant Update 7)\n",
                    "2.6.9-78.ELsmp.i686", "RHEL4"},
        TSystemCase{kRedHat, "Red Hat Enterprise Linux ES release 4 (Nahant Update 7)\n",
                    "2.6.9-78.ELlargesmp.x86_64", "RHEL4_64"},
        TSystemCase{kRedHat, "Red Hat Enterprise Linux Server release 5.3 (Tikanga)\n",
                    "2.6.18-128.el5.i686", "RHEL5"},
        TSystemCase{kRedHat, "Red Hat Enterprise Linux Server release 5.3 (Tikanga)\n",
                    "2.6.18-128.el5.x86_64", "RHEL5_64"},
        TSystemCase{kRedHat, "Red Hat Enterprise Linux Server release 6.4 (Santiago)\n",
                    "2.6.32-358.el6.i686", "RHEL6"},
        TSystemCase{kRedHat, "Red Hat Enterprise Linux Server release 6.4 (Santiago)\n",
                    "2.6.32-358.el6.x86_64", "RHEL6_64"},
        TSystemCase{kRedHat, "CentOS release 6.4 (Final)\n", "2.6.32-358.el6.x86_64", ""},
        TSystemCase{kOsRelease,
                    "ID=rhel\nVERSION_ID=\"6.10\"\n"
                    "PRETTY_NAME=\"Red Hat Enterprise Linux Server 6.10 (Santiago)\"\n",
                    "2.6.32-754.el6.x86_64", "RHEL6_64"},
        TSystemCase{kOsRelease,
                    "ID=rhel\nID_LIKE=fedora\nVERSION_ID=\"7.9\"\n"
                    "PRETTY_NAME=\"Red Hat Enterprise Linux Server 7.9 (Maipo)\"\n",
                    "3.10.0-1160.el7.x86_64", ""}));

INSTANTIATE_TEST_SUITE_P(
    Suse, KnownSystem,
    testing::Values(
        TSystemCase{kSuse, "SUSE LINUX Enterprise Server 9 (i586)\nVERSION = 9\nPATCHLEVEL = 4\n",
                    "2.6.5-7.308-smp.i686", "SLES9"},
        TSystemCase{kSuse, "SUSE LINUX Enterprise Server 9 (x86_64)\nVERSION = 9\nPATCHLEVEL = 1\n",
                    "2.6.5-7.139-smp.x86_64", "SLES9_64"},
        TSystemCase{kSuse, "SUSE Linux Enterprise Server 10 (i586)\nVERSION = 10\nPATCHLEVEL = 2\n",
                    "2.6.16.60-0.21-smp.i586", "SLES10"},
        TSystemCase{kSuse,
                    "SUSE Linux Enterprise Server 10 (x86_64)\nVERSION = 10\nPATCHLEVEL = 4\n",
                    "2.6.16.60-0.85.1-smp.x86_64", "SLES10_64"},
        TSystemCase{kSuse, "SUSE Linux Enterprise Server 10 (s390x)\nVERSION = 10\n",
                    "2.6.16.60-0.21-default.s390x", "SLES10"},
        TSystemCase{kSuse, "SUSE Linux Enterprise Server 11 (i586)\nVERSION = 11\nPATCHLEVEL = 0\n",
                    "2.6.27.19-5-pae.i686", "SLES11"},
        TSystemCase{kSuse,
                    "SUSE Linux Enterprise Server 11 (x86_64)\nVERSION = 11\nPATCHLEVEL = 3\n",
                    "3.0.76-0.11-default.x86_64", "SLES11_64"},
        TSystemCase{kSuse,
                    "SUSE Linux Enterprise Server 11 (x86_64)\nVERSION = 11\nPATCHLEVEL = 9\n",
                    "3.0.76-0.11-default.x86_64", "SLES11_64"},
        TSystemCase{
            kOsRelease,
            "ID=sles\nVERSION_ID=11.4\nPRETTY_NAME=\"SUSE Linux Enterprise Server 11 SP4\"\n",
            "3.0.101-63-default.x86_64", "SLES11_64"},
        TSystemCase{
            kOsRelease,
            "ID=sles\nVERSION_ID=12.5\nPRETTY_NAME=\"SUSE Linux Enterprise Server 12 SP5\"\n",
            "4.12.14-120-default.x86_64", ""}));

INSTANTIATE_TEST_SUITE_P(
    Others, KnownSystem,
    testing::Values(TSystemCase{kOsRelease,
                                "ID=debian\nVERSION_ID=12\n"
                                "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\n",
                                "6.1.0-18-amd64", ""},
                    TSystemCase{"/usr/lib/os-release", "PRETTY_NAME=Other\n", "6.1.0", ""}));

TEST(BuildId, NamesTheReleaseOfTheRedHatFamily) {
  const auto buildId = [](const char* text) { return BuildId({Assignments(text), "", "", ""}); };
  EXPECT_EQ(buildId("ID=rhel\nVERSION_ID=8.6\nPRETTY_NAME=Red Hat Enterprise Linux 8.6 (Ootpa)"),
            "Red Hat Enterprise Linux release 8.6 (Ootpa)");
  EXPECT_EQ(buildId("ID=rocky\nID_LIKE=\"rhel centos fedora\"\nVERSION_ID=9.3\n"
                    "PRETTY_NAME=\"Rocky Linux 9.3 (Blue Onyx)\""),
            "Rocky Linux release 9.3 (Blue Onyx)");
  EXPECT_EQ(buildId("ID=fedora\nVERSION_ID=40\nPRETTY_NAME=\"Fedora Linux\""),
            "Fedora Linux release 40");
  EXPECT_EQ(buildId("ID=centos\nVERSION_ID=6.10\nPRETTY_NAME=\"CentOS release 6.10 (Final)\""),
            "CentOS release 6.10 (Final)");
  EXPECT_EQ(buildId("ID=debian\nVERSION_ID=12\nPRETTY_NAME=\"Debian GNU/Linux 12\""),
            "Debian GNU/Linux 12");
}

// Others have the older release file as well, for programs that look for nothing else.
TEST(BuildId, IsOfTheRedHatFamilyByTheOlderFileOnlyWhereThereIsNoNewerOne) {
  const std::string release = "Red Hat Enterprise Linux 6.4 (Santiago)\n";
  const auto buildId = [&](const char* text) {
    return BuildId({Assignments(text), release, "", ""});
  };
  EXPECT_EQ(buildId("ID=other\nVERSION_ID=2\nPRETTY_NAME=\"Other Linux 2\""), "Other Linux 2");
  EXPECT_EQ(buildId("VERSION_ID=2\nPRETTY_NAME=\"Other Linux 2\""), "Other Linux 2");
  EXPECT_EQ(buildId("ID=fedora\nVERSION_ID=2\nPRETTY_NAME=\"Other Linux 2\""),
            "Other Linux release 2");
  EXPECT_EQ(buildId("ID=other\nVERSION_ID=6.4\n"), "Red Hat Enterprise Linux 6.4 (Santiago)");
  EXPECT_EQ(buildId(""), "Red Hat Enterprise Linux 6.4 (Santiago)");
  EXPECT_EQ(BuildId({}), "");
}

TEST(BuildId, OfSuseByItsNameAloneIsThatWithoutWhatStandsInBrackets) {
  const auto buildId = [](const char* name) {
    return BuildId({{{"PRETTY_NAME", name}}, "", "", ""});
  };
  EXPECT_EQ(buildId("SUSE Linux Enterprise Server 12 SP5 (x86_64)"),
            "SUSE Linux Enterprise Server 12 SP5");
  EXPECT_EQ(buildId("openSUSE 13.1 (Bottle) (x86_64)"), "openSUSE 13.1");
  EXPECT_EQ(buildId("Other 12 SP5 (x86_64)"), "Other 12 SP5 (x86_64)");
}

TEST(BuildId, IsOfTheRedHatFamilyByAnyOfItsNamesWhereverTheyStand) {
  const auto buildId = [](const std::string& ids) {
    return BuildId({Assignments(ids + "\nVERSION_ID=9\nPRETTY_NAME=Other 9"), "", "", ""});
  };
  for (const std::string name : {"rhel", "fedora", "centos"}) {
    for (const std::string& ids :
         {"ID=" + name, "ID=x\nID_LIKE=" + name, "ID=x\nID_LIKE=\"" + name + " y\"",
          "ID=x\nID_LIKE=\"y " + name + " z\"", "ID=x\nID_LIKE=\"y " + name + "\""})
      EXPECT_EQ(buildId(ids), "Other release 9") << ids;
    for (const std::string& ids : {"ID=x" + name, "ID=" + name + "x", "ID=x\nID_LIKE=x" + name})
      EXPECT_EQ(buildId(ids), "Other 9") << ids;
  }
}

// The service pack may not make a text one of another release.
TEST(BuildId, OfSuseNamesItsServicePackWhereThatLeavesTheRelease) {
  const auto buildId = [](const std::string& name, const std::string& level) {
    return BuildId({{}, "", name + " (i586)\n" + level + "\n", ""});
  };
  EXPECT_EQ(buildId("SUSE 9", "PATCHLEVEL = 4"), "SUSE 9 SP4");
  EXPECT_EQ(buildId("SUSE 9", "PATCHLEVEL = 10"), "SUSE 9 SP10");
  EXPECT_EQ(buildId("SUSE 10", "PATCHLEVEL = 11"), "SUSE 10 SP11");
  EXPECT_EQ(buildId("SUSE 10", "PATCHLEVEL = 9"), "SUSE 10");
  EXPECT_EQ(buildId("SUSE 11", "PATCHLEVEL = 10"), "SUSE 11");
  EXPECT_EQ(buildId("SUSE 12", "PATCHLEVEL = 5"), "SUSE 12 SP5");
  EXPECT_EQ(buildId("SUSE 12", "PATCHLEVEL = 11"), "SUSE 12");
  for (const char* none : {"", "PATCHLEVEL = 0", "PATCHLEVEL ="})
    EXPECT_EQ(buildId("SUSE 10", none), "SUSE 10") << none;
}

TEST(Platform, IsTheEndOfTheKernelsName) {
  for (const auto& [end, platform] :
       std::initializer_list<std::pair<const char*, const char*>>{{"x86_64", "x86_64"},
                                                                  {"amd64", "x86_64"},
                                                                  {"i686", "i686"},
                                                                  {"i586", "i586"},
                                                                  {"i386", "i386"},
                                                                  {"686-pae", "i686"},
                                                                  {"686", "i686"},
                                                                  {"aarch64", "aarch64"},
                                                                  {"arm64", "aarch64"},
                                                                  {"ppc64le", "ppc64le"},
                                                                  {"s390x", "s390x"}}) {
    EXPECT_EQ(PlatformOfRelease(std::string("6.1.0-18-") + end), platform);
    EXPECT_EQ(PlatformOfRelease(std::string("6.1.0-") + end + "-1"), "");
  }
  EXPECT_EQ(PlatformOfRelease(""), "");
}

TEST(OsType, TellsVmwareHostsApart) {
  const auto osType = [](const char* text) { return OsType({{}, "", "", text}); };
  EXPECT_EQ(osType("VMware ESX Server 3 (Dali)\n"), 78U);
  EXPECT_EQ(osType("VMware ESX Server 3.5.0\n"), 78U);
  EXPECT_EQ(osType("VMware ESX 4.1 (Kandinsky)\n"), 81U);
  EXPECT_EQ(osType("VMware ESX 40\n"), 36U);
  EXPECT_EQ(osType("VMware ESX 3"), 78U);
  EXPECT_EQ(osType("VMware ESX 5\n"), 36U);
  EXPECT_EQ(osType("VMware GSX Server 3\n"), 36U);
  EXPECT_EQ(osType("VMware 5 ESX 4\n"), 81U);
  EXPECT_EQ(osType("VMware ESX\n"), 36U);
  EXPECT_EQ(osType(""), 36U);
}

TEST(OperatingSystem, OfAVmwareHostComesBeforeItsServiceConsole) {
  TMadeTree tree;
  tree.Write("/etc/vmware-release", "VMware ESX 4.0 (Kandinsky)\n")
      .Write("/etc/redhat-release", "Red Hat Enterprise Linux Server release 5.1 (Tikanga)\n");
  const auto systems = tree.Instances("QRXSG_OperatingSystem");
  ASSERT_EQ(systems.size(), 1U);
  EXPECT_EQ(systems[0]["OSType"], "81");
  EXPECT_EQ(systems[0]["Caption"], "VMware ESX 4.0 (Kandinsky)");
}

TEST(OperatingSystem, TakesTheKernelsOwnWordForThePlatform) {
  TMadeTree tree;
  tree.Write("/etc/os-release", "PRETTY_NAME=X\n")
      .Write("/proc/sys/kernel/arch", "i686\n")
      .Write("/proc/sys/kernel/osrelease", "6.1.0-18-amd64\n");
  EXPECT_EQ(tree.Instances("QRXSG_OperatingSystem").at(0)["HardwarePlatform"], "i686");
  EXPECT_EQ(tree.Instances("QRXSG_OperatingSystem").at(0)["Version"], "6.1.0-18-amd64");
}

TEST(OperatingSystem, IsKeptWithoutWhatIsMissing) {
  const TMadeTree tree;
  const auto systems = tree.Instances("QRXSG_OperatingSystem");
  ASSERT_EQ(systems.size(), 1U);
  EXPECT_EQ(systems[0]["OSType"], "36");
  EXPECT_EQ(systems[0]["BuildID"], "(none)");
  EXPECT_EQ(systems[0]["HardwarePlatform"], "(none)");
  EXPECT_EQ(tree.Notes("os-release").size(), 1U);
}

}  // namespace
}  // namespace svc::collect
