// What the allocator knows of a block. May be used from any thread.
#ifndef RUNTIME_XMLPARSER_BLOCK_SIZE_H_
#define RUNTIME_XMLPARSER_BLOCK_SIZE_H_

#include <cstddef>

namespace svc::xml {

// How many bytes may be used from the start of a block of malloc, calloc or realloc.
std::size_t BlockSize(void* block);

}  // namespace svc::xml

#endif  // RUNTIME_XMLPARSER_BLOCK_SIZE_H_
