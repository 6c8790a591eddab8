// Lists of firmware versions, as an administrator keeps them in a table. Pure functions; may be
// called from any thread.
#ifndef SVCHECK_AUTHOR_FIRMWARE_LIST_H_
#define SVCHECK_AUTHOR_FIRMWARE_LIST_H_

#include <string>
#include <string_view>
#include <vector>

#include "svcheck/author/new_element.h"

namespace svc::catalogue {

// The elements of a list. Its first row names the columns: type, name, version, machine types,
// operating systems, and perhaps build. Rows of adapters that belong together become one element.
// `otherwise` stands in where a row names no machine type or no operating system. Throws TError
// at the first row that cannot be used.
std::vector<TNewElement> ReadFirmwareList(std::string_view text, const TFor& otherwise);

}  // namespace svc::catalogue

#endif  // SVCHECK_AUTHOR_FIRMWARE_LIST_H_
