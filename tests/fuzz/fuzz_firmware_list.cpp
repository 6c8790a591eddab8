// Lists of firmware versions, and the catalogues that are made of them.
#include "base/error.h"
#include "svcheck/author/new_element.h"
#include "tests/fuzz/fuzz_support.h"

using namespace svc::catalogue;
using namespace svc::fuzz;

namespace {

void TryParse(std::string_view text) {
  try {
    for (const TCsvRow& row : ParseCsv(text)) {
      Require(row.line > 0 && !row.fields.empty(), "a row has a place and fields");
    }
  } catch (const svc::TError& error) {
    Require(error.Number() > 0, "an error has a place");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(AsText(data, size));
  TryParse(text);
  try {
    const std::vector<TNewElement> elements = ReadFirmwareList(text, {{"4638"}, {}});
    const auto catalogue = NewNamespace();
    DeclareClass(catalogue, "QRXPSG_SystemUpdateElement", {"name"});
    Require(ParseDocument(catalogue, CatalogueText(elements), true), "the catalogue can be loaded");
    Require(ReadAll(catalogue, "QRXPSG_SystemUpdateElement", {"name"}) == elements.size(),
            "every element is in it");
  } catch (const svc::TError& error) {
    Require(error.Number() > 0, "an error has a place");
  }
  return 0;
}
