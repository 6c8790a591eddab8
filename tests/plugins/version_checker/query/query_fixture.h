// A whole query on the fake host: a server with some of everything, and a catalogue for it.
#pragma once

#include <string>

#include "tests/support/fake_host.h"
#include "tests/support/temporary_folder.h"

namespace svc::test {

inline constexpr const char* kElementClass = "QRXPSG_SystemUpdateElement";
inline constexpr const char* kCatalogueFolder = "catalogue";

// A machine of type 4620 that runs RHEL5_64, with the firmware and drivers of a small server.
void FillInventory(TFakeNamespace& inventory);

// An update element for machines of type 4620 with an operating system, or a family of them.
void AddElement(TFakeNamespace& catalogue, TFakeProperties properties,
                const char* system = "RHEL5_64");

// Elements for the server: BIOS, adapters, processors, and drivers.
void FillCatalogueFor(TFakeNamespace& catalogue, const char* system);
void FillCatalogue(TFakeNamespace& catalogue);

// Writes "catalogue/index.xml" and says what it holds; the same for the live header.
void WriteCatalogue(const TTemporaryFolder& folder, TFakeHost& host, TDocument contents);

// Writes a file into the download folder and says what it holds.
void WriteDownload(const TTemporaryFolder& folder, TFakeHost& host, TDocument contents);

// Attaches the plug-in; its calls are forgotten.
void Attach(TFakeHost& host);
// Runs a query with this "svPath", after an attach where there was none.
void RunQuery(TFakeHost& host, const std::string& svPath = kCatalogueFolder);
void RunQuery(TFakeHost& host, NQRXHSK20::CIMContext& context);

}  // namespace svc::test
