// A machine's SMBIOS table.
#include "collect/cim_xml.h"
#include "collect/firmware_device.h"
#include "tests/fuzz/fuzz_support.h"

using namespace svc::collect;
using svc::fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes = svc::fuzz::AsText(data, size);
  const TSmbiosTable table = ParseSmbiosTable(bytes);
  for (const TFirmwareComponent& component : table.FirmwareComponents()) {
    for (const std::string& text : {component.name, component.version, component.id}) {
      Require(CleanText(text) == text, "a clean text stays as it is");
    }
  }
  for (const TSmbiosStructure& structure : table.structures) {
    for (std::size_t offset = 0; offset < 32; ++offset) structure.Text(offset);
    SmbiosUuid(structure.Bytes(8, 16), true);
  }
  Require(ParseSmbiosTable(WithoutIdentity(bytes)).problem.empty(),
          "what is left of a table for a capture is a whole table");
  return 0;
}
