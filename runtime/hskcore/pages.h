// Memory by the page, taken out of a block that somebody else owns. Stateless; may be used from any
// thread.
#ifndef RUNTIME_HSKCORE_PAGES_H_
#define RUNTIME_HSKCORE_PAGES_H_

#include <cstddef>
#include <memory>
#include <span>

#include "host/hskcore/export.h"

namespace svc {

// The whole pages among the bytes; none where the system cannot move pages.
HSKCORE_API std::span<char> WholePages(std::span<char> bytes) noexcept;

struct TUnmap {
  std::size_t size = 0;
  void operator()(char* pages) const noexcept;
};
using TPages = std::unique_ptr<char[], TUnmap>;

// Moves whole pages to another address, with what is in them. Where they were, zeros are read from
// then on, and the system brings new pages when it is written to: whoever owns the block gives it
// back as ever. Null where the pages are not the process's own.
TPages TakePages(std::span<char> pages) noexcept;

}  // namespace svc

#endif  // RUNTIME_HSKCORE_PAGES_H_
