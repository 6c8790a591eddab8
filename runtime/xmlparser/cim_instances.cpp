// Instances: their members as the plan knows them, and token by token where it does not.
#include <algorithm>
#include <string>

#include "runtime/hskcore/value_text.h"
#include "runtime/xmlparser/byte_scan.h"
#include "runtime/xmlparser/cim_builder.h"

namespace svc::xml {

void TCimBuilder::ReadInstance() {
  instanceClass = writer.BeginInstance(tokens.Required("CLASSNAME"));
  LearnGap();
  isGapUsable = !plan.Gap().IsEmpty() && tokens.Reader().Holder() == gapHolder;
  while (InWindow([&] { return ReadInstanceMembers(); })) {
  }
  writer.Finish();
}

// True where the next instance begins behind this one as ever.
bool TCimBuilder::ReadInstanceMembers() {
  writer.BeginInstance(instanceClass);
  writer.KeepPlace(tokens.Reader().Offset());
  plan.Begin();
  const bool isEmpty = tokens.Reader().IsEmptyElement();
  for (;;) {
    if (!isEmpty) TakeKnownMembers();
    if (!isEmpty && TakeGap()) return true;
    if (!ReadNewMember()) return false;
  }
}

namespace {

// What is looked at behind a place at a stroke: a block of a text, and markup behind it.
constexpr auto kReach = static_cast<std::ptrdiff_t>(kBlockSize + TMarkup::kMost);
constexpr auto kRoom = static_cast<std::ptrdiff_t>(TNamespaceWriter::kRoom - kBlockSize);

}  // namespace

// Where the text that begins at `words` ends; null, and nothing is written, where it or what stands
// behind it is not as it was. So for what follows. `last` is the last place behind which as much
// can be read as is looked at.
inline const char* TCimBuilder::TakeText(TMember& member, const char* words, const char* last) {
  char* const room = writer.RoomForText();
  const char* const stop = CopyText(words, std::min(last - words, kRoom), room);
  const bool isTaken = stop != nullptr && member.trail.StandsAt(stop) &&
                       writer.KeepText(member.step, static_cast<std::size_t>(stop - words));
  return isTaken ? stop : nullptr;
}

inline const char* TCimBuilder::TakeValue(TMember& member, const char* words, const char* last) {
  const char* const stop = FindTextStop(words, last);
  const bool isTaken = member.trail.StandsAt(stop) && writer.KeepValue(member.step, {words, stop});
  return isTaken ? stop : nullptr;
}

inline const char* TCimBuilder::TakeArray(TMember& member, const char* words, const char* last) {
  constexpr std::ptrdiff_t kLongest = 126;  // Whose mark takes one byte.
  if (!TakesAnyText(member.step.form.type)) return nullptr;
  char* const room = writer.RoomForArray();
  const char* const lastRoom = room + kRoom - kLongest - 1;
  char* to = room;
  for (std::uint32_t count = 1; to <= lastRoom && last - words >= kLongest; ++count) {
    const char* const stop = CopyText(words, kLongest, to + 1);
    if (stop == nullptr || stop - words > kLongest) return nullptr;
    *to = static_cast<char>(stop - words + 1);
    to += stop - words + 1;
    if (member.between.IsEmpty() || !member.between.StandsAt(stop)) {
      const bool isTaken =
          member.trail.StandsAt(stop) &&
          writer.KeepArray(member.step, count, static_cast<std::size_t>(to - room));
      return isTaken ? stop : nullptr;
    }
    words = stop + member.between.Length();
  }
  return nullptr;
}

inline const char* TCimBuilder::TakeMember(TMember& member, const char* words, const char* last) {
  if (words > last) return nullptr;
  if (member.step.form.isArray) return TakeArray(member, words, last);
  return TakesAnyText(member.step.form.type) ? TakeText(member, words, last)
                                             : TakeValue(member, words, last);
}

// Members that stand as they did before.
void TCimBuilder::TakeKnownMembers() {
  TXmlReader& reader = tokens.Reader();
  const char* at = reader.Here();
  const char* const end = reader.Document().End();
  const char* const last = end - std::min(kReach, end - at);
  const TMember* taken = nullptr;
  for (TMember* member; at < last && (member = plan.Take(at)) != nullptr; taken = member) {
    const char* const stop = TakeMember(*member, at + member->lead.Length(), last);
    if (stop == nullptr) {
      plan.Begin();
      break;
    }
    at = stop + member->trail.Length();
  }
  if (taken != nullptr) reader.GoOnAt(at, &taken->tag->sibling);
}

bool TCimBuilder::TakeGap() {
  TXmlReader& reader = tokens.Reader();
  const TMarkup& gap = plan.Gap();
  const std::ptrdiff_t left = reader.Document().End() - reader.Here();
  if (!isGapUsable || left < kReach || !gap.StandsAt(reader.Here())) return false;
  writer.Finish();
  reader.GoOnAt(reader.Here() + gap.Length(), &gapTag->child);
  instanceClass = gapClass;
  return true;
}

// False at the end of the instance.
bool TCimBuilder::ReadNewMember() {
  TXmlReader& reader = tokens.Reader();
  memberEnd = reader.Offset();
  newMember.reset();
  if (!ReadMember(false)) return false;
  if (!newMember) {
    plan.Begin();
    return true;
  }
  const std::size_t length = reader.Offset() - memberEnd;
  newMember->bytes = {reader.Here() - length, length};
  plan.Learn(*newMember);
  return true;
}

// Between the last member of the instance before, if it was not taken by the plan, and here, where
// another one begins.
void TCimBuilder::LearnGap() {
  TXmlReader& reader = tokens.Reader();
  const std::size_t length = reader.Offset() - memberEnd;
  const auto seen = static_cast<std::size_t>(reader.Here() - reader.Document().Begin());
  if (length > std::min(seen, TMarkup::kMost) || reader.OpenTag() == nullptr) return;
  gapTag = reader.OpenTag();
  gapHolder = reader.Holder();
  gapClass = instanceClass;
  plan.LearnGap({reader.Here() - length, length}, gapHolder, *gapTag);
}

}  // namespace svc::xml
