// Checks of the list of driver files.
#include <algorithm>

#include "rules/names.h"
#include "svcheck/catalogue/ascii_text.h"
#include "svcheck/catalogue/checks.h"

namespace svc::catalogue {

namespace {

constexpr std::string_view kDriverFiles = rules::kUpdateDriverFiles;

bool BeginsOrEndsBlank(std::string_view text) { return report::Trim(text) != text; }

// Whether an installed driver can have the name, once both are brought to the compared form.
bool IsReachable(const std::string& name) {
  const std::string compared = ComparedName(name);
  return !compared.empty() && !BeginsOrEndsBlank(compared) &&
         name.find_first_of("/\\\r\n\t") == std::string::npos;
}

// An adapter's list holds identifiers, which no driver need go by.
bool ListsDrivers(const TUpdate& update) { return !update.IsAdapter(); }

}  // namespace

void CheckDriversUnversioned(const TUpdate& update, TTell& tell) {
  if (!report::Trim(update.driverFiles).empty() && !Contains(update.driverFiles, "-#")) {
    tell.Of(update, kDriverFiles, Quoted(update.driverFiles));
  }
}

// Then the one version holds the next entry.
void CheckDriversGlued(const TUpdate& update, TTell& tell) {
  for (const TDriverEntry& entry : CutDriverFiles(update.driverFiles)) {
    if (Contains(entry.version, "-#")) {
      tell.Of(update, kDriverFiles, Quoted(entry.name + "-#" + entry.version));
    }
  }
}

void CheckDriverEntryEmpty(const TUpdate& update, TTell& tell) {
  for (const TDriverEntry& entry : CutDriverFiles(update.driverFiles)) {
    if (entry.name.empty() || entry.version.empty()) {
      tell.Of(update, kDriverFiles, Quoted(entry.name + "-#" + entry.version));
    }
  }
}

void CheckDriverUnreachable(const TUpdate& update, TTell& tell) {
  if (!ListsDrivers(update)) return;
  for (const TDriverEntry& entry : update.drivers) {
    if (!IsReachable(entry.name)) tell.Of(update, kDriverFiles, Quoted(entry.name));
  }
}

void CheckDriverNameBlanks(const TUpdate& update, TTell& tell) {
  if (!ListsDrivers(update)) return;
  for (const TDriverEntry& entry : update.drivers) {
    const bool hasBlank = Contains(report::Trim(entry.name), " ");
    if (hasBlank && IsReachable(entry.name)) tell.Of(update, kDriverFiles, Quoted(entry.name));
  }
}

void CheckDriverVersionBlanks(const TUpdate& update, TTell& tell) {
  for (const TDriverEntry& entry : update.drivers) {
    if (BeginsOrEndsBlank(entry.version)) tell.Of(update, kDriverFiles, Quoted(entry.version));
  }
}

}  // namespace svc::catalogue
