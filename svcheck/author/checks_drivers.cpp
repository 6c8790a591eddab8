// Checks of the list of driver files.
#include <algorithm>

#include "rules/names.h"
#include "svcheck/author/checks.h"
#include "svcheck/author/update.h"

namespace svc::catalogue {

namespace {

constexpr std::string_view kDriverFiles = rules::kUpdateDriverFiles;

bool BeginsOrEndsBlank(std::string_view text) { return report::Trim(text) != text; }

// Whether an installed driver can have the name, once both are brought to the compared form.
bool IsReachable(std::string_view name) {
  const std::string compared = ComparedName(name);
  return !compared.empty() && !BeginsOrEndsBlank(compared) &&
         name.find_first_of("/\\\r\n\t") == name.npos;
}

// An adapter's list holds identifiers, which no driver need go by.
bool ListsDrivers(const TUpdate& update) { return !update.IsAdapter(); }

// As the list has it, which it is a part of.
std::string_view Whole(const TDriverEntry& entry) {
  return {entry.name.data(), static_cast<std::size_t>(entry.version.data() - entry.name.data()) +
                                 entry.version.size()};
}

}  // namespace

void CheckDriversUnversioned(const TUpdate& update, TTell& tell) {
  if (!report::Trim(update.driverFiles).empty() && !Contains(update.driverFiles, "-#")) {
    tell.Of(update, kDriverFiles, Quoted(update.driverFiles));
  }
}

// Then the one version holds the next entry.
void CheckDriversGlued(const TUpdate& update, TTell& tell) {
  // Up to the end of the list at most: what was found for one version holds for those within it.
  std::size_t mark = 0;
  rules::CutDriverList(update.driverFiles, [&](const TDriverEntry& entry) {
    const auto begin = static_cast<std::size_t>(entry.version.data() - update.driverFiles.data());
    if (mark < begin) mark = update.driverFiles.find("-#", begin);
    if (mark != std::string_view::npos && mark + 2 <= begin + entry.version.size()) {
      tell.OfText(update, kDriverFiles, Whole(entry));
    }
  });
}

void CheckDriverEntryEmpty(const TUpdate& update, TTell& tell) {
  rules::CutDriverList(update.driverFiles, [&](const TDriverEntry& entry) {
    if (!entry.IsOffered()) tell.OfText(update, kDriverFiles, Whole(entry));
  });
}

void CheckDriverUnreachable(const TUpdate& update, TTell& tell) {
  if (!ListsDrivers(update)) return;
  for (const TDriverEntry& entry : *update.drivers) {
    if (!IsReachable(entry.name)) tell.OfText(update, kDriverFiles, entry.name);
  }
}

void CheckDriverNameBlanks(const TUpdate& update, TTell& tell) {
  if (!ListsDrivers(update)) return;
  for (const TDriverEntry& entry : *update.drivers) {
    const bool hasBlank = Contains(report::Trim(entry.name), " ");
    if (hasBlank && IsReachable(entry.name)) tell.OfText(update, kDriverFiles, entry.name);
  }
}

void CheckDriverVersionBlanks(const TUpdate& update, TTell& tell) {
  for (const TDriverEntry& entry : *update.drivers) {
    if (BeginsOrEndsBlank(entry.version)) tell.OfText(update, kDriverFiles, entry.version);
  }
}

}  // namespace svc::catalogue
