// The texts of the plug-in's log, and of what it prints, that anything outside the plug-in
// recognises: the journal, by which a query's outcome is told, and the trace of `svcheck explain`.
//
// They are part of the plug-in's behaviour to the byte; tools in use read them too. Texts that
// nobody recognises stand where they are logged.
#pragma once

#include <string_view>

namespace svc::rules {

// --- How a query ends; each is the first of its kind in a log ---
inline constexpr std::string_view kNoMachineType = "Unable to determine machine type";
inline constexpr std::string_view kNoDefinitions = "Error loading SV definitions file...";
inline constexpr std::string_view kNoIndex = "Error loading SV index file...";
inline constexpr std::string_view kIncorrectSystem = "Incorrect OS type! osType is ";  // + the code
inline constexpr std::string_view kNoResultClass = "QRXSG_SVResult not found";
inline constexpr std::string_view kNothingApplicable =
    "Warning: Sorvane comparison, no supported software updates found";
inline constexpr std::string_view kDownloadFailed =
    "SV download failed, return value: ";  // + the number
inline constexpr std::string_view kNoDownload = "error connecting.";

// What is printed beside kNoIndex, and how it begins.
inline constexpr std::string_view kIndexTooOld =
    "ERROR: Unsupported SV index specified, try again with SV CD version 4.02 or greater.";
inline constexpr std::string_view kIndexTooOldStart =
    kIndexTooOld.substr(0, kIndexTooOld.find(", try"));
inline constexpr std::string_view kIndexNotFound =
    "ERROR: SV index not found at specified location.";
inline constexpr std::string_view kIndexNotFoundStart =
    kIndexNotFound.substr(0, kIndexNotFound.find(" at "));

// --- Where a query is ---
// The first line after the catalogue was loaded.
inline constexpr std::string_view kSelectsMachine = "In MatchMachineInstances";
inline constexpr std::string_view kSelectsSystem = "In MatchOSInstances";
inline constexpr std::string_view kTests = "In PropertyContains";
inline constexpr std::string_view kReads = "In GetPropertyValue";
// The last line of the firmware comparison, whatever it found: LSI controllers have no mark of
// their own to tell whether one was found.
inline constexpr std::string_view kFirmwareCompared = "No firmware update found for LSI firmware.";

// --- How the comparison of an element ended ---
inline constexpr std::string_view kDiagnosticsSkipped = "Skipping the comparison for p1.10.";
inline constexpr std::string_view kOtherController = "Not getting same MR controller.";
inline constexpr std::string_view kInstalledIsOffered = "Use current version.";

// --- Drivers ---
// The line behind it is the state of an installed driver.
inline constexpr std::string_view kStateFollows = "Driver status:";
// Of each pair of an offered and an installed driver: the first two alone, or both others.
inline constexpr std::string_view kNotRunning =
    "Skipping this driver comparison coz it's not up and running.";
inline constexpr std::string_view kNameless = "CurDriverName is NULL";
inline constexpr std::string_view kInstalledName = "CurDriverName = ";  // + the compared name
inline constexpr std::string_view kOfferedName = "SVDriverName = ";     // + the compared name

}  // namespace svc::rules
