#include "runtime/xmlparser/prepared_documents.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <boost/make_shared.hpp>
#include <cstdio>
#include <filesystem>
#include <random>
#include <sstream>

#include "host/xmlparser/xml_parser.h"
#include "runtime/hskcore/name_table.h"
#include "runtime/hskcore/namespace_writer.h"
#include "runtime/xmlparser/document_text.h"
#include "runtime/xmlparser/document_window.h"
#include "runtime/xmlparser/encoding.h"
#include "runtime/xmlparser/xml_reader.h"

namespace svc {

using NQRXHSK20::ICIMNamespace;

namespace xml {

namespace {

using TTarget = boost::shared_ptr<ICIMNamespace>;

bool BeginsPlainly(std::FILE* file) {
  std::array<char, 1024> head;
  const std::size_t length = std::fread(head.data(), 1, head.size(), file);
  return std::ferror(file) == 0 && IsPlainUtf8({head.data(), length});
}

std::vector<TClassId> Build(TDocumentWindow& window, TDocumentParts& parts, const TTarget& target,
                            EDialect dialect, bool isWholeFile) {
  TDocumentText text(window);
  TXmlReader reader(text);
  TNamespaceWriter writer(target);
  TCimBuilder builder(reader, writer);
  builder.LeaveTo(parts);
  builder.Build(dialect, isWholeFile);
  if (!builder.IsReadByOthers()) window.ReadToEnd();
  return builder.Classes();
}

// None where it is not to be streamed. Throws where it cannot be.
std::optional<std::vector<TClassId>> BuildFromFile(const TTarget& target, const std::string& native,
                                                   EDialect dialect, bool isWholeFile,
                                                   const TStreaming& how) {
  const std::string stamp = FileStamp(native);
  if (stamp.empty()) return {};
  const std::uintmax_t size = std::filesystem::file_size(PathOf(native));
  constexpr std::size_t kMaxSize = NQRXHSK20::TCIMXMLParser::kMaxSpecificationDocumentSize;
  if (size == 0 || size > kMaxSize || !IsWorthACopy(target, size)) return {};
  const TFile file = OpenForBlocks(native);
  if (!BeginsPlainly(file.get())) return {};
  TDocumentWindow window(file.get(), static_cast<std::size_t>(size), how.window);
  TDocumentParts parts(native, window, target, how, isWholeFile);
  auto classes = Build(window, parts, target, dialect, isWholeFile);
  if (FileStamp(native) != stamp) return {};
  return classes;
}

}  // namespace

std::optional<TStreamed> Stream(const TTarget& target, const std::string& native, EDialect dialect,
                                bool isWholeFile, const TStreaming& how) noexcept {
  TSharedStateHandle before;
  try {
    before = ShareState(target);
    if (auto classes = BuildFromFile(target, native, dialect, isWholeFile, how)) {
      return TStreamed{*std::move(classes), std::move(before)};
    }
  } catch (...) {
    // Whatever it is, the plain way meets it again, and tells of it.
  }
  if (before) AdoptState(target, before);
  return {};
}

}  // namespace xml

namespace {

using xml::TDocumentCache;
using TTarget = boost::shared_ptr<ICIMNamespace>;

constexpr auto kDialect = xml::EDialect::kCatalogue402;
constexpr std::string_view kTicketStart = "<?svcheck-ticket ";
constexpr std::string_view kTicketEnd = "?>";

constinit std::atomic<TPreparedDocuments*> active{nullptr};

// Nobody can guess it, and no document is one.
std::string MakeTicketText() {
  std::random_device device;
  std::ostringstream ticket;
  ticket << kTicketStart << std::hex;
  for (int word = 0; word < 4; ++word) ticket << '-' << device();
  ticket << kTicketEnd;
  return ticket.str();
}

// The ticket that a text begins with; empty for none.
std::string_view TicketIn(std::string_view text) {
  if (!text.starts_with(kTicketStart)) return {};
  const std::size_t end = text.find(kTicketEnd);
  return end == text.npos ? std::string_view() : text.substr(0, end + kTicketEnd.size());
}

}  // namespace

struct TPreparedDocuments::TTicket {
  explicit TTicket(std::string native)
      : native(std::move(native)), text(MakeTicketText()), file(text) {}

  std::string native;  // The document that it stands for.
  std::string text;
  TMemoryFile file;  // With the text in it.
};

// Where documents are shared, one is prepared time and again: it keeps its ticket.
boost::shared_ptr<const TPreparedDocuments::TTicket> TPreparedDocuments::TicketFor(
    const std::string& native) {
  static boost::shared_ptr<const TTicket> kept;
  if (kept && kept->native == native && TDocumentCache::Active() != nullptr) return kept;
  kept.reset();
  auto ticket = boost::make_shared<const TTicket>(native);
  if (TDocumentCache::Active() != nullptr) kept = ticket;
  return ticket;
}

TPreparedDocuments* TPreparedDocuments::Active() noexcept { return active.load(); }

TPreparedDocuments::TPreparedDocuments(TIsWanted isWanted, unsigned threads)
    : isWanted(std::move(isWanted)), how{.threads = threads}, before(SetFilePreparer(this)) {
  active = this;
}

TPreparedDocuments::~TPreparedDocuments() {
  TakeBackUnread();
  active = nullptr;
  SetFilePreparer(before);
}

void TPreparedDocuments::Prepare(const std::string& path, const std::string& native) noexcept {
  try {
    if (!isWanted(path)) return;
    TakeBackUnread();
    std::erase_if(documents, [&](const auto& entry) { return entry.second.path == path; });
    const auto ticket = TicketFor(native);
    TDocument& document = documents[ticket->text];
    document = {path, native, ticket, {}, {}, {}};
    if (ticket->file.Path().empty() || !Read(document)) documents.erase(ticket->text);
  } catch (...) {
    // It is not prepared then. Where memory has run out, the plain way finds none either.
  }
}

// False where it is not to be prepared.
bool TPreparedDocuments::Read(TDocument& document) const {
  const TTarget filled = target.lock();
  if (!filled) return false;
  TDocumentCache* const cache = TDocumentCache::Active();
  if (cache != nullptr && !TakesSharedStates(filled)) return false;
  document.stamp = cache == nullptr ? FileStamp(document.native) : std::string();
  auto streamed = cache == nullptr ? xml::Stream(filled, document.native, kDialect, false, how)
                                   : ReadShared(*cache, filled, document.native);
  if (!streamed) return false;
  document.streamed = *std::move(streamed);
  document.target = filled;
  return true;
}

std::optional<xml::TStreamed> TPreparedDocuments::ReadShared(TDocumentCache& cache,
                                                             const TTarget& filled,
                                                             const std::string& native) const {
  const TSharedStateHandle held = SharedStateOf(filled);
  const TDocumentCache::TKey key{held.get(), TDocumentCache::NameOfFile(native), kDialect, false};
  if (auto parsed = cache.Find(key)) {
    xml::TStreamed known{std::move(parsed->classes), ShareState(filled)};
    AdoptState(filled, parsed->after);
    return known;
  }
  auto streamed = xml::Stream(filled, native, kDialect, false, how);
  if (streamed) cache.Add(key, held, {ShareState(filled), streamed->classes});
  return streamed;
}

void TPreparedDocuments::TakeBackUnread() {
  for (auto& [ticket, document] : documents) TakeBack(document);
}

void TPreparedDocuments::TakeBack(TDocument& document) {
  if (document.target) AdoptState(document.target, document.streamed.before);
  document.target.reset();
}

std::string TPreparedDocuments::InPlaceOf(const std::string& path) const {
  const auto found = std::find_if(documents.begin(), documents.end(),
                                  [&](const auto& entry) { return entry.second.path == path; });
  return found == documents.end() ? std::string() : found->second.ticket->file.Path();
}

std::string TPreparedDocuments::FileOf(std::string_view text) const {
  const auto found = documents.find(TicketIn(text));
  return found == documents.end() ? std::string() : found->second.native;
}

std::optional<std::vector<TClassId>> TPreparedDocuments::Redeem(std::string_view text,
                                                                const TTarget& parsed,
                                                                xml::EDialect dialect) {
  const auto found = documents.find(TicketIn(text));
  if (found == documents.end()) return {};
  TDocument& document = found->second;
  const bool isAsRead = document.stamp.empty() || document.stamp == FileStamp(document.native);
  if (!document.target || document.target != parsed || dialect != kDialect || !isAsRead) {
    TakeBack(document);
    return {};
  }
  document.target.reset();
  document.streamed.before.reset();
  return std::move(document.streamed.classes);
}

}  // namespace svc

namespace svc::xml {

constexpr std::string_view kFile = "file ";

static constinit std::atomic<int> sharers{0};

static std::uint64_t RandomWord() {
  std::random_device device;
  return (static_cast<std::uint64_t>(device()) << 32) | device();
}

static void AppendHex(std::string& text, std::uint64_t word) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  for (int shift = 60; shift >= 0; shift -= 4) text += kDigits[(word >> shift) & 0xF];
}

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
