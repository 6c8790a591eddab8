#include "runtime/xmlparser/document_parts.h"

#include <algorithm>
#include <cstdio>
#include <string_view>
#include <system_error>
#include <utility>

#include "runtime/hskcore/namespace_writer.h"
#include "runtime/hskcore/shared_state.h"
#include "runtime/xmlparser/document_text.h"
#include "runtime/xmlparser/file_bytes.h"
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
