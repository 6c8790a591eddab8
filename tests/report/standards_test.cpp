// The formats of others, whole: what stands in them for one report, letter by letter.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "sample_report.h"

namespace svc::report {
namespace {

using testing::HasSubstr;
using testing::Not;

// A record that was waived, one with everything, and a piece that was not compared.
TReport WholeReport() {
  TReport report = SampleReport();
  report.hasWaivers = true;
  report.machine.host = "web\"1\"";
  report.coverage = TCoverage{5, {{"Other", "P", " 1 ", EPassedOver::kNotOffered}}};
  report.records.resize(2);
  report.records[0].waived = TAcceptance{"agreed", "2027-12-31"};
  report.records[1].why = EUnordered::kWords;
  report.records[1].expiredWaiver = TAcceptance{"was agreed", "2026-12-31"};
  report.records[1].update = std::make_shared<const TUpdate>(TUpdate{"fw {1}", "P", "a b.xml", 7});
  return report;
}

// A check that did not take place, of a catalogue that is old, with two errors.
TReport BrokenReport() {
  TReport report = FailedReport();
  report.errors = {"first", "second"};
  return report;
}
constexpr TRenderOptions kWithAge = {.maxAge = 2};

TEST(CycloneDx, SaysWhyACheckDidNotTakePlace) {
  const std::string notice = Notices(BrokenReport(), kWithAge).at(0);
  const std::string text = Rendered("cyclonedx", BrokenReport(), kWithAge);
  EXPECT_EQ(text.substr(text.find("  \"properties\": [\n")),
            "  \"properties\": [\n"
            R"(    {"name":"svcheck:outcome","value":"no-catalogue"},)"
            "\n"
            R"(    {"name":"svcheck:state","value":"failed"},)"
            "\n"
            R"(    {"name":"svcheck:stateReason","value":"There is no catalogue at that place."},)"
            "\n"
            R"(    {"name":"svcheck:notice","value":")" +
                notice +
                R"("},)"
                "\n"
                R"(    {"name":"svcheck:catalogue","value":"/srv/catalogue"},)"
                "\n"
                R"(    {"name":"svcheck:catalogueModified","value":"2027-06-27T00:00:00Z"},)"
                "\n"
                R"(    {"name":"svcheck:error","value":"first"},)"
                "\n"
                R"(    {"name":"svcheck:error","value":"second"})"
                "\n  ]\n}\n");
}

TEST(CycloneDx, HasDriversAsWhatTheyAre) {
  EXPECT_THAT(Rendered("cyclonedx", SampleReport()),
              HasSubstr(R"({"type":"device-driver","bom-ref":"record-3","name":"E1000E",)"));
}

TEST(Sarif, TellsWhyACheckDidNotTakePlace) {
  const std::string notice = Notices(BrokenReport(), kWithAge).at(0);
  const std::string sentence(RowOf(EOutcome::kNoCatalogue).sentence);
  const auto told = [](const std::string& level, const std::string& id, const std::string& text) {
    return R"({"level":")" + level + R"(","message":{"text":")" + text +
           R"("},"descriptor":{"id":")" + id + R"("}})";
  };
  EXPECT_THAT(
      Rendered("sarif", BrokenReport(), kWithAge),
      HasSubstr(R"("toolExecutionNotifications":[)" + told("error", "no-catalogue", sentence) +
                ',' + told("error", "no-catalogue", "first") + ',' +
                told("error", "no-catalogue", "second") + ',' + told("warning", "notice", notice) +
                ']'));
}

TEST(Junit, IsAnErrorWithTheReasonsWhereNoCheckTookPlace) {
  TReport report = BrokenReport();
  const std::string sentence(RowOf(EOutcome::kNoCatalogue).sentence);
  EXPECT_THAT(Rendered("junit", report),
              HasSubstr("<error type=\"no-catalogue\" message=\"" + sentence +
                        "\">first\nsecond\n</error></testcase>\n"));
  for (const bool isKnown : {true, false}) {
    report.osKnown = isKnown;
    EXPECT_THAT(Rendered("junit", report),
                HasSubstr(std::string("      <property name=\"osKnown\" value=\"") +
                          (isKnown ? "true" : "false") + "\"/>\n"));
  }
}

TEST(CycloneDx, IsADocumentOfItsSchema) {
  std::string text = Rendered("cyclonedx", WholeReport());
  const std::size_t number = text.find("urn:uuid:") + 9;
  text.replace(number, 36, "-");
  EXPECT_EQ(text,
            "{\n"
            R"(  "$schema": "http://cyclonedx.org/schema/bom-1.6.schema.json",)"
            "\n"
            R"(  "bomFormat": "CycloneDX",)"
            "\n"
            R"(  "specVersion": "1.6",)"
            "\n"
            R"(  "serialNumber": "urn:uuid:-",)"
            "\n"
            R"(  "version": 1,)"
            "\n"
            R"(  "metadata": {"timestamp":"2027-06-30T00:00:00Z","tools":{"components":[{)"
            R"("type":"application","name":"svcheck","version":"1.0.0"}]},"component":{)"
            R"("type":"device","bom-ref":"machine","name":"web\"1\"","manufacturer":{)"
            R"("name":"QRX"},"properties":[{"name":"svcheck:machineType","value":"4638"},{)"
            R"("name":"svcheck:model","value":"QRX Rackwell 4638"},{)"
            R"("name":"svcheck:serialNumber","value":"06C4638"}]}},)"
            "\n"
            R"(  "components": [)"
            "\n"
            R"(    {"type":"operating-system","bom-ref":"system","name":"Some Linux 5",)"
            R"("version":"2.6.18"},)"
            "\n"
            R"(    {"type":"firmware","bom-ref":"record-1","name":"System BIOS",)"
            R"("version":"YUE110B","properties":[{"name":"svcheck:type","value":"Firmware"},{)"
            R"("name":"svcheck:verdict","value":"outdated"},{"name":"svcheck:offered",)"
            R"("value":"YUE112A"},{"name":"svcheck:waived","value":"agreed"},{)"
            R"("name":"svcheck:waived:expires","value":"2027-12-31"}]},)"
            "\n"
            R"(    {"type":"firmware","bom-ref":"record-2","name":"Remote <Watch> Adapter",)"
            R"-("version":"1.08 (A)","properties":[{"name":"svcheck:type","value":"Firmware"},)-"
            R"({"name":"svcheck:verdict","value":"unknown"},{"name":"svcheck:reason",)"
            R"("value":"the words in them have no order"},{"name":"svcheck:offered",)"
            R"("value":"1.08 (B) "},{"name":"svcheck:update","value":"fw {1}"},{)"
            R"("name":"svcheck:package","value":"P"},{"name":"svcheck:expiredWaiver",)"
            R"("value":"was agreed"},{"name":"svcheck:expiredWaiver:expires",)"
            R"("value":"2026-12-31"}]},)"
            "\n"
            R"(    {"type":"application","bom-ref":"installed-1","name":"P","version":"1",)"
            R"("properties":[{"name":"svcheck:type","value":"Other"},{)"
            R"("name":"svcheck:notCompared","value":"not-offered"}]})"
            "\n"
            "  ],\n"
            R"(  "compositions": [{"aggregate":"unknown","assemblies":["machine"]}],)"
            "\n"
            R"(  "properties": [)"
            "\n"
            R"(    {"name":"svcheck:outcome","value":"done"},)"
            "\n"
            R"(    {"name":"svcheck:state","value":"current"},)"
            "\n"
            R"(    {"name":"svcheck:catalogue","value":"/srv/catalogue"},)"
            "\n"
            R"(    {"name":"svcheck:catalogueModified","value":"2027-06-27T00:00:00Z"})"
            "\n"
            "  ]\n"
            "}\n");
}

TEST(Sarif, IsADocumentOfItsSchema) {
  EXPECT_EQ(Rendered("sarif", WholeReport()),
            "{\n"
            R"(  "$schema": "https://json.schemastore.org/sarif-2.1.0.json",)"
            "\n"
            R"(  "version": "2.1.0",)"
            "\n"
            R"(  "runs": [{)"
            "\n"
            R"("tool":{"driver":{"name":"svcheck","version":"1.0.0","rules":[{)"
            R"("id":"outdated","name":"Outdated","shortDescription":{"text":"The catalogue )"
            R"(offers a later version."},"defaultConfiguration":{"level":"warning"}},{)"
            R"("id":"unknown","name":"Unknown","shortDescription":{"text":"The versions )"
            R"(could not be compared."},"defaultConfiguration":{"level":"none"}},{)"
            R"("id":"newer","name":"Newer","shortDescription":{"text":"What is installed is )"
            R"(later than what is offered."},"defaultConfiguration":{"level":"none"}},{)"
            R"("id":"current","name":"Current","shortDescription":{"text":"What is installed )"
            R"(is what the catalogue offers."},"defaultConfiguration":{"level":"none"}}]}},)"
            "\n"
            R"("invocations":[{"executionSuccessful":true,)"
            R"("endTimeUtc":"2027-06-30T00:00:00Z","machine":"web\"1\"",)"
            R"("toolExecutionNotifications":[{"level":"note","message":{"text":"5 installed )"
            R"(pieces: 4 compared, 1 not: 1 is offered nowhere."},"descriptor":{)"
            R"("id":"coverage"}}]}],)"
            "\n"
            R"("originalUriBaseIds":{"CATALOGUE":{"uri":"file:///srv/catalogue/"}},)"
            "\n"
            R"("results":[)"
            "\n"
            R"(    {"ruleId":"outdated","ruleIndex":0,"kind":"fail","level":"warning",)"
            R"("message":{"text":"Firmware System BIOS is outdated: installed YUE110B, )"
            R"(offered YUE112A."},"locations":[{"physicalLocation":{"artifactLocation":{)"
            R"("uri":"index.xml","uriBaseId":"CATALOGUE"}},"logicalLocations":[{)"
            R"("name":"System BIOS","fullyQualifiedName":"Firmware/System BIOS",)"
            R"("kind":"resource"}]}],"suppressions":[{"kind":"external","status":"accepted",)"
            R"("justification":"agreed","properties":{"expires":"2027-12-31"}}],)"
            R"("properties":{"Type":"Firmware","Name":"System BIOS",)"
            R"("InstalledVersion":"YUE110B","SVVersion":"YUE112A"}},)"
            "\n"
            R"(    {"ruleId":"unknown","ruleIndex":1,"kind":"open","level":"none","message":{)"
            R"("text":"Firmware Remote <Watch> Adapter is unknown: installed 1.08 (A), )"
            "offered 1.08 (B); the words in them have no order; waiver expired 2026-12-31: "
            R"(was agreed."},"locations":[{"physicalLocation":{"artifactLocation":{)"
            R"("uri":"a%20b.xml","uriBaseId":"CATALOGUE"},"region":{"startLine":7}},)"
            R"("logicalLocations":[{"name":"Remote <Watch> Adapter",)"
            R"("fullyQualifiedName":"Firmware/Remote <Watch> Adapter","kind":"resource"}]}],)"
            R"("suppressions":[],"properties":{"Type":"Firmware","Name":"Remote <Watch> )"
            R"(Adapter","InstalledVersion":"1.08 (A) ","SVVersion":"1.08 (B) "}})"
            "\n"
            "  ],\n"
            R"("properties":{"machine":{"type":"4638","manufacturer":"QRX","model":"QRX )"
            R"(Rackwell 4638","serialNumber":"06C4638","host":"web\"1\""},"operatingSystem":{)"
            R"("caption":"Some Linux 5","version":"2.6.18","platform":"x86_64"},"catalogue":{)"
            R"("source":"folder","path":"/srv/catalogue","elements":17,)"
            R"("modified":"2027-06-27T00:00:00Z"},"outcome":"done"})"
            "\n"
            "}]\n"
            "}\n");
}

// The address at which files of the catalogue begin, of a folder.
TEST(Sarif, HasTheAddressOfAFolderOfAnySystem) {
  struct TCase {
    const char* folder;
    const char* address;
  };
  for (const TCase& test :
       {TCase{"/srv/catalogue", "file:///srv/catalogue/"}, TCase{"/srv/", "file:///srv/"},
        TCase{"/", "file:///"}, TCase{"0day", "file:///0day/"},
        TCase{"C:\\QRX Support\\", "file:///C%3A/QRX%20Support/"},
        TCase{"/a.b-c_d~E9", "file:///a.b-c_d~E9/"},
        TCase{"/%?#\xC3\xBC", "file:///%25%3F%23%C3%BC/"}}) {
    TReport report = WholeReport();
    report.catalogue.path = test.folder;
    EXPECT_THAT(Rendered("sarif", report),
                HasSubstr(R"("originalUriBaseIds":{"CATALOGUE":{"uri":")" +
                          std::string(test.address) + "\"}},"));
  }
  TReport live = WholeReport();
  live.catalogue.source = "live";
  EXPECT_THAT(Rendered("sarif", live), Not(HasSubstr("CATALOGUE")));
}

TEST(Sarif, HasTheAddressOfAFileAndEscapesWhatMessagesMean) {
  TReport report = WholeReport();
  report.records[1].update =
      std::make_shared<const TUpdate>(TUpdate{"n", "", "a b\\c:d[1]\xC3\xBC.xml", 0});
  report.records[1].name = "{0} [x](1) ]";
  const std::string text = Rendered("sarif", report);
  EXPECT_THAT(text, HasSubstr(R"("artifactLocation":{"uri":"a%20b/c%3Ad%5B1%5D%C3%BC.xml",)"
                              R"("uriBaseId":"CATALOGUE"}},"logicalLocations")"));
  EXPECT_THAT(text, HasSubstr(R"({"text":"Firmware {{0}} [x\\](1) ] is unknown: )"));
  EXPECT_THAT(text, HasSubstr(R"("fullyQualifiedName":"Firmware/{0} [x](1) ]")"));
}

TEST(Junit, IsADocument) {
  EXPECT_EQ(Rendered("junit", WholeReport()),
            R"(<?xml version="1.0" encoding="UTF-8"?>)"
            "\n"
            R"(<testsuites tests="2" failures="0" errors="0" skipped="2">)"
            "\n"
            R"(  <testsuite name="svcheck" hostname="web&quot;1&quot;" )"
            R"(timestamp="2027-06-30T00:00:00" tests="2" failures="0" errors="0" skipped="2">)"
            "\n"
            "    <properties>\n"
            R"(      <property name="state" value="current"/>)"
            "\n"
            R"(      <property name="installed" value="5"/>)"
            "\n"
            R"(      <property name="notCompared" value="1"/>)"
            "\n"
            R"(      <property name="notCompared.not-offered" value="1"/>)"
            "\n"
            "    </properties>\n"
            R"(    <testcase classname="Firmware" name="System BIOS"><skipped )"
            R"(message="waived: agreed; installed YUE110B, offered YUE112A"/></testcase>)"
            "\n"
            R"(    <testcase classname="Firmware" name="Remote &lt;Watch&gt; Adapter">)"
            R"(<skipped message="unknown: installed 1.08 (A) , offered 1.08 (B) ; waiver )"
            R"(expired 2026-12-31: was agreed"/></testcase>)"
            "\n"
            "  </testsuite>\n"
            "</testsuites>\n");
}

TEST(Prometheus, IsADocument) {
  EXPECT_EQ(Rendered("prometheus", WholeReport()),
            "# HELP svcheck_info What checked which machine.\n"
            "# TYPE svcheck_info gauge\n"
            R"(svcheck_info{version="1.0.0",machine="4638",outcome="done",host="web\"1\""} 1)"
            "\n"
            "# HELP svcheck_records Compared firmware and drivers by verdict.\n"
            "# TYPE svcheck_records gauge\n"
            R"(svcheck_records{verdict="outdated"} 0)"
            "\n"
            R"(svcheck_records{verdict="unknown"} 1)"
            "\n"
            R"(svcheck_records{verdict="newer"} 0)"
            "\n"
            R"(svcheck_records{verdict="current"} 0)"
            "\n"
            "# HELP svcheck_compared_records Records that could be ordered.\n"
            "# TYPE svcheck_compared_records gauge\n"
            "svcheck_compared_records 1\n"
            "# HELP svcheck_records_waived Records that a waiver accepts.\n"
            "# TYPE svcheck_records_waived gauge\n"
            "svcheck_records_waived 1\n"
            "# HELP svcheck_records_waiver_expired Records whose waiver has expired.\n"
            "# TYPE svcheck_records_waiver_expired gauge\n"
            "svcheck_records_waiver_expired 1\n"
            "# HELP svcheck_outdated What is older than the catalogue offers.\n"
            "# TYPE svcheck_outdated gauge\n"
            "# HELP svcheck_catalogue_elements Update elements of the catalogue.\n"
            "# TYPE svcheck_catalogue_elements gauge\n"
            "svcheck_catalogue_elements 17\n"
            "# HELP svcheck_success Whether the last check compared anything.\n"
            "# TYPE svcheck_success gauge\n"
            "svcheck_success 1\n"
            "# HELP svcheck_last_run_timestamp_seconds When the last check ran.\n"
            "# TYPE svcheck_last_run_timestamp_seconds gauge\n"
            "svcheck_last_run_timestamp_seconds 1814313600\n"
            "# HELP svcheck_last_success_timestamp_seconds When a check last compared "
            "anything.\n"
            "# TYPE svcheck_last_success_timestamp_seconds gauge\n"
            "svcheck_last_success_timestamp_seconds 1814313600\n"
            "# HELP svcheck_catalogue_age_seconds Age of the catalogue at the last check.\n"
            "# TYPE svcheck_catalogue_age_seconds gauge\n"
            "svcheck_catalogue_age_seconds 259200\n");
}

// Behind the style, and up to the script.
TEST(Html, IsADocument) {
  const std::string page = Rendered("html", WholeReport());
  const std::size_t begin = page.find("</style>");
  const std::size_t script = page.find("<script>");
  EXPECT_EQ(page.substr(begin, script - begin),
            "</style>\n"
            "</head>\n"
            "<body>\n"
            R"(<a class="skip" href="#records">To the records</a>)"
            "\n"
            "<main>\n"
            R"(<header class="lead unknown"><div><h1>Nothing is known to be outdated</h1>)"
            "\n"
            "<p><bdi>web&quot;1&quot;</bdi>. 2 records: 1 unknown, 1 waived; 1 waiver has "
            "expired.</p></div></header>\n"
            R"(<svg class="parts" viewBox="0 0 2 1" preserveAspectRatio="none" role="img" )"
            R"(aria-label="1 unknown, 1 waived; 1 waiver has expired"><rect class="unknown" )"
            R"(x="0" width="1" height="1"/><rect class="waived" x="1" width="1" height="1"/>)"
            "</svg>\n"
            R"(<fieldset class="tiles" aria-label="Show only">)"
            "\n"
            R"(<button type="button" class="tile outdated" data-verdict="outdated" )"
            R"(aria-pressed="false" disabled><b>0</b> <span>outdated</span> <small>a later )"
            "version is offered</small></button>\n"
            R"(<button type="button" class="tile unknown" data-verdict="unknown" )"
            R"(aria-pressed="false" disabled><b>1</b> <span>unknown</span> <small>could not )"
            "be compared</small></button>\n"
            R"(<button type="button" class="tile newer" data-verdict="newer" )"
            R"(aria-pressed="false" disabled><b>0</b> <span>newer</span> <small>later than )"
            "what is offered</small></button>\n"
            R"(<button type="button" class="tile current" data-verdict="current" )"
            R"(aria-pressed="false" disabled><b>0</b> <span>current</span> <small>as the )"
            "catalogue has it</small></button>\n"
            R"(<button type="button" class="tile waived" data-verdict="waived" )"
            R"(aria-pressed="false" disabled><b>1</b> <span>waived</span> <small>accepted as )"
            "it is</small></button>\n"
            "</fieldset>\n"
            R"(<div class="facts">)"
            "\n"
            R"(<section class="card"><h2>Machine</h2>)"
            "\n"
            "<dl>\n"
            "<dt>Host</dt><dd>web&quot;1&quot;</dd>\n"
            "<dt>Type</dt><dd>4638</dd>\n"
            "<dt>Model</dt><dd>QRX Rackwell 4638</dd>\n"
            "<dt>Maker</dt><dd>QRX</dd>\n"
            "<dt>Serial number</dt><dd>06C4638</dd>\n"
            "<dt>System</dt><dd>Some Linux 5</dd>\n"
            "<dt>Kernel</dt><dd>2.6.18</dd>\n"
            "<dt>Platform</dt><dd>x86_64</dd>\n"
            "</dl></section>\n"
            R"(<section class="card"><h2>Catalogue</h2>)"
            "\n"
            "<dl>\n"
            "<dt>Folder</dt><dd>/srv/catalogue</dd>\n"
            "<dt>Elements</dt><dd>17</dd>\n"
            "<dt>Age</dt><dd>3 days, from 2027-06-27T00:00:00Z</dd>\n"
            "<dt>Checked</dt><dd>2027-06-30T00:00:00Z</dd>\n"
            "</dl></section>\n"
            "</div>\n"
            R"(<div class="tools" id="tools" role="search" hidden>)"
            "\n"
            R"(<input id="search" type="search" placeholder="Find by name or version" )"
            R"(aria-label="Find by name or version" autocomplete="off">)"
            "\n"
            R"(<button type="button" data-type="Firmware" aria-pressed="false">)"
            "Firmware</button>\n"
            R"(<label>Sort by <select id="sort"><option value="">catalogue</option><option>)"
            "verdict</option><option>name</option><option>type</option><option>"
            "installed</option><option>offered</option></select></label>\n"
            R"(<output id="shown"></output>)"
            "\n"
            "</div>\n"
            R"(<div class="card records">)"
            "\n"
            R"(<table id="records" class="report" data-rows="50"><thead><tr><th scope="col" )"
            R"(data-by="name"><button type="button" disabled>Name</button></th><th )"
            R"(scope="col" data-by="installed"><button type="button" disabled>)"
            R"(Installed</button></th><th scope="col" data-by="offered"><button )"
            R"(type="button" disabled>Offered</button></th><th scope="col" data-by="verdict">)"
            R"(<button type="button" disabled>Verdict</button></th></tr></thead>)"
            "\n"
            R"(<tbody data-type="Firmware"><tr class="group"><th colspan="4" )"
            R"(scope="rowgroup"><bdi>Firmware</bdi> <small>1 unknown, 1 waived; 1 waiver has )"
            "expired</small></th></tr>\n"
            R"(<tr data-verdict="waived" data-rank="4"><th scope="row">System BIOS</th><td )"
            R"(class="version installed" data-label="Installed">YUE110B</td><td )"
            R"(class="version offered" data-label="Offered">YUE112A</td><td class="verdict">)"
            R"(<span class="pill waived">waived</span><small>outdated, accepted until )"
            "2027-12-31: agreed</small></td></tr>\n"
            R"(<tr data-verdict="unknown" data-rank="1"><th scope="row">Remote &lt;Watch&gt; )"
            R"(Adapter<small class="update" title="P, a b.xml:7">fw {1}</small></th><td )"
            R"(class="version installed" data-label="Installed">1.08 (A)</td><td )"
            R"(class="version offered" data-label="Offered">1.08 (B)</td><td class="verdict">)"
            R"(<span class="pill unknown">unknown</span><small>the words in them have no )"
            "order</small><small>waiver expired 2026-12-31: was agreed</small></td></tr>\n"
            "</tbody>\n"
            "</table>\n"
            R"(<p class="nothing tools" id="nothing" hidden>Nothing goes by these filters. )"
            R"(<button type="button" id="all">Show all</button></p>)"
            "\n"
            "</div>\n"
            R"(<details class="card coverage"><summary>5 installed pieces: 4 compared, 1 )"
            "not: 1 is offered nowhere.</summary>\n"
            R"(<table><thead><tr><th scope="col">Name</th><th scope="col">Type</th><th )"
            R"(scope="col">Installed</th><th scope="col">Why not</th></tr></thead>)"
            "\n"
            "<tbody>\n"
            R"(<tr><th scope="row">P</th><td>Other</td><td class="version"> 1 </td><td>is )"
            "offered nowhere</td></tr>\n"
            "</tbody></table></details>\n"
            "<footer>svcheck 1.0.0</footer>\n"
            "</main>\n");
  EXPECT_EQ(page.substr(page.find("</script>")), "</script>\n</body>\n</html>\n");
}

}  // namespace
}  // namespace svc::report
