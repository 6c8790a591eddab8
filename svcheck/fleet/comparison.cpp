#include "svcheck/fleet/comparison.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "base/json_writer.h"
#include "runtime/hskcore/host_setup.h"
#include "svcheck/fleet/byte_source.h"
#include "svcheck/fleet/unread_texts.h"

namespace fs = std::filesystem;
namespace svc::fleet {

namespace {

// Each machine that is like another is worth the notes on so many that are like none. Where there
// was none for long, one of so many is still tried.
constexpr int kMostHope = 64;
constexpr int kWorth = 8;
constexpr std::uint64_t kSeldom = 16;

// A file may be written to again within the time in which its system's clock stands still.
constexpr std::chrono::seconds kSettled{2};

constexpr std::string_view kSerialNumber = "serialNumber";

// What a file's contents are known by.
struct TFileState {
  fs::file_time_type time;
  std::uintmax_t size = 0;
  bool operator==(const TFileState&) const = default;
};

std::optional<TFileState> StateOf(const std::string& path) {
  std::error_code error;
  TFileState state;
  state.time = fs::last_write_time(PathOf(path), error);
  if (!error) state.size = fs::file_size(PathOf(path), error);
  if (error) return {};
  return state;
}

std::size_t SharedStart(std::string_view a, std::string_view b) {
  constexpr std::size_t kBlock = 256;
  const std::size_t most = std::min(a.size(), b.size());
  std::size_t at = 0;
  while (most - at >= kBlock && std::memcmp(a.data() + at, b.data() + at, kBlock) == 0) {
    at += kBlock;
  }
  while (at < most && a[at] == b[at]) ++at;
  return at;
}

// How each line of a machine's answer begins.
std::string HeadOf(const std::string& machine) {
  std::string head;
  TJsonWriter(head).Object().Text("machine", machine).End();
  head.pop_back();
  return head;
}

// Whether XML and JSON write it as it is, and an answer tells it at all.
bool IsToldAsItIs(std::string_view text) {
  return !text.empty() && text.front() != ' ' && text.back() != ' ' && IsHarmless(text) &&
         text.find_first_of("\"\\") == text.npos;
}

}  // namespace

// A machine that is being compared.
struct TKeptAnswers::TAsked {
  TTask::EInventory kind = TTask::EInventory::kNone;
  std::string machine;
  std::string text;
  std::string path;                 // Of a file.
  std::optional<TFileState> state;  // As it was read.
};

struct TKeptAnswers::TKept {
  TTask::EInventory kind;
  std::string text;
  std::vector<TUnreadText> unread;
  std::string rests;            // Of the answer's lines, behind their heads.
  std::size_t serialBegin = 0;  // Within the rests; both 0 for one that is not told.
  std::size_t serialEnd = 0;
  std::size_t count = 0;  // Of lines.
  std::shared_ptr<TSummary::TCounted> counted = std::make_shared<TSummary::TCounted>();

  std::size_t Size() const {
    return sizeof *this + text.size() + unread.size() * sizeof unread[0] + rests.size();
  }
  // Whether a machine of such an inventory reads like this one. `serial` gets its serial number
  // where it has another.
  bool IsLike(std::string_view other, std::string_view& serial) const;
  // False for lines that are not all this machine's.
  bool TakeLines(std::string_view lines, const std::string& head);
  // Makes sure that what is told stands in the answer where it is known.
  void FindSerial();
  std::string LinesOf(const std::string& head, std::string_view serial) const;
};

bool TKeptAnswers::TKept::IsLike(std::string_view other, std::string_view& serial) const {
  std::size_t here = 0;
  std::size_t there = 0;
  auto next = unread.begin();
  for (;;) {
    const std::size_t same = SharedStart(std::string_view(text).substr(here), other.substr(there));
    here += same;
    there += same;
    if (here == text.size() && there == other.size()) return true;
    const auto behind =
        std::upper_bound(next, unread.end(), here,
                         [](std::size_t at, const TUnreadText& one) { return at < one.begin; });
    if (behind == next) return false;
    const TUnreadText& differing = *(behind - 1);
    if (here > differing.end) return false;
    const std::size_t begin = there - (here - differing.begin);
    there = other.find('<', begin);
    if (there == other.npos) return false;
    const std::string_view words = other.substr(begin, there - begin);
    if (!(differing.isTold ? IsToldAsItIs(words) : IsHarmless(words))) return false;
    if (differing.isTold) serial = words;
    here = differing.end;
    next = behind;
  }
}

bool TKeptAnswers::TKept::TakeLines(std::string_view lines, const std::string& head) {
  while (const auto line = TakeLine(lines)) {
    if (!line->starts_with(head)) return false;
    rests.append(line->substr(head.size())) += '\n';
    ++count;
  }
  return lines.empty() && !rests.empty();
}

void TKeptAnswers::TKept::FindSerial() {
  const auto told = std::ranges::find_if(unread, [](const auto& one) { return one.isTold; });
  if (told == unread.end()) return;
  const std::string_view words =
      std::string_view(text).substr(told->begin, told->end - told->begin);
  const std::size_t last = rests.rfind('\n', rests.size() - 2) + 1;  // 0 for the only line.
  const auto written = MemberOf(std::string_view(rests).substr(last), kSerialNumber);
  if (written != words || !IsToldAsItIs(words)) {
    unread.erase(told);
    return;
  }
  serialBegin = static_cast<std::size_t>(written->data() - rests.data());
  serialEnd = serialBegin + written->size();
}

std::string TKeptAnswers::TKept::LinesOf(const std::string& head, std::string_view serial) const {
  std::string lines;
  lines.reserve(rests.size() + count * head.size() + serial.size());
  std::size_t last = 0;
  std::string_view rest = rests;
  while (const auto line = TakeLine(rest)) {
    lines += head;
    last = lines.size();
    lines.append(*line) += '\n';
  }
  if (serial.empty()) return lines;
  const std::size_t lastLine = rests.rfind('\n', rests.size() - 2) + 1;
  lines.replace(last + serialBegin - lastLine, serialEnd - serialBegin, serial);
  return lines;
}

TKeptAnswers::TKeptAnswers() : hope(kMostHope) {}
TKeptAnswers::~TKeptAnswers() = default;

bool TKeptAnswers::IsTried() { return hope > 0 || untried++ % kSeldom == 0; }

// With the text of a file. None for an inventory that is not looked at here.
std::optional<TKeptAnswers::TAsked> TKeptAnswers::Prepare(const TTask& task) {
  using enum TTask::EInventory;
  TAsked machine{task.inventory, task.machine, {}, {}, {}};
  if (task.inventory == kDocument && task.text.size() <= kMostText) return machine;
  if (task.inventory != kFile || IsCompressed(task.text)) return {};
  machine.state = StateOf(task.text);
  if (!machine.state || machine.state->size > kMostText) return {};
  try {
    machine.text = ReadDocument(task.text);
  } catch (const std::runtime_error&) {
    return {};  // Whoever compares the machine says why.
  }
  machine.path = task.text;
  return machine;
}

const TKeptAnswers::TKept* TKeptAnswers::FindLike(TTask::EInventory kind, std::string_view text,
                                                  std::string_view& serial) {
  const auto found = std::ranges::find_if(all, [&](const auto& kept) {
    serial = {};
    return kept->kind == kind && kept->IsLike(text, serial);
  });
  if (found == all.end()) return nullptr;
  std::rotate(all.begin(), found, found + 1);
  return all.front().get();
}

std::optional<TKeptAnswers::TFound> TKeptAnswers::Find(std::uint64_t number, TTask& task) {
  if (!IsTried()) return {};
  auto machine = Prepare(task);
  if (!machine) return {};
  const bool isDocument = machine->kind == TTask::EInventory::kDocument;
  std::string_view serial;
  if (const TKept* const like =
          FindLike(machine->kind, isDocument ? task.text : machine->text, serial)) {
    hope = std::min(hope + kWorth, kMostHope);
    return TFound{like->LinesOf(HeadOf(task.machine), serial), like->counted};
  }
  hope = std::max(hope - 1, 0);
  task.wantsReads = true;
  if (isDocument) machine->text = task.text;
  asked.emplace(number, *std::move(machine));
  return {};
}

void TKeptAnswers::Learn(std::uint64_t number, std::string_view lines, std::string_view reads) {
  auto machine = asked.extract(number);
  if (machine.empty() || reads.empty() || lines.size() > kMostText) return;
  TAsked& learned = machine.mapped();
  if (learned.kind == TTask::EInventory::kFile) {
    const auto age = fs::file_time_type::clock::now() - learned.state->time;
    if (age < kSettled || StateOf(learned.path) != learned.state) return;
  }
  // Several that are alike may have been compared at once.
  std::string_view ignored;
  if (FindLike(learned.kind, learned.text, ignored) != nullptr) return;
  TKept kept{learned.kind, std::move(learned.text), {}, {}};
  kept.unread = FindUnread(kept.text, reads);
  if (!kept.TakeLines(lines, HeadOf(learned.machine))) return;
  kept.FindSerial();
  Keep(std::move(kept));
}

void TKeptAnswers::Keep(TKept kept) {
  bytes += kept.Size();
  all.insert(all.begin(), std::make_unique<TKept>(std::move(kept)));
  while (all.size() > kMostKept || bytes > kMostBytes) {
    bytes -= all.back()->Size();
    all.pop_back();
  }
}

// --- All machines of a run ---

void TComparison::Run() {
  bool isMore = true;
  while (isMore || !workers.IsIdle()) {
    while (isMore && workers.HasRoom() && given - written < mostAhead) {
      // Whoever writes slowly gets each answer before the next machine is there.
      if (!workers.IsIdle() && !machines.IsReady()) break;
      isMore = Begin();
    }
    if (!workers.IsIdle()) Receive(workers.Wait());
  }
}

bool TComparison::Begin() {
  auto task = machines.Next();
  if (!task) return false;
  TWaiting& machine = waiting.emplace_back();
  machine.machine = task->machine;
  auto known = isShared ? kept.Find(given, *task) : std::nullopt;
  if (known) {
    machine.answer = std::move(known->lines);
    machine.counted = std::move(known->counted);
    ++given;
    Deliver();
  } else {
    workers.Give(given++, *std::move(task));
  }
  return true;
}

void TComparison::Receive(TAnswer answer) {
  const TAnswerParts parts = PartsOf(answer.text);
  if (isShared) kept.Learn(answer.number, parts.lines, parts.reads);
  answer.text.resize(parts.lines.size());
  waiting[answer.number - written].answer = std::move(answer.text);
  Deliver();
}

void TComparison::Deliver() {
  for (; !waiting.empty() && waiting.front().answer; ++written) {
    const TWaiting& first = waiting.front();
    machines.Take(first.machine, *first.answer, first.counted.get());
    waiting.pop_front();
  }
}

}  // namespace svc::fleet
