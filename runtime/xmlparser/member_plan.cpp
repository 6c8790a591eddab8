#include "runtime/xmlparser/member_plan.h"

#include <algorithm>
#include <span>
#include <string>

namespace svc::xml {

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
  // Up to the next '<', if there is one.
  bool Text() {
    const std::size_t stop = rest.find('<');
    if (stop == rest.npos) return false;
    rest.remove_prefix(stop);
    return true;
  }

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
  while (cut.Text() && read.isArray) {
    TCut further = cut;
    if (!CutBetween(further)) break;
    const std::string_view here = further.Since(cut.Rest());
    if (!between.empty() && here != between) return;
    between = here;
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
