// Which files of a live query's download folder are loaded. The plug-in loads them; the author's
// and the publisher's verbs tell of descriptions that would be passed over.
//
// Names decide, not contents: a description for another family would be read for nothing. The
// names are searched in exactly these letters. Pure; any thread.
// Deliberate: see "A mark counts anywhere in a name" in docs/one-query.md.
#ifndef RULES_DOWNLOAD_FILES_H_
#define RULES_DOWNLOAD_FILES_H_

#include <algorithm>
#include <array>
#include <string_view>

#include "rules/system_codes.h"

namespace svc::rules {

// The folder that receives the descriptions. Files stay in it from one query to the next.
inline constexpr const char* kDownloadFolder = "C:\\QRX_Support\\SV";

// A file is loaded when its name holds this anywhere: "readme.xml.txt" too, "README.XML" not.
inline constexpr std::string_view kDescriptionMark = "xml";
constexpr bool IsDescription(std::string_view name) {
  return name.find(kDescriptionMark) != std::string_view::npos;
}

// What a name says of whom the file is for. Both stand anywhere in it: a "darwin.xml" is passed
// over on Linux.
inline constexpr std::string_view kForLinuxMark = "linux";
inline constexpr std::string_view kForWindowsMark = "win";

// A file whose path contains `mark` is for others than the family.
struct TPassedOver {
  std::string_view family;
  std::string_view mark;
  std::string_view message;  // What the log says of it.
};
inline constexpr std::array kPassedOver = {
    TPassedOver{"Windows 2003", kForLinuxMark, "Skip linux xml on windows"},
    TPassedOver{"Windows 2000", kForLinuxMark, "Skip linux xml on windows"},
    TPassedOver{"Windows 2008", kForLinuxMark, "Skip linux xml on windows"},
    TPassedOver{kLinux, kForWindowsMark, "Skip windows xml on linux"}};
static_assert(kPassedOver.size() == 4);

// Why a file is passed over on systems of the family; null when it is loaded. The family VMware
// loads all.
constexpr const TPassedOver* WhyPassedOver(std::string_view path, std::string_view family) {
  const auto row =
      std::find_if(kPassedOver.begin(), kPassedOver.end(), [&](const TPassedOver& candidate) {
        return candidate.family == family && path.find(candidate.mark) != std::string_view::npos;
      });
  return row == kPassedOver.end() ? nullptr : &*row;
}

// The plug-in tests whole paths, which so comes to the same as the names.
static_assert(WhyPassedOver(kDownloadFolder, kLinux) == nullptr &&
              WhyPassedOver(kDownloadFolder, "Windows 2008") == nullptr);

}  // namespace svc::rules

#endif  // RULES_DOWNLOAD_FILES_H_
