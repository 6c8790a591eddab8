#include "runtime/xmlparser/member_plan.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string>

#include "base/shown_text.h"
#include "runtime/hskcore/name_table.h"
#include "runtime/xmlparser/encoding.h"

namespace svc::xml {

namespace {

// Up to this number each name is compared with each other, which needs no memory.
constexpr std::size_t kFewAttributes = 12;

class TTagReader {
 public:
  TTagReader(TDocumentText& text, char* tag, std::vector<TAttribute>& attributes)
      : text(text), tag(tag), at(tag + 1), attributes(attributes) {}

  TTagForm Read() {
    attributes.clear();
    form.nameLength = TakeName("'<' begins no tag; a plain one is written &lt;");
    while (TakeAttribute()) {
    }
    form.isEmpty = Here() == '/';
    if (form.isEmpty) ++at;
    if (Here() != '>') text.Fail(at, "malformed start tag \"" + TagName() + "\"");
    form.length = Offset(at + 1);
    if (const TAttribute* twice = FindDuplicate(attributes, tag))
      text.Fail(tag, "attribute \"" + CutName(twice->Name(tag)) + "\" written twice");
    return form;
  }

 private:
  char Here() const { return Here(at); }
  char Here(const char* place) const {
    if (place == text.End()) text.FailAtEnd();
    return *place;
  }
  std::uint32_t Offset(const char* place) const { return static_cast<std::uint32_t>(place - tag); }
  std::string TagName() const { return CutName({tag + 1, form.nameLength}); }
  bool TakeBlanks() {
    char* const before = at;
    at += SkipBlanks(at, text.End()) - at;
    return at != before;
  }

  std::uint32_t TakeName(const char* complaint) {
    char* const before = at;
    at += SkipName(at, text.End()) - at;
    if (at == before) {
      Here();
      text.Fail(at, complaint);
    }
    return static_cast<std::uint32_t>(at - before);
  }

  // False where the tag ends.
  bool TakeAttribute() {
    const bool isApart = TakeBlanks();
    const char c = Here();
    if (c == '>' || c == '/') return false;
    if (!isApart) text.Fail(at, "malformed start tag \"" + TagName() + "\"");
    TAttribute attribute{};
    attribute.name = Offset(at);
    attribute.nameLength = TakeName("malformed name of an attribute");
    TakeBlanks();
    if (Here() != '=') text.Fail(at, "an attribute lacks its value");
    ++at;
    TakeBlanks();
    TakeValue(attribute);
    attributes.push_back(attribute);
    return true;
  }

  void TakeValue(TAttribute& attribute) {
    const char quote = Here();
    if (quote != '"' && quote != '\'') text.Fail(at, "the value of an attribute lacks its quotes");
    TRewrite rewrite(at + 1);
    text.Open(rewrite);
    while (Here(rewrite.in) != quote) TakeValueByte(rewrite);
    attribute.value = Offset(rewrite.begin);
    attribute.valueLength = static_cast<std::uint32_t>(rewrite.out - rewrite.begin);
    if (rewrite.in != rewrite.out || rewrite.lineEnds != 0) form.isWritten = false;
    text.Close();
    at = rewrite.in + 1;
  }

  // One character, reference or line end (XML 1.0, section 3.3.3).
  void TakeValueByte(TRewrite& value) {
    const char c = *value.in;
    if (c == '<') text.Fail(value.in, "'<' is not allowed in the value of an attribute");
    if (c == '&') {
      value.in += ReadReference(text, value.in, value.out) - value.in;
    } else if (c == '\n' || c == '\t' || c == '\r') {
      const bool isPair = c == '\r' && text.End() - value.in > 1 && value.in[1] == '\n';
      value.in += isPair ? 2 : 1;
      value.lineEnds += c != '\t';
      *value.out++ = ' ';
    } else if (static_cast<signed char>(c) >= 0x20) {
      *value.out++ = *value.in++;
    } else {
      TakeHighCharacter(value);
    }
  }

  void TakeHighCharacter(TRewrite& value) {
    const char* const next = SkipUtf8(value.in, text.End());
    if (next == value.in) text.FailAtByte(value.in);
    while (value.in != next) *value.out++ = *value.in++;
  }

  TDocumentText& text;
  char* const tag;
  char* at;
  std::vector<TAttribute>& attributes;
  TTagForm form{0, 0, false, true};
};

const TAttribute* FindDuplicateOfMany(std::span<const TAttribute> attributes, const char* tag) {
  std::vector<std::uint32_t> table(std::bit_ceil(attributes.size() * 2));  // Number + 1, or 0.
  const std::size_t mask = table.size() - 1;
  for (std::size_t i = 0; i < attributes.size(); ++i) {
    const std::string_view name = attributes[i].Name(tag);
    std::size_t slot = HashText(name, HashSeed()) & mask;
    for (; table[slot]; slot = (slot + 1) & mask)
      if (attributes[table[slot] - 1].Name(tag) == name) return &attributes[i];
    table[slot] = static_cast<std::uint32_t>(i + 1);
  }
  return nullptr;
}

}  // namespace

TTagForm ReadTag(TDocumentText& text, char* at, std::vector<TAttribute>& attributes) {
  return TTagReader(text, at, attributes).Read();
}

const TAttribute* FindDuplicate(std::span<const TAttribute> attributes, const char* tag) {
  if (attributes.size() > kFewAttributes) return FindDuplicateOfMany(attributes, tag);
  for (const TAttribute& later : attributes)
    for (const TAttribute* earlier = attributes.data(); earlier != &later; ++earlier)
      if (earlier->Name(tag) == later.Name(tag)) return &later;
  return nullptr;
}

void TWrapping::Learn(std::string_view newLead, std::string_view newTrail) {
  if (newLead.size() > kMaxLead || newTrail.size() > kMaxTrail) return;
  leadLength = static_cast<std::uint32_t>(newLead.copy(lead, kMaxLead));
  trailLength = static_cast<std::uint32_t>(newTrail.copy(trail, kMaxTrail));
}

std::size_t TTagMemory::SlotOf(const char* at, std::size_t length) const {
  const std::size_t first = HashText({at, length}, HashSeed());
  std::size_t place = first % kSlots;
  for (std::size_t probe = 0; probe < kProbes; ++probe) {
    const std::size_t slot = (first + probe) % kSlots;
    if (slots[slot] == nullptr) {
      place = slot;
    } else if (slots[slot]->Is({at, length})) {
      return slot;
    }
  }
  return place;
}

TKnownTag& TTagMemory::NewTag() {
  if (count % kBlock == 0) blocks.push_back(std::make_unique<TKnownTag[]>(kBlock));
  return blocks.back()[count++ % kBlock];
}

TKnownTag* TTagMemory::Find(const char* at, const char* end) const {
  const std::size_t left = std::min(static_cast<std::size_t>(end - at), TKnownTag::kMaxLength);
  const void* close = std::memchr(at, '>', left);
  if (!close) return nullptr;
  const auto length = static_cast<std::size_t>(static_cast<const char*>(close) - at) + 1;
  TKnownTag* const known = slots[SlotOf(at, length)];
  return known != nullptr && known->Is({at, length}) ? known : nullptr;
}

TKnownTag* TTagMemory::Add(const char* at, const TTagForm& form,
                           std::span<const TAttribute> attributes) {
  if (!form.isWritten || form.length > TKnownTag::kMaxLength ||
      attributes.size() > TKnownTag::kMaxAttributes ||
      std::memchr(at, '>', form.length) != at + form.length - 1)
    return nullptr;
  TKnownTag*& slot = slots[SlotOf(at, form.length)];
  if (slot == nullptr) slot = &NewTag();
  *slot = TKnownTag{};
  std::memcpy(slot->bytes, at, form.length);
  slot->form = form;
  slot->attributeCount = static_cast<std::uint32_t>(attributes.size());
  std::copy(attributes.begin(), attributes.end(), slot->attributes);
  return slot;
}

namespace {

// Cuts markup off the front of a text.
class TCut {
 public:
  explicit TCut(std::string_view text) : rest(text) {}

  std::string_view Rest() const { return rest; }
  bool Blanks() {
    const char* const end = rest.data() + rest.size();
    rest.remove_prefix(static_cast<std::size_t>(SkipBlanks(rest.data(), end) - rest.data()));
    return true;
  }
  bool Word(std::string_view word) {
    if (!rest.starts_with(word)) return false;
    rest.remove_prefix(word.size());
    return true;
  }
  bool Tag(const TKnownTag& tag) { return Word({tag.bytes, tag.form.length}); }
  // What was cut off since `before`.
  std::string_view Since(std::string_view before) const {
    return before.substr(0, before.size() - rest.size());
  }
  // Up to the next '<', or to the end.
  void Text() { rest.remove_prefix(std::min(rest.find('<'), rest.size())); }

 private:
  std::string_view rest;
};

constexpr std::string_view kValue = "<VALUE>";
constexpr std::string_view kValueEnd = "</VALUE>";

bool CutLead(TCut& cut, const TMemberPlan::TRead& read) {
  if (!cut.Blanks() || !cut.Tag(*read.tag) || !cut.Blanks()) return false;
  if (read.isArray && !(cut.Word("<VALUE.ARRAY>") && cut.Blanks())) return false;
  return cut.Word(kValue);
}

bool CutTrail(TCut& cut, bool isArray) {
  if (!cut.Word(kValueEnd) || !cut.Blanks()) return false;
  if (!isArray) return cut.Word("</PROPERTY>");
  return cut.Word("</VALUE.ARRAY>") && cut.Blanks() && cut.Word("</PROPERTY.ARRAY>");
}

// From one element to the next.
bool CutBetween(TCut& cut) { return cut.Word(kValueEnd) && cut.Blanks() && cut.Word(kValue); }

}  // namespace

bool TMarkup::Set(std::string_view markup) {
  if (markup.size() > kMost) return false;
  length = static_cast<std::uint32_t>(markup.copy(bytes, kMost));
  return true;
}

void TMember::Follow(TMember* member) {
  auto* const place = std::find(next.begin(), next.end() - 1, member);
  std::copy_backward(next.begin(), place, place + 1);
  next[0] = member;
}

TMember* TMemberPlan::TakeUnlikely(const char* at) {
  for (TMember* const member : std::span(last->next).subspan(1)) {
    if (member == nullptr) return nullptr;
    if (!member->lead.StandsAt(at)) continue;
    last->Follow(member);
    ++taken;
    return last = member;
  }
  return nullptr;
}

void TMemberPlan::Learn(const TRead& read) {
  TMember* const before = last;
  last = &root;
  if (read.tag == nullptr || read.tag->form.isEmpty || read.bytes.size() > kLargest) return;
  if (++tries > kFirstTries + taken) return;
  TCut cut(read.bytes);
  if (!CutLead(cut, read)) return;
  const std::string_view lead = cut.Since(read.bytes);
  std::string_view between;
  cut.Text();
  for (TCut further = cut; read.isArray && CutBetween(further); further = cut) {
    const std::string_view here = further.Since(cut.Rest());
    if (!between.empty() && here != between) return;
    between = here;
    further.Text();
    cut = further;
  }
  const std::string_view trail = cut.Rest();
  if (!CutTrail(cut, read.isArray) || !cut.Rest().empty()) return;
  TMember* const member = FindOrAdd(read, lead, trail);
  if (member == nullptr || !(member->between.IsEmpty() || member->between.View() == between))
    return;
  member->between.Set(between);
  before->Follow(member);
  last = member;
}

TMember* TMemberPlan::FindOrAdd(const TRead& read, std::string_view lead, std::string_view trail) {
  const auto known = std::find_if(members.begin(), members.end(), [&](const auto& member) {
    return member->lead.View() == lead && member->trail.View() == trail;
  });
  if (known != members.end()) return known->get();
  if (members.size() == kMostMembers) return nullptr;
  auto member = std::make_unique<TMember>();
  if (!member->lead.Set(lead) || !member->trail.Set(trail)) return nullptr;
  member->step = {read.number, {read.type, read.isArray, false}};
  member->tag = read.tag;
  return members.emplace_back(std::move(member)).get();
}

void TMemberPlan::LearnGap(std::string_view bytes, std::string_view holder, const TKnownTag& tag) {
  const std::string name(holder);
  TCut cut(bytes);
  const bool isUsual = cut.Blanks() && cut.Word("</INSTANCE>") && cut.Blanks() &&
                       cut.Word("</" + name + ">") && cut.Blanks() && cut.Word("<" + name + ">") &&
                       cut.Blanks() && cut.Tag(tag) && cut.Rest().empty();
  if (!isUsual || tag.form.isEmpty || !gap.Set(bytes)) ForgetGap();
}

}  // namespace svc::xml
