#include "runtime/xmlparser/tag_memory.h"

#include <algorithm>
#include <cstring>

#include "runtime/hskcore/hash.h"

namespace svc::xml {

void TWrapping::Learn(std::string_view newLead, std::string_view newTrail,
                      std::uint32_t newInnerKind) {
  if (newLead.size() > kMaxLead || newTrail.size() > kMaxTrail) return;
  leadLength = static_cast<std::uint32_t>(newLead.copy(lead, kMaxLead));
  trailLength = static_cast<std::uint32_t>(newTrail.copy(trail, kMaxTrail));
  innerKind = newInnerKind;
}

std::size_t TTagMemory::SlotOf(const char* at, std::size_t length) const {
  const std::size_t first = HashText({at, length}, HashSeed());
  std::size_t place = first % kSlots;
  for (std::size_t probe = 0; probe < kProbes; ++probe) {
    const std::size_t slot = (first + probe) % kSlots;
    if (slots[slot] == nullptr) {
      place = slot;
    } else if (slots[slot]->Is({at, length})) {
      return slot;
    }
  }
  return place;
}

TKnownTag& TTagMemory::NewTag() {
  if (count % kBlock == 0) blocks.push_back(std::make_unique<TKnownTag[]>(kBlock));
  return blocks.back()[count++ % kBlock];
}

TKnownTag* TTagMemory::Find(const char* at, const char* end) const {
  const std::size_t left = std::min(static_cast<std::size_t>(end - at), TKnownTag::kMaxLength);
  const void* close = std::memchr(at, '>', left);
  if (!close) return nullptr;
  const auto length = static_cast<std::size_t>(static_cast<const char*>(close) - at) + 1;
  TKnownTag* const known = slots[SlotOf(at, length)];
  return known != nullptr && known->Is({at, length}) ? known : nullptr;
}

TKnownTag* TTagMemory::Add(const char* at, const TTagForm& form,
                           std::span<const TAttribute> attributes) {
  if (!form.isWritten || form.length > TKnownTag::kMaxLength ||
      attributes.size() > TKnownTag::kMaxAttributes ||
      std::memchr(at, '>', form.length) != at + form.length - 1)
    return nullptr;
  TKnownTag*& slot = slots[SlotOf(at, form.length)];
  if (slot == nullptr) slot = &NewTag();
  *slot = TKnownTag{};
  std::memcpy(slot->bytes, at, form.length);
  slot->form = form;
  slot->attributeCount = static_cast<std::uint32_t>(attributes.size());
  std::copy(attributes.begin(), attributes.end(), slot->attributes);
  return slot;
}

}  // namespace svc::xml
