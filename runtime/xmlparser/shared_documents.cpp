#include "runtime/xmlparser/shared_documents.h"

#include <atomic>
#include <random>
#include <utility>

#include "runtime/hskcore/name_table.h"

namespace svc::xml {

namespace {

constexpr std::string_view kFile = "file ";

constinit std::atomic<int> sharers{0};

std::uint64_t RandomWord() {
  std::random_device device;
  return (static_cast<std::uint64_t>(device()) << 32) | device();
}

void AppendHex(std::string& text, std::uint64_t word) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  for (int shift = 60; shift >= 0; shift -= 4) text += kDigits[(word >> shift) & 0xF];
}

}  // namespace

TDocumentCache& TDocumentCache::Instance() {
  // Never destroyed: namespaces may go while the process ends.
  static TDocumentCache& cache = *new TDocumentCache;
  return cache;
}

TDocumentCache* TDocumentCache::Active() noexcept {
  return sharers.load(std::memory_order_relaxed) == 0 ? nullptr : &Instance();
}

void TDocumentCache::Activate(bool on) noexcept {
  const std::lock_guard lock(mutex);
  sharers += on ? 1 : -1;
  if (sharers != 0) return;
  std::erase_if(entries, [](const auto& entry) { return entry.first.document.starts_with(kFile); });
}

std::optional<TParsedDocument> TDocumentCache::Find(const TKey& key) const {
  const std::lock_guard lock(mutex);
  const auto found = entries.find(key);
  if (found == entries.end()) return {};
  return found->second.parsed;
}

void TDocumentCache::Add(const TKey& key, TSharedStateHandle before, TParsedDocument parsed) {
  const std::lock_guard lock(mutex);
  if (entries.size() >= kMostSharedDocuments) return;
  entries.try_emplace(key, TEntry{std::move(before), std::move(parsed)});
}

std::string TDocumentCache::NameOfFile(const std::string& native) {
  return std::string(kFile) + native;
}

std::string DigestOf(std::string_view bytes) {
  static const std::uint64_t first = RandomWord();
  static const std::uint64_t second = RandomWord();
  std::string digest;
  AppendHex(digest, HashText(bytes, first));
  AppendHex(digest, HashText(bytes, second));
  AppendHex(digest, bytes.size());
  return digest;
}

}  // namespace svc::xml

namespace svc {

using xml::TDocumentCache;

TDocumentSharing::TDocumentSharing() noexcept { TDocumentCache::Instance().Activate(true); }
TDocumentSharing::~TDocumentSharing() { TDocumentCache::Instance().Activate(false); }

}  // namespace svc
