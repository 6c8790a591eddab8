// What a person can do about a check that did not take place.
#ifndef SVCHECK_SESSION_ADVICE_H_
#define SVCHECK_SESSION_ADVICE_H_

#include <string>
#include <string_view>

#include "report/model.h"

namespace svc {

// Empty for a check that took place. May be called from any thread.
std::string_view AdviceOn(report::EOutcome outcome) noexcept;

// Puts the name of the file before the errors that name only a line of the catalogue, as
// "FOLDER/index.xml:12: …".
void NameCatalogueFile(report::TReport& report);

// Puts the name of the property before the error of a value that is no number: the comparison asks
// for one of a single property.
void NameNumberProperty(report::TReport& report);

// The one line for standard error: what happened, why and what to do.
std::string FailureLine(const report::TReport& report);

}  // namespace svc

#endif  // SVCHECK_SESSION_ADVICE_H_
