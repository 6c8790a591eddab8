// Which component an update element is compared with, by the tests that a query makes of it. Pure
// functions; may be called from any thread.
#ifndef SVCHECK_CATALOGUE_COMPONENTS_H_
#define SVCHECK_CATALOGUE_COMPONENTS_H_

#include "rules/components.h"
#include "svcheck/catalogue/elements.h"

namespace svc::catalogue {

using rules::EComponent;
using rules::EVersionPlace;
using rules::RowOf;

// An element may update the system BIOS and one more component.
bool IsBiosUpdate(const TElement& element);
EComponent ComponentOf(const TElement& element);

}  // namespace svc::catalogue

#endif  // SVCHECK_CATALOGUE_COMPONENTS_H_
