// Checks of files as a whole.
#include <algorithm>

#include "rules/download_files.h"
#include "rules/names.h"
#include "runtime/xmlparser/dialect.h"
#include "svcheck/author/ascii_text.h"
#include "svcheck/author/checks.h"

namespace svc::catalogue {

namespace {

void TellProblem(const std::optional<TProblem>& problem, const TFile& file, TTell& tell) {
  if (problem) tell.Of(file, problem->line, problem->cause);
}

// Whether an element of the file names one of the families.
bool IsFor(const TFile& file, std::string_view family) {
  return std::any_of(file.elements.begin(), file.elements.end(), [&](const TElement& element) {
    return Mentions(element.Text(rules::kUpdateSystems), family);
  });
}

}  // namespace

void CheckUnreadable(const TFile& file, TTell& tell) { TellProblem(file.unreadable, file, tell); }
void CheckMalformed(const TFile& file, TTell& tell) { TellProblem(file.malformed, file, tell); }
void CheckRefused(const TFile& file, TTell& tell) { TellProblem(file.refused, file, tell); }

void CheckDialectMissing(const TFile& file, TTell& tell) {
  if (file.isLoaded && !file.unreadable && !file.dialect) tell.Of(file, 1);
}

void CheckDialectOld(const TFile& file, TTell& tell) {
  if (!file.dialect || xml::IsDialect402(file.dialect->version)) return;
  tell.Of(file, file.dialect->line, Quoted(file.dialect->version));
}

void CheckNotLoaded(const TFile& file, TTell& tell) {
  if (!file.isLoaded) tell.Of(file, 0);
}

void CheckPassedOverOnLinux(const TFile& file, TTell& tell) {
  if (tell.Catalogue().isLive && Contains(file.name, rules::kForWindowsMark) &&
      IsFor(file, rules::kLinux)) {
    tell.Of(file, 0);
  }
}

void CheckPassedOverOnWindows(const TFile& file, TTell& tell) {
  if (tell.Catalogue().isLive && Contains(file.name, rules::kForLinuxMark) &&
      IsFor(file, rules::kWindows)) {
    tell.Of(file, 0);
  }
}

void CheckOtherClass(const TFile& file, TTell& tell) {
  for (const TElement& other : file.others) tell.Of(file, other.line, Quoted(other.className));
}

}  // namespace svc::catalogue
