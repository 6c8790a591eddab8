#include "svcheck/fleet/unread_texts.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <optional>

#include "rules/names.h"
#include "runtime/hskcore/name_table.h"
#include "svcheck/fleet/machine_check.h"
#include "svcheck/session/record_origins.h"

using namespace NQRXHSK20;

namespace svc::fleet {

constexpr std::string_view kMachineClass = "QRXSG_ComputerSystem";
constexpr std::string_view kSerialNumber = "SerialNumber";
constexpr std::array<std::string_view, 3> kToldOfMachine = {"MachineType", "Manufacturer", "Model"};
constexpr std::array kToldOfSystem = {std::string_view("Caption"), rules::kSystemVersion,
                                      rules::kSystemPlatform};
// No name has one that a document's markup shows as it is.
constexpr char kBetween = '\n';

TInventoryReads::TReadInstance& TInventoryReads::EntryOf(const ICIMInstance& instance) {
  const TRowId number = NumberOf(instance);
  if (number >= instances.size()) instances.resize(number + 1);
  instances[number].instance = &instance;
  return instances[number];
}

TInventoryReads::TNames TInventoryReads::BitOf(std::string_view name) {
  // Whoever reads nearly always asks with the same bytes.
  const auto place = reinterpret_cast<std::uintptr_t>(name.data());
  std::uint8_t& recent = recentNames[(place ^ place >> 6 ^ name.size()) % recentNames.size()];
  if (recent < names.size() && names[recent] == name) return TNames{1} << recent;
  std::size_t number = 0;
  while (number < names.size() && !SameName(names[number], name)) ++number;
  if (number == kMostNames) {
    hasTooMany = true;
    return 0;
  }
  if (number == names.size()) names.emplace_back(name);
  recent = static_cast<std::uint8_t>(number);
  return TNames{1} << number;
}

void TInventoryReads::OnGetProperty(const ICIMInstance& instance, std::string_view name) {
  const TNames bit = BitOf(name);
  EntryOf(instance).read |= bit;
}

void TInventoryReads::AddTold(const boost::shared_ptr<ICIMNamespace>& inventory) {
  const auto machines = InstancesOf(inventory, kMachineClass);
  for (const auto& machine : machines) {
    for (const std::string_view name : kToldOfMachine) OnGetProperty(*machine, name);
    // Of several machines one is told of.
    if (machines.size() != 1) OnGetProperty(*machine, kSerialNumber);
  }
  toldSerial = machines.size() == 1 ? machines.front().get() : nullptr;
  for (const auto& system : InstancesOf(inventory, rules::kSystemClass)) {
    for (const std::string_view name : kToldOfSystem) OnGetProperty(*system, name);
  }
  // Their verdicts go by it.
  for (const auto& driver : InstancesOf(inventory, rules::kDriverClass)) {
    OnGetProperty(*driver, rules::kDriverSource);
  }
}

std::string TInventoryReads::TextOf(TNames read) const {
  std::string text;
  for (std::size_t number = 0; number < names.size(); ++number) {
    if ((read >> number & 1) != 0) text.append(names[number]) += kBetween;
  }
  return text;
}

// The place of the serial number's instance, 0 for none; then names behind the places of all
// instances of which just these were read.
std::string TInventoryReads::Bytes() const {
  std::string bytes;
  if (hasTooMany) return bytes;
  std::map<TNames, std::string> places;
  TLength told = 0;
  for (const TReadInstance& one : instances) {
    if (one.instance == nullptr) continue;
    const auto place = PlaceOf(*one.instance);
    if (!place) return bytes;
    AppendLength(places[one.read], place->offset);
    if (one.instance == toldSerial) told = place->offset;
  }
  AppendLength(bytes, told);
  for (const auto& [read, offsets] : places) {
    AppendFrame(bytes, offsets);
    AppendFrame(bytes, TextOf(read));
  }
  return bytes;
}

namespace {

// What TInventoryReads says.
struct TToldReads {
  std::map<std::size_t, std::string_view> names;  // By the places of their instances.
  std::size_t told = 0;
};

std::optional<TToldReads> ReadsOf(std::string_view bytes) {
  TToldReads reads;
  if (bytes.size() < sizeof(TLength)) return {};
  reads.told = AnnouncedLength(bytes);
  bytes.remove_prefix(sizeof(TLength));
  while (!bytes.empty()) {
    auto places = TakeFrame(bytes);
    const auto names = TakeFrame(bytes);
    if (!places || !names || places->size() % sizeof(TLength) != 0) return {};
    for (; !places->empty(); places->remove_prefix(sizeof(TLength))) {
      reads.names[AnnouncedLength(*places)] = *names;
    }
  }
  return reads;
}

// Places are counted in UTF-8, with lines as they are written.
bool HasPlaces(std::string_view document) {
  if (!document.starts_with('<') || document.find('\r') != document.npos) return false;
  if (!document.starts_with("<?")) return true;
  const std::string_view declaration = document.substr(0, document.find("?>"));
  return declaration.find("encoding") == declaration.npos ||
         declaration.find("UTF-8") != declaration.npos ||
         declaration.find("utf-8") != declaration.npos ||
         declaration.find("US-ASCII") != declaration.npos;
}

bool IsBlank(char c) { return c == ' ' || c == '\n' || c == '\t'; }

// Goes through a well-formed document, tag by tag.
class TUnreadSearch {
 public:
  TUnreadSearch(std::string_view document, const TToldReads& reads)
      : document(document), reads(reads) {}

  // None for a document that has more than elements, texts and comments.
  std::vector<TUnreadText> Find() {
    for (std::size_t at = document.find('<'); at != document.npos; at = document.find('<', at)) {
      const auto behind = Pass(at);
      if (!behind) return {};
      at = *behind;
    }
    const auto told = std::ranges::count_if(found, [](const auto& text) { return text.isTold; });
    return seen == reads.names.size() && told <= 1 ? found : std::vector<TUnreadText>();
  }

 private:
  // Other words nearly always have another last character.
  bool StandsAt(std::size_t at, std::string_view words) const {
    return document.size() - at >= words.size() &&
           document[at + words.size() - 1] == words.back() &&
           document.compare(at, words.size(), words) == 0;
  }

  // Returns where the markup ends that begins here.
  std::optional<std::size_t> Pass(std::size_t at) {
    constexpr std::string_view kComment = "<!--", kCommentEnd = "-->";
    if (StandsAt(at, kComment)) {
      const std::size_t end = document.find(kCommentEnd, at + kComment.size());
      if (end == document.npos) return {};
      return end + kCommentEnd.size();
    }
    const bool isOther = StandsAt(at, "<!") || (StandsAt(at, "<?") && at != 0);
    const std::size_t end = document.find('>', at);
    if (isOther || end == document.npos) return {};
    PassTag(at, end + 1);
    return end + 1;
  }

  void PassTag(std::size_t begin, std::size_t end) {
    constexpr std::string_view kInstance = "<INSTANCE";
    const char behind = begin + kInstance.size() < document.size()
                            ? document[begin + kInstance.size()]
                            : '\0';  // Another name goes on.
    if (StandsAt(begin, kInstance) && (IsBlank(behind) || behind == '>' || behind == '/')) {
      place = document[end - 2] == '/' ? 0 : end;
      const auto known = reads.names.find(end);
      read = known == reads.names.end() ? std::string_view() : known->second;
      seen += known == reads.names.end() ? 0 : 1;
    } else if (place != 0 && StandsAt(begin, "<PROPERTY ")) {
      PassProperty(begin, end);
    } else if (!StandsAt(begin, "<PROPERTY") && !StandsAt(begin, "</PROPERTY") &&
               !StandsAt(begin, "<VALUE") && !StandsAt(begin, "</VALUE")) {
      place = 0;
    }
  }

  void PassProperty(std::size_t begin, std::size_t end) {
    constexpr std::string_view kOpen = "<VALUE>", kClose = "</VALUE>";
    const auto name = NameIn(document.substr(begin, end - begin));
    std::size_t at = BehindBlanks(end);
    if (!name || IsRead(*name) || !StandsAt(at, kOpen)) return;
    at += kOpen.size();
    const std::size_t close = document.find('<', at);
    if (close == document.npos || !StandsAt(close, kClose) ||
        !StandsAt(BehindBlanks(close + kClose.size()), "</PROPERTY>")) {
      return;
    }
    found.push_back({at, close, place == reads.told && SameName(*name, kSerialNumber)});
  }

  // Of a text's property, written as usual.
  static std::optional<std::string_view> NameIn(std::string_view tag) {
    constexpr std::string_view kStart = "<PROPERTY NAME=\"", kRest = "\" TYPE=\"string\">";
    if (!tag.starts_with(kStart)) return {};
    tag.remove_prefix(kStart.size());
    const std::string_view name = tag.substr(0, tag.find('"'));
    if (tag.substr(name.size()) != kRest || name.find('&') != name.npos) return {};
    return name;
  }

  bool IsRead(std::string_view name) const {
    for (std::string_view rest = read; !rest.empty();) {
      const std::string_view one = rest.substr(0, rest.find(kBetween));
      if (SameName(one, name)) return true;
      rest.remove_prefix(one.size() + 1);
    }
    return false;
  }

  std::size_t BehindBlanks(std::size_t at) const {
    while (at < document.size() && IsBlank(document[at])) ++at;
    return at;
  }

  std::string_view document;
  const TToldReads& reads;
  std::vector<TUnreadText> found;
  std::size_t seen = 0;   // Instances of which something was read.
  std::size_t place = 0;  // Of the instance around what comes next, 0 outside.
  std::string_view read;  // The names of its properties that were read.
};

}  // namespace

std::vector<TUnreadText> FindUnread(std::string_view document, std::string_view bytes) {
  const auto reads = ReadsOf(bytes);
  if (!reads || !HasPlaces(document)) return {};
  return TUnreadSearch(document, *reads).Find();
}

bool IsHarmless(std::string_view text) noexcept {
  return std::ranges::all_of(
      text, [](char c) { return c >= ' ' && c <= '~' && c != '<' && c != '>' && c != '&'; });
}

}  // namespace svc::fleet
