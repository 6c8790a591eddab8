#include <malloc.h>

#include "runtime/xmlparser/block_size.h"

namespace svc::xml {

std::size_t BlockSize(void* block) { return malloc_usable_size(block); }

}  // namespace svc::xml
