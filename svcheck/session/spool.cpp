#include "svcheck/session/spool.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "rules/names.h"
#include "svcheck/session/record_origins.h"
#include "svcheck/system/failure.h"
#include "svcheck/system/process.h"

using NQRXHSK20::ICIMInstance;
using NQRXHSK20::TSharedText;

namespace svc {

namespace {

// What is kept in memory of entries, and of texts that nobody shares.
constexpr std::size_t kEntriesInMemory = 1 << 16;
constexpr std::size_t kPoolInMemory = 8u << 20;
constexpr std::size_t kWindow = 1 << 10;
constexpr std::size_t kTextsInMemory = std::size_t{1} << 20;

constexpr const char* kRecords = "the records";
constexpr const char* kTold = "what is to be told";

std::string WhyNotPutAside(const char* what) {
  return std::string(what) + " cannot be put aside: " + std::generic_category().message(errno) +
         "; make space in the folder for temporary files, or name another with TMPDIR";
}

// Records that stay in a namespace.
class TStoredRecords : public report::IRecordSource {
 public:
  explicit TStoredRecords(std::vector<boost::shared_ptr<ICIMInstance>> instances)
      : instances(std::move(instances)) {}
  std::size_t Count() const noexcept override { return instances.size(); }
  void Read(std::size_t number, report::TRecord& record) const override {
    const ICIMInstance& instance = *instances[number];
    record = report::TRecord();
    record.type = TextOf(instance, rules::kResultType);
    record.name = TextOf(instance, rules::kResultName);
    record.installed = TextOf(instance, rules::kResultInstalled);
    record.offered = TextOf(instance, rules::kResultOffered);
    AddRelease(instance, record);
  }

 private:
  // What the plug-in for public firmware tells beyond the four texts.
  static void AddRelease(const ICIMInstance& instance, report::TRecord& record) {
    report::TRelease release = {TextOf(instance, "Urgency"), TextOf(instance, "ReleaseDate"),
                                TextOf(instance, "Description")};
    if (!release.urgency.empty() || !release.date.empty() || !release.notes.empty()) {
      record.release = std::move(release);
    }
    using enum report::EVerdict;
    const std::string installedIs = TextOf(instance, "InstalledIs");
    if (installedIs == "older") record.compared = kOutdated;
    if (installedIs == "newer") record.compared = kNewer;
    if (installedIs == "same") record.compared = kCurrent;
  }

  std::vector<boost::shared_ptr<ICIMInstance>> instances;
};

}  // namespace

void TRecordSpool::Take(const IWrittenInstance& instance) {
  if (!failure.empty()) return;
  if (last.size() == kEntriesInMemory) PutAside();
  const TKept* const before = last.empty() ? nullptr : &last.back().type;
  last.push_back(
      {Keep(instance.Text(rules::kResultType), before), Keep(instance.Text(rules::kResultName)),
       Keep(instance.Text(rules::kResultInstalled)), Keep(instance.Text(rules::kResultOffered))});
}

// The committer may keep the exception to itself.
void TRecordSpool::Fail(const std::string& why) {
  failure = why;
  throw TError(failure);
}

void TRecordSpool::Open(TUnnamedFile& file) {
  file.reset(OpenUnnamedFile());
  if (file) return;
  Fail("the records need a file for the meantime, which cannot be made: " +
       std::generic_category().message(errno) +
       "; check the folder for temporary files, or name another with TMPDIR");
}

void TRecordSpool::DemandWhole() const {
  if (!failure.empty()) throw TError(failure);
}

TRecordSpool::TKept TRecordSpool::Keep(const TSharedText& text, const TKept* before) {
  if (before != nullptr && before->isInFile == 0 && ViewOf(*before) == text.View()) return *before;
  if (!text.IsShared() || !text.Owner()) return KeepPooled(text);
  HoldOwner(text.Owner());
  return InMemory(text);
}

TRecordSpool::TKept TRecordSpool::KeepPooled(std::string_view text) {
  constexpr std::size_t kPlace = 64;
  if (text.empty()) return InMemory("");
  if (text.size() + kPlace > kPoolInMemory) return KeepInFile(text);
  if (const std::string_view* const known = pool.Find(text)) return InMemory(*known);
  if (poolSize + text.size() + kPlace > kPoolInMemory) return KeepInFile(text);
  poolSize += text.size() + kPlace;
  char* const begin = poolBytes.Room(text.size());
  std::memcpy(begin, text.data(), text.size());
  poolBytes.Take(begin + text.size());
  const std::string_view kept(begin, text.size());
  pool.Add(kept);
  return InMemory(kept);
}

void TRecordSpool::HoldOwner(const boost::shared_ptr<const void>& owner) {
  if (owner.get() == std::exchange(lastOwner, owner.get())) return;
  if (owners.Find(owner.get()) == nullptr) owners.Add(owner);
}

TRecordSpool::TKept TRecordSpool::KeepInFile(std::string_view text) {
  if (!texts) Open(texts);
  if (std::fwrite(text.data(), 1, text.size(), texts.get()) != text.size()) {
    Fail(WhyNotPutAside(kRecords));
  }
  const TKept kept{textsSize, text.size(), 1};
  textsSize += text.size();
  return kept;
}

void TRecordSpool::PutAside() {
  if (!entries) Open(entries);
  if (std::fwrite(last.data(), sizeof(TEntry), last.size(), entries.get()) != last.size()) {
    Fail(WhyNotPutAside(kRecords));
  }
  inFile += last.size();
  last.clear();
}

const TRecordSpool::TEntry& TRecordSpool::EntryAt(std::size_t number) const {
  if (number >= inFile) return last[number - inFile];
  if (window.empty() || number < windowBegin || number >= windowBegin + window.size()) {
    window.resize(std::min(kWindow, inFile - number));
    windowBegin = number;
    if (!SeekIn(entries.get(), number * sizeof(TEntry)) ||
        std::fread(window.data(), sizeof(TEntry), window.size(), entries.get()) != window.size()) {
      window.clear();
      throw TError(WhyNotPutAside(kRecords));
    }
  }
  return window[number - windowBegin];
}

void TRecordSpool::Fill(std::string& text, const TKept& kept) const {
  const auto size = static_cast<std::size_t>(kept.size);
  if (kept.isInFile == 0) {
    text = ViewOf(kept);
    return;
  }
  text.resize(size);
  if (!SeekIn(texts.get(), kept.place) || std::fread(text.data(), 1, size, texts.get()) != size) {
    throw TError(WhyNotPutAside(kRecords));
  }
}

void TRecordSpool::Read(std::size_t number, report::TRecord& record) const {
  const TEntry entry = EntryAt(number);
  Fill(record.type, entry.type);
  Fill(record.name, entry.name);
  Fill(record.installed, entry.installed);
  Fill(record.offered, entry.offered);
  record.verdict = report::EVerdict::kUnknown;
  record.waived.reset();
  record.expiredWaiver.reset();
  record.release.reset();
  record.compared.reset();
  record.hasSameSource = false;
}

std::shared_ptr<const report::IRecordSource> RecordsOfInstances(
    std::vector<boost::shared_ptr<ICIMInstance>> instances) {
  return std::make_shared<TStoredRecords>(std::move(instances));
}

void TTextSpool::Add(std::string_view text) {
  if (!failure.empty()) return;
  const std::size_t size = text.size();
  last.append(reinterpret_cast<const char*>(&size), sizeof size).append(text);
  if (last.size() > kTextsInMemory) PutAside();
}

void TTextSpool::PutAside() {
  if (!file) file.reset(OpenUnnamedFile());
  if (!file || std::fwrite(last.data(), 1, last.size(), file.get()) != last.size()) {
    failure = WhyNotPutAside(kTold);
    return;
  }
  std::string_view rest = last;
  for (std::size_t size = 0; !rest.empty(); rest.remove_prefix(sizeof size + size)) {
    std::memcpy(&size, rest.data(), sizeof size);
    ++inFile;
  }
  last.clear();
}

void TTextSpool::ForEachInFile(const std::function<void(std::string_view text)>& use) const {
  std::string text;
  if (!SeekIn(file.get(), 0)) throw TError(WhyNotPutAside(kTold));
  for (std::size_t i = 0; i < inFile; ++i) {
    std::size_t size = 0;
    if (std::fread(&size, sizeof size, 1, file.get()) != 1) throw TError(WhyNotPutAside(kTold));
    text.resize(size);
    if (std::fread(text.data(), 1, size, file.get()) != size) throw TError(WhyNotPutAside(kTold));
    use(text);
  }
}

void TTextSpool::ForEach(const std::function<void(std::string_view text)>& use) const {
  if (!failure.empty()) throw TError(failure);
  if (file) ForEachInFile(use);
  std::string_view rest = last;
  for (std::size_t size = 0; !rest.empty(); rest.remove_prefix(sizeof size + size)) {
    std::memcpy(&size, rest.data(), sizeof size);
    use(rest.substr(sizeof size, size));
  }
}

}  // namespace svc
