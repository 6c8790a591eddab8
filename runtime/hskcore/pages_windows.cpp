#include "runtime/hskcore/pages.h"

namespace svc {

// Windows moves no pages of a heap.
std::span<char> WholePages(std::span<char>) noexcept { return {}; }
void TUnmap::operator()(char*) const noexcept {}
TPages TakePages(std::span<char>) noexcept { return {}; }

}  // namespace svc
