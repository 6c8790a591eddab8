#include <malloc.h>

#include "runtime/xmlparser/document_text.h"

namespace svc::xml {

std::size_t BlockSize(void* block) { return malloc_usable_size(block); }

}  // namespace svc::xml
