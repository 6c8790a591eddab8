// Driver-file lists, alone: no version or name reaches beyond its text.
#include "drivers/driver_record.h"
#include "plugin/contents/sv_plugin.h"
#include "rules/version_items.h"
#include "tests/fuzz/fuzz_support.h"

using namespace svc::fuzz;
using namespace svc::rules;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(AsText(data, size));
  TDriverList offered;
  TDriverNameForm form;
  AppendOfferedDrivers(offered, text);
  for (const DriverRecord& record : offered) {
    Require(text.find(record.fileName + "-#" + record.version) != std::string::npos,
            "an entry is a part of its list");
    form.Of(record.fileName);
  }
  const std::size_t keyLength = size / 8;
  const TKeyLookup lookup = FindVersionOfKey(text, text.substr(size / 2, keyLength));
  Require(lookup.found, "a part of a text is found in it");
  Require(text.find(extractBracketedVersion(text)) != std::string::npos, "a version is a part");
  Require(text.ends_with(FileNameOfPath(text)), "a file name ends its path");
  return 0;
}
