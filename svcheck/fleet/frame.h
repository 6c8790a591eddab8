// One machine of a fleet, as it goes from whoever reads the inventories to whoever compares it.
#ifndef SVCHECK_FLEET_FRAME_H_
#define SVCHECK_FLEET_FRAME_H_

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

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

}  // namespace svc::fleet

#endif  // SVCHECK_FLEET_FRAME_H_
