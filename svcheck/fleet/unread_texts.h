// Which texts of an inventory make no difference to its machine's answer: those that neither the
// query read nor the answer tells. Whoever compares a machine says what was read; whoever has the
// inventory's text finds there what was not. Used by one thread.
#pragma once

#include <array>
#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/hskcore/cim.h"
#include "runtime/hskcore/in_memory_namespace.h"

namespace svc::fleet {

// What was read of one inventory, whose places are kept.
class TInventoryReads : public IReadObserver {
 public:
  void OnGetClass(std::string_view /*className*/) override {}
  void OnGetProperty(const NQRXHSK20::ICIMInstance& instance, std::string_view name) override;

  // Counts as read what an answer tells of the machine beside its records, and what the verdicts of
  // these go by (WithSources of query_session.h). A serial number, which each machine has of its
  // own, is told: an answer is that of a machine with another one too, when it tells that.
  void AddTold(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& inventory);

  // For FindUnread; empty where the inventory's text does not show what was read.
  std::string Bytes() const;

 private:
  using TNames = std::uint64_t;  // A bit for each.
  static constexpr std::size_t kMostNames = 64;

  struct TReadInstance {
    const NQRXHSK20::ICIMInstance* instance = nullptr;  // Null while nothing of it was read.
    TNames read = 0;
  };

  TReadInstance& EntryOf(const NQRXHSK20::ICIMInstance& instance);
  TNames BitOf(std::string_view name);
  std::string TextOf(TNames read) const;

  std::vector<std::string> names;
  std::array<std::uint8_t, 64> recentNames{};  // Numbers, by where the bytes of a name stand.
  std::vector<TReadInstance> instances;        // By number.
  const NQRXHSK20::ICIMInstance* toldSerial = nullptr;  // The instance that has it.
  bool hasTooMany = false;                              // Different names.
};

// Stands in a document from `begin` to `end`, where a "<" ends it.
struct TUnreadText {
  std::size_t begin;
  std::size_t end;
  bool isTold;  // As the serial number of the answer. At most one is.
};

// Those that can be told from the rest of the document by their markup alone, in their order. None
// where anything that was read is not found there.
std::vector<TUnreadText> FindUnread(std::string_view document, std::string_view reads);

// Whether a text may stand in the place of any unread one: the document means what it did but for
// this text.
bool IsHarmless(std::string_view text) noexcept;

}  // namespace svc::fleet
