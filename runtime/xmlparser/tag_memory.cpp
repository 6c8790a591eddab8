#include "runtime/xmlparser/tag_memory.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

#include "runtime/hskcore/hash.h"

namespace svc::xml {
namespace {

// The pages of slots that nobody uses are never touched; yet to get and give back so many of them
// costs more than to read a document of a few lines.
std::size_t SlotsFor(std::size_t documentSize) {
  constexpr std::size_t kFewest = 16;
  constexpr std::size_t kMost = 1024;
  constexpr std::size_t kBytesOfOne = 64;
  return std::bit_ceil(std::clamp(documentSize / kBytesOfOne, kFewest, kMost));
}

}  // namespace

void TWrapping::Learn(std::string_view newLead, std::string_view newTrail,
                      std::uint32_t newInnerKind) {
  if (newLead.size() > kMaxLead || newTrail.size() > kMaxTrail) return;
  leadLength = static_cast<std::uint32_t>(newLead.copy(lead, kMaxLead));
  trailLength = static_cast<std::uint32_t>(newTrail.copy(trail, kMaxTrail));
  innerKind = newInnerKind;
}

TTagMemory::TTagMemory(std::size_t documentSize)
    : mask(SlotsFor(documentSize) - 1),
      slots(static_cast<TKnownTag*>(std::calloc(mask + 1, sizeof(TKnownTag)))) {
  if (!slots) throw std::bad_alloc();
}

TKnownTag& TTagMemory::SlotOf(const char* at, std::size_t length) const {
  const std::size_t first = HashText({at, length}, HashSeed());
  TKnownTag* place = &slots[first & mask];
  for (std::size_t probe = 0; probe < kProbes; ++probe) {
    TKnownTag& slot = slots[(first + probe) & mask];
    if (slot.Is({at, length})) return slot;
    if (slot.form.length == 0) place = &slot;
  }
  return *place;
}

TKnownTag* TTagMemory::Find(const char* at, const char* end) const {
  const std::size_t left = std::min(static_cast<std::size_t>(end - at), TKnownTag::kMaxLength);
  const void* close = std::memchr(at, '>', left);
  if (!close) return nullptr;
  const auto length = static_cast<std::size_t>(static_cast<const char*>(close) - at) + 1;
  TKnownTag& slot = SlotOf(at, length);
  return slot.Is({at, length}) ? &slot : nullptr;
}

TKnownTag* TTagMemory::Add(const char* at, const TTagForm& form,
                           std::span<const TAttribute> attributes) {
  if (!form.isWritten || form.length > TKnownTag::kMaxLength ||
      attributes.size() > TKnownTag::kMaxAttributes ||
      std::memchr(at, '>', form.length) != at + form.length - 1)
    return nullptr;
  TKnownTag& slot = SlotOf(at, form.length);
  slot = TKnownTag{};
  std::memcpy(slot.bytes, at, form.length);
  slot.form = form;
  slot.attributeCount = static_cast<std::uint32_t>(attributes.size());
  std::copy(attributes.begin(), attributes.end(), slot.attributes);
  return &slot;
}

}  // namespace svc::xml
