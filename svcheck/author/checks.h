// The checks that the rules name, by what they look at. Each tells one thing and tells it at most
// once for the same text.
#ifndef SVCHECK_AUTHOR_CHECKS_H_
#define SVCHECK_AUTHOR_CHECKS_H_

#include "svcheck/author/rules.h"

namespace svc::catalogue {

// Files: checks_texts.cpp
void CheckUnreadable(const TFile& file, TTell& tell);
void CheckMalformed(const TFile& file, TTell& tell);
void CheckRefused(const TFile& file, TTell& tell);
void CheckDialectMissing(const TFile& file, TTell& tell);
void CheckDialectOld(const TFile& file, TTell& tell);
void CheckNotLoaded(const TFile& file, TTell& tell);
void CheckPassedOverOnLinux(const TFile& file, TTell& tell);
void CheckPassedOverOnWindows(const TFile& file, TTell& tell);
void CheckOtherClass(const TFile& file, TTell& tell);
// Properties
void CheckNameMissing(const TUpdate& update, TTell& tell);
void CheckPropertyMistyped(const TUpdate& update, TTell& tell);
void CheckPropertyForm(const TUpdate& update, TTell& tell);
void CheckPropertyType(const TUpdate& update, TTell& tell);
// Machine types and operating systems
void CheckMachineTypesMissing(const TUpdate& update, TTell& tell);
void CheckMachineTypeMarks(const TUpdate& update, TTell& tell);
void CheckMachineTypeUnreachable(const TUpdate& update, TTell& tell);
void CheckDriversWithoutSystem(const TUpdate& update, TTell& tell);
void CheckSystemsMissing(const TUpdate& update, TTell& tell);
void CheckSystemUnknown(const std::vector<TUpdate>& updates, TTell& tell);
void CheckSystemCase(const TUpdate& update, TTell& tell);
void CheckFamilyMissing(const TUpdate& update, TTell& tell);
// Firmware: checks_components.cpp
void CheckUpdatesNothing(const TUpdate& update, TTell& tell);
void CheckProcessorUnnamed(const TUpdate& update, TTell& tell);
void CheckAlsoBios(const TUpdate& update, TTell& tell);
void CheckFolderForm(const TUpdate& update, TTell& tell);
void CheckVersionMissing(const TUpdate& update, TTell& tell);
void CheckVersionUnmarked(const TUpdate& update, TTell& tell);
void CheckVersionHalfMarked(const TUpdate& update, TTell& tell);
void CheckVersionBlanks(const TUpdate& update, TTell& tell);
void CheckBuildMissing(const TUpdate& update, TTell& tell);
void CheckDiagnosticsSkipped(const TUpdate& update, TTell& tell);
// Adapters
void CheckAdapterFilesMissing(const TUpdate& update, TTell& tell);
void CheckBroadcomCase(const TUpdate& update, TTell& tell);
void CheckMegaRaidKey(const TUpdate& update, TTell& tell);
void CheckMegaRaidModel(const TUpdate& update, TTell& tell);
void CheckLsiBiosMissing(const TUpdate& update, TTell& tell);
// Drivers
void CheckDriversUnversioned(const TUpdate& update, TTell& tell);
void CheckDriversGlued(const TUpdate& update, TTell& tell);
void CheckDriverEntryEmpty(const TUpdate& update, TTell& tell);
void CheckDriverUnreachable(const TUpdate& update, TTell& tell);
void CheckDriverNameBlanks(const TUpdate& update, TTell& tell);
void CheckDriverVersionBlanks(const TUpdate& update, TTell& tell);
// Elements beside each other: checks_duplicates.cpp
void CheckNoElements(const std::vector<TUpdate>& updates, TTell& tell);
void CheckDuplicateElement(const std::vector<TUpdate>& updates, TTell& tell);
void CheckDuplicateName(const std::vector<TUpdate>& updates, TTell& tell);
std::unique_ptr<ISeriesCheck> BeginDuplicateDriver();
void CheckConflictingFirmware(const std::vector<TUpdate>& updates, TTell& tell);

}  // namespace svc::catalogue

#endif  // SVCHECK_AUTHOR_CHECKS_H_
