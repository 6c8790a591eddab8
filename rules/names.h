// The names by which the plug-in and the program know the same things: the plug-in itself, the
// entries of a query's context, the classes of catalogue and inventory with their properties.
//
// Catalogues, inventories and reports in use are written with them; none may change. What stands
// here is what both sides use: classes that only the plug-in reads are named where it reads them.
#pragma once

#include <array>
#include <string_view>

namespace svc::rules {

inline constexpr const char* kPluginName = "Sorvane Version Checker";

// --- The context of a query ---
// The catalogue's folder, or the keyword for a download. The keyword counts in exactly this
// spelling: any other is a folder's name.
inline constexpr const char* kCatalogueEntry = "svPath";
inline constexpr const char* kLive = "_live_";
// { host, port, user, password } for a download.
inline constexpr const char* kProxyEntry = "svProxy";

// The one file of a catalogue's folder that is loaded.
inline constexpr const char* kIndexFile = "index.xml";

// --- Update elements: the instances of a catalogue ---
inline constexpr std::string_view kUpdateClass = "QRXPSG_SystemUpdateElement";
inline constexpr std::string_view kUpdateName = "name";
inline constexpr std::string_view kUpdateDescription = "description";
inline constexpr std::string_view kUpdateCategory = "category";
inline constexpr std::string_view kUpdateDirectory = "installDirectory";
inline constexpr std::string_view kUpdateVersion = "Version";
inline constexpr std::string_view kUpdateBuild = "BuildNumber";
inline constexpr std::string_view kUpdateDriverFiles = "driverFiles";
// What kernel modules among the driver files were built of: a list in the form of these, in which
// before each name stand the checksum that the module states as its "srcversion" and a colon,
// "0123ABCDEF:e1000e.ko-#3.8.4". A query does not read it; reports do.
inline constexpr std::string_view kUpdateDriverSources = "driverSources";
inline constexpr std::string_view kUpdateMachineTypes = "applicableMachineTypes";
inline constexpr std::string_view kUpdateSystems = "applicableOperatingSystems";

// Every property of an update element that is read, in the order in which they are written. The
// name is for people alone.
struct TUpdateProperty {
  std::string_view name;
  bool isArray;
};
inline constexpr std::array kUpdateProperties = {
    TUpdateProperty{kUpdateName, false},        TUpdateProperty{kUpdateDescription, false},
    TUpdateProperty{kUpdateCategory, false},    TUpdateProperty{kUpdateDirectory, false},
    TUpdateProperty{kUpdateVersion, false},     TUpdateProperty{kUpdateBuild, false},
    TUpdateProperty{kUpdateDriverFiles, false}, TUpdateProperty{kUpdateMachineTypes, true},
    TUpdateProperty{kUpdateSystems, true}};
static_assert(kUpdateProperties.size() == 9);

// --- Records ---
inline constexpr std::string_view kResultClass = "QRXSG_SVResult";
inline constexpr std::string_view kResultType = "Type";
inline constexpr std::string_view kResultName = "Name";
inline constexpr std::string_view kResultInstalled = "InstalledVersion";
inline constexpr std::string_view kResultOffered = "SVVersion";
inline constexpr std::string_view kDriverType = "Driver";  // The type of a driver's record.

// --- Inventory ---
inline constexpr std::string_view kSystemClass = "QRXSG_OperatingSystem";
inline constexpr std::string_view kSystemVersion = "Version";
inline constexpr std::string_view kSystemType = "OSType";
inline constexpr std::string_view kSystemBuild = "BuildID";
inline constexpr std::string_view kSystemPlatform = "HardwarePlatform";

inline constexpr std::string_view kDriverClass = "QRXSG_DeviceDriverInfo";
inline constexpr std::string_view kDriverPath = "Path";
inline constexpr std::string_view kDriverVersion = "Version";
inline constexpr std::string_view kDriverState = "CurrentState";
inline constexpr std::string_view kDriverSource = "SourceVersion";  // Read by reports alone.

}  // namespace svc::rules
