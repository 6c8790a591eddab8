// On which lines of a document instances stand, once somebody asks: while it is read nobody counts.
// May be called from any thread.
#ifndef RUNTIME_XMLPARSER_DOCUMENT_LINES_H_
#define RUNTIME_XMLPARSER_DOCUMENT_LINES_H_

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "host/hskcore/export.h"

namespace svc::xml {

// The lines, from 1, on which start tags of instances begin that end at these offsets of the file's
// text, as TPlace has them, in ascending order. 0 where none ends: the file is another one by now,
// or cannot be read. Throws std::bad_alloc.
XMLPARSER_API std::vector<std::size_t> LinesOfInstances(const std::string& native,
                                                        std::span<const std::size_t> offsets);

}  // namespace svc::xml

#endif  // RUNTIME_XMLPARSER_DOCUMENT_LINES_H_
