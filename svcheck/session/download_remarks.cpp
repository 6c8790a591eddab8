#include "svcheck/session/download_remarks.h"

#include <algorithm>

#include "host/hskcore/exception.h"
#include "host/hskcore/os_specific.h"
#include "svcheck/system/paths.h"

namespace svc {

namespace {

// The files that a live query loads, which are all whose names hold "xml".
std::vector<std::string> LoadedFiles() {
  std::vector<std::string> names;
  try {
    names = NQRXHSK20::TOSSpecific::ListDir(DownloadFolder().string());
  } catch (const NQRXHSK20::THSKException&) {
    // The query says so itself.
  }
  std::erase_if(names, [](const std::string& name) { return name.find("xml") == name.npos; });
  return names;
}

}  // namespace

std::vector<std::string> FilesNotOffered(const acquire::TOutcome& outcome) {
  if (!outcome.offered) return {};
  std::vector<std::string> names = LoadedFiles();
  std::erase_if(names, [&](const std::string& name) {
    return std::ranges::count(*outcome.offered, name) != 0;
  });
  return names;
}

std::string RemarkOnFilesNotOffered(const std::vector<std::string>& names) {
  constexpr std::size_t kMostNamed = 5;
  std::string list;
  for (std::size_t i = 0; i < std::min(names.size(), kMostNamed); ++i)
    list += (i == 0 ? "" : ", ") + names[i];
  if (names.size() > kMostNamed)
    list += " and " + std::to_string(names.size() - kMostNamed) + " more";
  return "the repository does not offer " + list + ", which " + DownloadFolder().string() +
         " holds and which counts";
}

std::string AdviceOnFilesNotOffered() {
  return "what was withdrawn or superseded is removed from there by hand";
}

std::string RemarkOnOffline() {
  return "nothing was verified now, being offline: " + DownloadFolder().string() +
         " counts as it is";
}

}  // namespace svc
