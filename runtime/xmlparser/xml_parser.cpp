#include "runtime/xmlparser/xml_parser.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cstdio>
#include <string_view>
#include <system_error>
#include <utility>

#include "host/hskcore/exception.h"
#include "host/hskcore/os_specific.h"
#include "host/xmlparser/namespace_populator.h"
#include "host/xmlparser/xml_parser.h"
#include "runtime/hskcore/cim_state.h"
#include "runtime/hskcore/host_setup.h"
#include "runtime/xmlparser/document_text.h"
#include "runtime/xmlparser/encoding.h"
#include "runtime/xmlparser/prepared_documents.h"
#include "runtime/xmlparser/xml_reader.h"

namespace svc::xml {

using NQRXHSK20::ICIMNamespace;

namespace {

unsigned ThreadsOf(const TStreaming& how) {
  constexpr unsigned kMost = 4;
  return how.threads != 0 ? how.threads : std::min(kMost, std::thread::hardware_concurrency());
}

// Says where the parts before the last one end, which is all that is to be told there.
class TNextPart final : public ILaterParts {
 public:
  void Begin(const TOutset&) override {}
  bool Take() override { return true; }
};

// Where, from `from` on, the start tag of such an element seems to be. 0 for nowhere near: it is as
// well looked for in vain, since what it is shows when the part before has been read.
std::size_t FindTag(std::FILE* file, std::size_t from, const std::string& name) {
  constexpr std::size_t kNear = TDocumentWindow::kUsual;
  std::string bytes(kNear, '\0');
  if (std::fseek(file, static_cast<long>(from), SEEK_SET) != 0) return 0;
  bytes.resize(std::fread(bytes.data(), 1, kNear, file));
  const std::string begin = "<" + name;
  std::size_t found = bytes.find(begin);
  for (; found != bytes.npos; found = bytes.find(begin, found + 1)) {
    const std::size_t behind = found + begin.size();
    if (behind < bytes.size() && std::string_view("> \t\r\n").find(bytes[behind]) != bytes.npos)
      return from + found;
  }
  return 0;
}

}  // namespace

bool IsWorthACopy(const boost::shared_ptr<ICIMNamespace>& target, std::size_t size) {
  constexpr std::size_t kLittle = 4096;
  constexpr std::size_t kBytesOfAPart = 64;
  return WeightOf(target) <= kLittle + size / kBytesOfAPart;
}

TDocumentParts::TDocumentParts(std::string native, TDocumentWindow& window,
                               boost::shared_ptr<ICIMNamespace> target, const TStreaming& how,
                               bool isWholeFile)
    : native(std::move(native)),
      window(window),
      target(std::move(target)),
      how(how),
      isWholeFile(isWholeFile) {}

TDocumentParts::~TDocumentParts() {
  isCancelled = true;
  Wait();
}

void TDocumentParts::Wait() {
  for (TPart& part : parts) {
    if (part.thread.joinable()) part.thread.join();
  }
}

// Of the parts behind the first one, each behind the one before.
std::vector<std::size_t> TDocumentParts::PlacesToBegin(const TOutset& outset) const {
  const std::size_t left = window.Size() - outset.offset;
  const std::size_t worth = left / how.smallestPart;
  if (worth < 2) return {};
  const std::size_t count = std::min<std::size_t>(worth, ThreadsOf(how));
  const TFile file = OpenForBlocks(native);
  std::vector<std::size_t> places;
  std::size_t last = outset.offset;
  for (std::size_t i = 1; i < count; ++i) {
    const std::size_t from = std::max(last + 1, outset.offset + left / count * i);
    const std::size_t place = FindTag(file.get(), from, outset.child);
    if (place == 0) break;
    places.push_back(last = place);
  }
  return places;
}

void TDocumentParts::Begin(const TOutset& outset) {
  const std::vector<std::size_t> places = PlacesToBegin(outset);
  size = window.Size();
  if (places.empty() || !IsWorthACopy(target, size)) return;
  for (const std::size_t place : places) {
    if (!parts.empty()) parts.back().end = place;
    parts.emplace_back(target, place);
  }
  parts.back().end = size;
  window.LimitTo(places.front());
  try {
    for (TPart& part : parts)
      part.thread = std::thread([this, &part, outset] { Read(part, outset); });
  } catch (const std::system_error&) {
    // There are no more threads: what is not read so is left to the first one.
  }
}

void TDocumentParts::Read(TPart& part, const TOutset& outset) const noexcept {
  try {
    part.isRead = IsRead(part, outset);
  } catch (...) {
    // Whatever it is, it is met again by who reads on before this part.
  }
}

// What a class adds to those before cannot be told here, where they may not be known yet.
bool TDocumentParts::IsRead(const TPart& part, const TOutset& outset) const {
  const TFile file = OpenForBlocks(native);
  TDocumentWindow itsWindow(file.get(), size, how.window, part.begin, isCancelled);
  const bool isLast = part.end == size;
  if (!isLast) itsWindow.LimitTo(part.end);
  TDocumentText text(itsWindow);
  TXmlReader reader(text);
  TNamespaceWriter writer(part.objects.Objects());
  TCimBuilder builder(reader, writer);
  TNextPart next;
  if (!isLast) builder.LeaveTo(next);
  builder.BuildFrom(outset, isWholeFile);
  if (isLast) itsWindow.ReadToEnd();
  return builder.Classes().empty() && (isLast || builder.IsReadByOthers());
}

bool TDocumentParts::Take() {
  Wait();
  const bool isAllRead =
      std::all_of(parts.begin(), parts.end(), [](const TPart& part) { return part.isRead; });
  if (!isAllRead) {
    window.LiftLimit();
    return false;
  }
  for (TPart& part : parts) part.objects.JoinTo(target);
  return true;
}

}  // namespace svc::xml

namespace NQRXHSK20 {

static void ParseText(TXmlParserState& state, char* text, std::size_t size) {
  try {
    state.Parse(text, size, false);
  } catch (const svc::xml::TDocumentError& error) {
    throw THSKException("line " + std::to_string(error.line) + ": " + error.what(), error.status);
  }
}

void TXmlParser::Parse(char* text) {
  if (!text) throw THSKException("there is no document to parse", THSKStatusCode::kFailed);
  ParseText(*state, text, svc::BlockSize(text));
}

TCIMXMLParser::TCIMXMLParser(boost::shared_ptr<ICIMNamespace> target)
    : TXmlParser(boost::make_shared<TXmlParserState>()) {
  state->target = std::move(target);
}

void TCIMXMLParser::SetSV402Mode() { state->dialect = svc::xml::EDialect::kCatalogue402; }

std::vector<boost::shared_ptr<ICIMClass>> TCIMXMLParser::GetClassesCollected() const {
  return state->ClassesCollected();
}

using svc::xml::TDocumentCache;
using svc::xml::TDocumentText;
using svc::xml::TFileBytes;

constexpr std::size_t kMaxSize = TCIMXMLParser::kMaxSpecificationDocumentSize;

// Where the text ends in a block that is zeroed behind it.
static char* EndOfText(char* begin, char* end) {
  while (end != begin && end[-1] == 0) --end;
  return end;
}

void TXmlParserState::Parse(char* text, std::size_t size, bool isWholeFile) {
  svc::TPreparedDocuments* const prepared = svc::TPreparedDocuments::Active();
  const std::string file =
      prepared == nullptr || isWholeFile ? std::string() : prepared->FileOf({text, size});
  if (file.empty()) return ParsePlainly(text, size, isWholeFile);
  if (auto known = prepared->Redeem({text, size}, target, dialect)) {
    classes = *std::move(known);
    return;
  }
  const TFileBytes whole = svc::xml::ReadNativeFile(file);
  ParsePlainly(whole.bytes.get(), whole.size, isWholeFile);
}

void TXmlParserState::ParsePlainly(char* text, std::size_t size, bool isWholeFile) {
  TDocumentCache* const cache = TDocumentCache::Active();
  if (cache != nullptr && svc::TakesSharedStates(target)) {
    ParseOnce(*cache, text, size, isWholeFile);
  } else {
    ParseAnew(text, size, isWholeFile);
  }
}

// Where documents are shared, their bytes are wanted, by which they are known again.
bool TXmlParserState::Stream(const std::string& path) {
  if (TDocumentCache::Active() != nullptr) return false;
  const svc::TPreparedDocuments* const prepared = svc::TPreparedDocuments::Active();
  const svc::xml::TStreaming how = prepared == nullptr ? svc::xml::TStreaming() : prepared->How();
  auto streamed = svc::xml::Stream(target, TOSSpecific::NativePath(path), dialect, true, how);
  if (!streamed) return false;
  classes = std::move(streamed->classes);
  return true;
}

// Shares what an earlier parse of the same document, upon the same contents, has made.
void TXmlParserState::ParseOnce(TDocumentCache& cache, char* text, std::size_t size,
                                bool isWholeFile) {
  std::string_view bytes(text, size);
  // What of a block is behind the document is no part of it.
  if (!isWholeFile) bytes = bytes.substr(0, bytes.find_last_not_of('\0') + 1);
  const svc::TSharedStateHandle before = svc::SharedStateOf(target);
  const TDocumentCache::TKey key{before.get(), svc::xml::DigestOf(bytes), dialect, isWholeFile};
  if (auto parsed = cache.Find(key)) {
    svc::AdoptState(target, parsed->after);
    classes = std::move(parsed->classes);
    return;
  }
  ParseAnew(text, size, isWholeFile);
  cache.Add(key, before, {svc::ShareState(target), classes});
}

// A block may be larger than the document in it, so that a document is known to be too large only
// when it does not end within the limit.
void TXmlParserState::ParseAnew(char* text, std::size_t size, bool isWholeFile) {
  classes.clear();
  const bool isCut = size > kMaxSize;
  svc::xml::TUtf8Document document = svc::xml::ToUtf8(text, text + std::min(size, kMaxSize));
  if (!isWholeFile) document.end = EndOfText(document.begin, document.end);
  TDocumentText documentText(document.begin, document.end, isCut);
  if (isWholeFile && isCut) documentText.FailAtEnd();
  svc::xml::TXmlReader reader(documentText);
  svc::TNamespaceWriter writer(target);
  svc::xml::TCimBuilder builder(reader, writer);
  builder.Build(dialect, isWholeFile);
  classes = builder.Classes();
}

std::vector<boost::shared_ptr<ICIMClass>> TXmlParserState::ClassesCollected() const {
  std::vector<boost::shared_ptr<ICIMClass>> handles;
  if (classes.empty()) return handles;
  const svc::TNamespaceWriter writer(target);
  for (const svc::TClassId id : classes) handles.push_back(writer.ClassHandle(id));
  return handles;
}

namespace {

// A file that a plug-in loads again for each query, as its definitions, where documents are shared:
// what was read of it holds as long as nobody writes to it.
class TLoadedAgain {
 public:
  // Only looks at files while documents are prepared for a plug-in.
  TLoadedAgain(TXmlParserState& state, const std::string& path) : state(state) {
    cache = svc::TPreparedDocuments::Active() == nullptr ? nullptr : TDocumentCache::Active();
    if (cache == nullptr || !svc::TakesSharedStates(state.target)) return;
    native = TOSSpecific::NativePath(path);
    stamp = svc::FileStamp(native);
    before = svc::SharedStateOf(state.target);
  }

  bool Take() {
    const auto parsed = stamp.empty() ? std::nullopt : cache->Find(Key());
    if (!parsed) return false;
    svc::AdoptState(state.target, parsed->after);
    state.classes = parsed->classes;
    return true;
  }
  void Keep() {
    if (stamp.empty() || svc::FileStamp(native) != stamp) return;
    cache->Add(Key(), before, {svc::ShareState(state.target), state.classes});
  }

 private:
  TDocumentCache::TKey Key() const {
    return {before.get(), TDocumentCache::NameOfFile(native + '\0' + stamp), state.dialect, true};
  }

  TXmlParserState& state;
  TDocumentCache* cache;
  std::string native;
  std::string stamp;  // When it was looked at; empty where it is read each time.
  svc::TSharedStateHandle before;
};

}  // namespace

std::vector<boost::shared_ptr<ICIMClass>> TNamespacePopulator::PopulateFromXMLFile(
    boost::shared_ptr<ICIMNamespace> target, const std::string& path) {
  TXmlParserState state;
  state.target = std::move(target);
  svc::TPreparedDocuments* const prepared = svc::TPreparedDocuments::Active();
  if (prepared != nullptr) prepared->Follow(state.target);
  TLoadedAgain again(state, path);
  if (again.Take() || state.Stream(path)) return state.ClassesCollected();
  svc::xml::TFileBytes file = svc::xml::ReadFileOrPipe(path);
  try {
    state.ParsePlainly(file.bytes.get(), file.size, true);
  } catch (const svc::xml::TDocumentError& error) {
    throw THSKException(path + ":" + std::to_string(error.line) + ": " + error.what(),
                        error.status);
  } catch (const THSKException& error) {
    throw THSKException(path + ": " + error.GetMessageText(), error.GetStatusCode());
  }
  again.Keep();
  return state.ClassesCollected();
}

}  // namespace NQRXHSK20

namespace svc::xml {

void ParseInPlace(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target, std::string document) {
  NQRXHSK20::TXmlParserState state;
  state.target = target;
  NQRXHSK20::ParseText(state, document.data(), document.size());
}

}  // namespace svc::xml
