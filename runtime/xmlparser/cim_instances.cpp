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

// Members that stand as they did before.
void TCimBuilder::TakeKnownMembers() {
  TXmlReader& reader = tokens.Reader();
  const char* const end = reader.Document().End();
  while (TMember* const member = plan.Take(reader.Here(), end)) {
    const char* const words = reader.Here() + member->lead.Length();
    const char* const stop =
        member->isArray ? TakeArray(*member, words) : TakeValue(*member, words);
    if (stop == nullptr) return plan.Begin();
    reader.GoOnAt(stop + member->trail.Length(), &member->tag->sibling);
  }
}

// Where the text that begins at `words` ends; null, and nothing is written, where it or what stands
// behind it is not as it was. So for an array.
const char* TCimBuilder::TakeValue(const TMember& member, const char* words) {
  TXmlReader& reader = tokens.Reader();
  const char* const end = reader.Document().End();
  if (!TakesAnyText(member.type)) {
    const char* const stop = FindTextStop(words, end);
    if (!member.trail.StandsAt(stop, end)) return nullptr;
    reader.PutTokenAt(words);
    writer.WriteValue({member.name, member.number}, member.type, {words, stop});
    return stop;
  }
  char* const room = writer.RoomForText(member.number);
  if (room == nullptr) return nullptr;
  const char* const stop = CopyText(words, end, room, room + TNamespaceWriter::kRoom);
  if (stop == nullptr || !member.trail.StandsAt(stop, end)) return nullptr;
  writer.KeepText(member.number, member.type, static_cast<std::size_t>(stop - words));
  return stop;
}

const char* TCimBuilder::TakeArray(const TMember& member, const char* words) {
  constexpr std::ptrdiff_t kLongest = 126;  // Whose mark takes one byte.
  const char* const end = tokens.Reader().Document().End();
  char* const room = TakesAnyText(member.type) ? writer.RoomForArray(member.number) : nullptr;
  if (room == nullptr) return nullptr;
  char* to = room;
  for (std::uint32_t count = 1;; ++count) {
    const char* const stop = CopyText(words, end, to + 1, room + TNamespaceWriter::kRoom);
    if (stop == nullptr || stop - words > kLongest) return nullptr;
    *to = static_cast<char>(stop - words + 1);
    to += stop - words + 1;
    if (member.between.IsEmpty() || !member.between.StandsAt(stop, end)) {
      if (!member.trail.StandsAt(stop, end)) return nullptr;
      writer.KeepArray(member.number, member.type, count, static_cast<std::size_t>(to - room));
      return stop;
    }
    words = stop + member.between.Length();
  }
}

bool TCimBuilder::TakeGap() {
  TXmlReader& reader = tokens.Reader();
  const TMarkup& gap = plan.Gap();
  if (!isGapUsable || !gap.StandsAt(reader.Here(), reader.Document().End())) return false;
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
