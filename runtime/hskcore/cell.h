// Cells: the 64 bits that a stored property takes, read with its form. Pure functions.
#ifndef RUNTIME_HSKCORE_CELL_H_
#define RUNTIME_HSKCORE_CELL_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "host/hskcore/value.h"
#include "runtime/hskcore/shape_table.h"
#include "runtime/hskcore/value_text.h"

namespace svc {

// A number's bits (as NumberFromText gives them), or the address of a stored text, 0 for null. An
// array is a stored text too: see TArrayText.
using TCell = std::uint64_t;

inline TCell CellOf(TStoredText text) noexcept { return reinterpret_cast<std::uintptr_t>(text); }
inline TStoredText TextOf(TCell cell) noexcept {
  return reinterpret_cast<TStoredText>(static_cast<std::uintptr_t>(cell));
}

// Whether cells of the form are addresses of stored texts.
constexpr bool IsStoredAsText(TForm form) noexcept { return form.isArray || IsTextType(form.type); }

// The value of a cell. Its texts are borrowed: they must outlive it.
NQRXHSK20::TCIMValue ValueOfCell(TForm form, TCell cell);

// The bytes that stand for an array: the number of its elements in four bytes, then for each a
// mark, which tells its length, and its bytes. Reused from array to array.
class TArrayText {
 public:
  void Begin();
  void AddText(std::string_view text) {
    text.copy(AddMark(text.size() + 1, text.size()), text.size());
  }
  void AddNumber(std::uint64_t bits);
  void AddNull();
  // Valid until the next Begin.
  std::string_view Finish() noexcept;

 private:
  // Adds a mark and makes room for what follows it, which the caller writes.
  char* AddMark(std::uint64_t mark, std::size_t following) {
    if (capacity - size < kLongestLength + following) Grow(kLongestLength + following);
    char* at = bytes.get() + size;
    WriteLength(at, mark);
    size = static_cast<std::size_t>(at - bytes.get()) + following;
    ++count;
    return at;
  }
  // Makes room for so many bytes more.
  void Grow(std::size_t more);

  std::unique_ptr<char[]> bytes;
  std::size_t size = 0;
  std::size_t capacity = 0;
  std::uint32_t count = 0;
};

}  // namespace svc

#endif  // RUNTIME_HSKCORE_CELL_H_
