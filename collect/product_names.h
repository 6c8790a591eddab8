// How makers write machine types and versions into the texts of their products. Pure; any thread.
#ifndef COLLECT_PRODUCT_NAMES_H_
#define COLLECT_PRODUCT_NAMES_H_

#include <string>

#include "collect/cim_xml.h"

namespace svc::collect {

// "-[46201AB]-" holds the machine type, four characters, and the model; without the marks the
// product's name is its type.
std::string MachineTypeOf(const std::string& product);

// The BIOS with its version: one such as "-[QKL120AUS-1.10]-" is a build id and a version.
TInstance SystemBios(const std::string& version);

}  // namespace svc::collect

#endif  // COLLECT_PRODUCT_NAMES_H_
