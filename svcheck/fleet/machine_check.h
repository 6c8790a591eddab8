// One machine of a fleet, as it goes from whoever reads the inventories to whoever compares it and
// back: the frames that carry it, its check, and what a query passed over in its inventory.
#pragma once

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/hskcore/cim.h"
#include "report/model.h"
#include "report/waivers.h"
#include "runtime/hskcore/cim_state.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/xmlparser/prepared_documents.h"
#include "svcheck/session/query_session.h"
#include "svcheck/system/process.h"

namespace svc::fleet {

struct TTask {
  enum class EInventory : char {
    kFile,      // `text` is the path of a CIM-XML file, which may be compressed.
    kDocument,  // `text` is a CIM-XML document.
    kNone       // There is none; `text` says why.
  };

  std::string machine;
  EInventory inventory = EInventory::kFile;
  std::string text;
  bool wantsReads = false;  // Whether the answer says what of the inventory was read.
};

// What passes between a fleet's program and its workers: texts, each behind its length. Pure
// functions.

using TLength = std::uint64_t;

inline void AppendLength(std::string& bytes, TLength length) {
  bytes.append(reinterpret_cast<const char*>(&length), sizeof length);
}

inline void AppendFrame(std::string& bytes, std::string_view text) {
  AppendLength(bytes, text.size());
  bytes += text;
}

// Takes the first text off the bytes; none when it is not whole.
inline std::optional<std::string_view> TakeFrame(std::string_view& bytes) {
  TLength length = 0;
  if (bytes.size() < sizeof length) return {};
  std::memcpy(&length, bytes.data(), sizeof length);
  if (bytes.size() - sizeof length < length) return {};
  const std::string_view text = bytes.substr(sizeof length, length);
  bytes.remove_prefix(sizeof length + length);
  return text;
}

// The length that unfinished bytes announce; 0 as long as it is not there.
inline TLength AnnouncedLength(std::string_view bytes) {
  TLength length = 0;
  if (bytes.size() >= sizeof length) std::memcpy(&length, bytes.data(), sizeof length);
  return length;
}

inline std::string FrameOfTask(const TTask& task) {
  const std::size_t body = 2 + 2 * sizeof(TLength) + task.machine.size() + task.text.size();
  std::string frame;
  frame.reserve(sizeof(TLength) + body);
  AppendLength(frame, body);
  frame += static_cast<char>(task.inventory);
  frame += static_cast<char>(task.wantsReads);
  AppendFrame(frame, task.machine);
  AppendFrame(frame, task.text);
  return frame;
}

// REQUIRES: a body that FrameOfTask made.
inline TTask TaskOfBody(std::string_view body) {
  TTask task;
  task.inventory = static_cast<TTask::EInventory>(body[0]);
  task.wantsReads = body[1] != 0;
  body.remove_prefix(2);
  task.machine = TakeFrame(body).value();
  task.text = TakeFrame(body).value();
  return task;
}

// An answer is lines, which hold no null character, and behind one, where they were wanted, the
// bytes of TInventoryReads.
inline constexpr char kBeforeReads = '\0';

struct TAnswerParts {
  std::string_view lines;
  std::string_view reads;  // Empty for none.
};

inline TAnswerParts PartsOf(std::string_view answer) {
  const std::size_t end = answer.find(kBeforeReads);
  if (end == answer.npos) return {answer, {}};
  return {answer.substr(0, end), answer.substr(end + 1)};
}

// Which update elements the plug-in passes over. It chooses them by what they say of themselves, by
// the machine's type and by its operating system, and of each that it takes up it reads what is
// offered. What it passed over for one machine it need not see for the next one of that kind. Used
// by one thread.

// All of an inventory that elements are chosen by, as one text: the same for machines of one kind.
// None when it is told in a form that texts do not tell apart.
std::optional<std::string> KindOf(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& inventory);

// What one query reads of the update elements.
class TElementReads : public IReadObserver {
 public:
  void OnGetClass(std::string_view /*className*/) override {}
  void OnGetProperty(const NQRXHSK20::ICIMInstance& instance, std::string_view name) override;

  // By number, those of which the query read nothing that is offered. One that is for other
  // machine types and one that is for this one are left to be seen: a query ends in another way
  // where there are none. REQUIRES: the query came to its end.
  std::vector<bool> PassedOver() const;

 private:
  // How far the query went with an element.
  enum class ERead : char { kNothing, kMachineTypes, kChoice, kOffer };
  static ERead ReadOf(std::string_view property);

  std::vector<ERead> reads;  // By the number of the instance.
};

class TPassedOver {
 public:
  // Empty when nothing is known of the kind.
  THiddenInstancesHandle Of(const std::string& kind) const;
  // Takes what a query for a machine of the kind read of the catalogue.
  void Learn(const std::string& kind, const TElementReads& reads,
             const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& catalogue);

 private:
  std::map<std::string, THiddenInstancesHandle> kinds;
};

// The comparison of one machine of a fleet: a query of the plug-in, told as lines of JSON.

struct TCheckSettings {
  TQueryOptions query;    // Without an inventory.
  std::string catalogue;  // The folder.
  std::string logFolder;  // One log a machine; empty for none.
  std::string waivers;    // The file of those that hold for each machine; empty for none.
};

// The lines of records behind the machine's name: machines of a fleet have the same drivers, and
// are offered the same. Each record has one place, which the last one takes that falls there.
class TRecordLines {
 public:
  // Valid until the next call.
  const std::string& Of(const report::TRecord& record);

 private:
  struct TLine {
    std::string type, name, installed, offered;
    report::EVerdict verdict = report::EVerdict::kUnknown;
    std::string rest;  // Empty where there is none yet.
    bool IsOf(const report::TRecord& record) const;
  };

  std::vector<TLine> lines;
  std::string other;  // That is not kept.
};

// Used by one thread; one at a time.
class TMachineCheck {
 public:
  // Loads the plug-in and, by a query for a machine that nothing is offered for, the catalogue.
  // Throws TError (kCatalogue when the catalogue cannot be used).
  explicit TMachineCheck(TCheckSettings settings);

  // A line for each record, then one without a "Type" that says how the comparison ended. Behind
  // them, where the task wants it and the answer is that of every machine of which the same is
  // read, what was read.
  std::string Answer(TTask task);
  // Called where this process does nothing else from here on: what each query would take of the
  // process and give back is taken once, as far as that makes no difference to any.
  void SettleIn();

 private:
  void LoadCatalogue();
  // Of the catalogue, as far as it is known.
  report::TReport EmptyReport() const;
  // Takes the task's text. The elements that are known to make no difference to machines of the
  // same kind are left out.
  // `told` gets what was read, where the task wants it.
  report::TReport Compare(TTask& task, std::string& told);
  bool IsShared(const report::TReport& report) const;
  // Takes the task's text.
  TQueryRequest RequestFor(TTask& task) const;
  // All lines of a machine. Throws TError where they are longer than any that are taken.
  std::string Text(const report::TReport& report, const std::string& machine);

  TCheckSettings settings;
  TQueryRequest request;  // Without an inventory.
  TDocumentSharing sharing;
  std::shared_ptr<TLoadedPlugin> plugin;
  std::optional<std::uint64_t> elements;
  std::vector<std::string> machineTypes;  // That the catalogue is for.
  bool isOwnPlugin = false;               // What others choose elements by, nobody knows.
  TPassedOver passedOver;
  std::vector<report::TWaiver> waivers;
  TRecordLines lines;
  std::size_t usualSize = 0;              // Of an answer, as far as the last one tells.
  std::optional<TCapturedOutput> output;  // Empty where each query takes it.
  std::int64_t began = 0;                 // Seconds since 1970; waivers end by it.
};

// The last line of a machine that has no answer, and why.
std::string FailedAnswer(const std::string& machine, const std::string& cause);

// A file name of a machine's name, the same for the same and another for another; at most 120
// bytes, so that endings have room.
std::string FileNameOf(std::string_view machine);

}  // namespace svc::fleet
