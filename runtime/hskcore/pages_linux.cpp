#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <utility>

#include "runtime/hskcore/pages.h"

namespace svc {

std::span<char> WholePages(std::span<char> bytes) noexcept {
  static const auto pageSize = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const std::size_t before = -reinterpret_cast<std::uintptr_t>(bytes.data()) % pageSize;
  if (bytes.size() < before + pageSize) return {};
  return bytes.subspan(before, (bytes.size() - before) / pageSize * pageSize);
}

void TUnmap::operator()(char* pages) const noexcept { munmap(pages, size); }

// The kernel has MREMAP_DONTUNMAP since Linux 5.7 (mremap(2)).
TPages TakePages(std::span<char> pages) noexcept {
  void* const moved =
      mremap(pages.data(), pages.size(), pages.size(), MREMAP_MAYMOVE | MREMAP_DONTUNMAP, nullptr);
  if (moved == MAP_FAILED) return {};
  TPages taken(static_cast<char*>(moved), {pages.size()});
  // Shared memory is seen at both addresses.
  return pages[0] == 0 ? std::move(taken) : TPages();
}

}  // namespace svc
