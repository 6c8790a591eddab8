// Driver-file lists, alone: no version or name reaches beyond its text.
#include "plugins/version_checker/drivers/driver_operations.h"
#include "rules/driver_list.h"
#include "rules/version_items.h"
#include "tests/fuzz/fuzz_support.h"

using namespace svc::checker;
using namespace svc::fuzz;
using namespace svc::rules;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(AsText(data, size));
  TDriverNameForm form;
  const char* before = text.data();
  svc::rules::CutDriverList(text, [&](const svc::rules::TDriverListEntry& entry) {
    const char* const name = entry.name.data();
    Require(name >= before, "entries stand in order");
    before = name + entry.name.size() + 2;
    Require(entry.version.data() == before, "a version stands behind the mark of its name");
    Require(before + entry.version.size() <= text.data() + text.size(),
            "an entry ends in its list");
    Require(entry.name.find("-#") == std::string_view::npos, "a name holds no mark");
    form.Of(entry.name);
  });
  const std::size_t keyLength = size / 8;
  const TKeyLookup lookup = FindVersionOfKey(text, text.substr(size / 2, keyLength));
  Require(lookup.found, "a part of a text is found in it");
  Require(text.find(extractBracketedVersion(text)) != std::string::npos, "a version is a part");
  Require(text.ends_with(FileNameOfPath(text)), "a file name ends its path");
  return 0;
}
