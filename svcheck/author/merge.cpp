// `svcheck catalogue build --merge`: changes a catalogue where it offers something in an older
// version, and adds what it does not offer. Everything else stays as it is written, byte for byte.
#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "base/error.h"
#include "report/text.h"
#include "report/version.h"
#include "rules/names.h"
#include "svcheck/author/new_element.h"
#include "svcheck/author/update.h"

namespace svc::catalogue {

namespace {

struct TEdit {
  TSpan span;
  std::string text;
};

using TTextSet = std::set<std::string_view>;

TTextSet SystemsOf(const TUpdate& update) {
  const auto& values = update.Values(rules::kUpdateSystems);
  return {values.begin(), values.end()};
}

// Whether the offered element is for every machine and system that the older one is for.
bool Covers(const TUpdate& offered, const TUpdate& older) {
  const TTextSet systems = SystemsOf(offered);
  const TTextSet olderSystems = SystemsOf(older);
  return !older.machineTypes->empty() &&
         std::includes(offered.machineTypes->begin(), offered.machineTypes->end(),
                       older.machineTypes->begin(), older.machineTypes->end()) &&
         std::includes(systems.begin(), systems.end(), olderSystems.begin(), olderSystems.end());
}

// The property where the element writes it itself, as one text; otherwise null.
const TProperty* OwnText(const TUpdate& update, std::string_view name) {
  const auto& properties = update.element->properties;
  const auto own = std::find_if(properties.begin(), properties.end(), [&](const auto& property) {
    return EqualWords(property->name, name);
  });
  const bool isText = own != properties.end() && !(*own)->isArray && (*own)->value.end != 0;
  return isText ? own->get() : nullptr;
}

bool IsWindows(std::string_view driver) { return Lowered(driver).ends_with(".sys"); }

// What changes in an element's list of driver files.
struct TList {
  std::vector<TEdit> versions;
  std::string behind;
  std::set<std::string> replaced;  // The drivers that have a new version,
  TTextSet sources;                // and what these were built of.
};

// What a catalogue offers, by component, machine type and the name of a driver: so that what is
// added is compared with what may be the same, however much else there is. Refers to the updates.
class TOlderVersions {
 public:
  struct TVersion {
    std::size_t number;  // In the catalogue's order.
    const TUpdate* update;
    const TDriverEntry* entry;  // Of a list of drivers; otherwise null.
  };
  using TVersions = std::vector<TVersion>;

  // `offered` are all that are asked for later.
  TOlderVersions(const std::vector<TUpdate>& updates, const std::vector<TUpdate>& offered) {
    for (const TUpdate& update : offered) {
      for (const TDriverEntry& entry : *update.drivers) wanted.insert(NameOf(update, entry));
    }
    for (const TUpdate& update : updates) {
      if (!update.machineTypes->empty()) Add(update);
    }
  }

  // In the catalogue's order, with machine types of which the offered one has the first; there may
  // be others that it has not.
  TVersions Firmware(const TUpdate& offered) { return Find(offered, FirmwareOf(offered)); }
  TVersions Drivers(const TUpdate& offered, const TDriverEntry& entry) {
    return Find(offered, NameOf(offered, entry));
  }
  TVersions Lists(const TUpdate& offered) { return Find(offered, kList); }

 private:
  static constexpr const char* kList = "list";
  static constexpr std::size_t kMostCompared = 1'000'000;

  static std::string NameOf(const TUpdate& update, const TDriverEntry& entry) {
    return "driver " + (update.IsAdapter() ? Lowered(entry.name) : ComparedName(entry.name));
  }
  static std::string FirmwareOf(const TUpdate& update) {
    return update.isBios ? "bios" : "firmware";
  }
  static std::string KeyOf(const TUpdate& update, const std::string& what,
                           const std::string& machineType) {
    return fmt::format("{} {} {}{}", static_cast<int>(update.component), machineType.size(),
                       machineType, what);
  }

  void Add(const TUpdate& update) {
    const auto add = [&](const std::string& what, const TDriverEntry* entry) {
      TVersions& versions = known[KeyOf(update, what, *update.machineTypes->begin())];
      versions.push_back({count++, &update, entry});
    };
    if (update.ReadsVersion()) add(FirmwareOf(update), nullptr);
    if (update.IsAdapter()) add(kList, nullptr);
    for (const TDriverEntry& entry : *update.drivers) {
      const std::string name = NameOf(update, entry);
      if (wanted.count(name) > 0) add(name, &entry);
    }
  }

  TVersions Find(const TUpdate& offered, const std::string& what) {
    TVersions found;
    for (const std::string& type : *offered.machineTypes) {
      const auto versions = known.find(KeyOf(offered, what, type));
      if (versions == known.end()) continue;
      found.insert(found.end(), versions->second.begin(), versions->second.end());
    }
    compared += found.size();
    if (compared > kMostCompared) {
      throw TError(
          fmt::format("the catalogue and what is added to it offer the same to the same machines "
                      "more than {} times; leave out what is there over and over",
                      kMostCompared),
          EErrorKind::kCatalogue);
    }
    std::sort(found.begin(), found.end(),
              [](const TVersion& a, const TVersion& b) { return a.number < b.number; });
    return found;
  }

  std::unordered_set<std::string> wanted;
  std::unordered_map<std::string, TVersions> known;
  std::size_t count = 0;
  std::size_t compared = 0;
};

class TMerging {
 public:
  TMerging(std::string_view older, const std::vector<TUpdate>& offered,
           const std::filesystem::path& dataFolder)
      : text(older),
        catalogue(ReadCatalogueText(std::string(older), dataFolder)),
        updates(UpdatesOf(catalogue)),
        known(updates, offered) {
    if (const TFile* const file = FirstUnusable(catalogue)) {
      throw TError("the catalogue cannot be added to: " + WhyUnusable(*file) +
                       "; `svcheck catalogue lint` tells more",
                   EErrorKind::kCatalogue);
    }
  }

  void Add(const TUpdate& offered, TNewElement made) {
    const bool isKnown = offered.ReadsVersion() ? ReplaceFirmware(offered, made)
                                                : ReplaceEntries(offered, made.driverFiles);
    if (isKnown) return;
    ++merged.added;
    AppendObject(InstanceText(made), objects);
  }

  TMerged Take() {
    EditDriverFiles();
    if (untold > 0) {
      merged.remarks.push_back(fmt::format(
          "{} more of these stay, since they have no order with what is added", untold));
    }
    merged.text = Edited();
    return std::move(merged);
  }

 private:
  // Counts what becomes of an older version. True where the offered one takes its place.
  bool Judge(std::string_view name, std::string_view older, std::string_view offered) {
    const auto order = report::CompareVersions(older, offered);
    if (!order) Remark(name, older, offered);
    const bool isReplaced = order && *order < 0;
    ++(isReplaced ? merged.replaced : merged.kept);
    return isReplaced;
  }

  void Remark(std::string_view name, std::string_view older, std::string_view offered) {
    if (merged.remarks.size() >= kMostRemarks) {
      ++untold;
      return;
    }
    merged.remarks.push_back(fmt::format("{}: {} stays, since it has no order with {}",
                                         report::PlainLine(name), report::PlainLine(older),
                                         report::PlainLine(offered)));
  }

  // Of several offers that are newer than one the first counts.
  bool ReplaceFirmware(const TUpdate& offered, const TNewElement& made) {
    bool isKnown = false;
    for (const auto& version : known.Firmware(offered)) {
      const TUpdate& older = *version.update;
      if (!Covers(offered, older) || OwnText(older, rules::kUpdateVersion) == nullptr) continue;
      isKnown = true;
      const auto textOf = [](const TUpdate& update, std::string_view property) {
        return OfferedVersion(update.element->Text(property));
      };
      // A generation of diagnostics goes by its build.
      const bool byBuild =
          textOf(older, rules::kUpdateVersion) == textOf(offered, rules::kUpdateVersion);
      const std::string_view told = byBuild ? rules::kUpdateBuild : rules::kUpdateVersion;
      if (!Judge(offered.name, textOf(older, told), textOf(offered, told))) continue;
      if (!changed.insert(&older).second) continue;
      Set(older, rules::kUpdateVersion, made.version);
      Set(older, rules::kUpdateBuild, made.build);
      Set(older, rules::kUpdateName, made.name);
    }
    return isKnown;
  }

  // What is left in `driverFiles` is offered nowhere. True where nothing is left.
  bool ReplaceEntries(const TUpdate& offered, std::string& driverFiles) {
    std::string left;
    for (const TDriverEntry& entry : *offered.drivers) {
      if (ReplaceEntry(offered, entry)) continue;
      left += left.empty() ? "" : " ";
      left.append(entry.name).append("-#").append(entry.version);
    }
    if (left.empty()) return true;
    const TUpdate* const group = offered.IsAdapter() ? GroupOf(offered) : nullptr;
    if (group == nullptr) {
      driverFiles = left;
      return false;
    }
    // Adapters of the same machines are one element.
    lists[group].behind += " " + left;
    ++merged.added;
    return true;
  }

  const TUpdate* GroupOf(const TUpdate& offered) {
    for (const auto& [number, older, entry] : known.Lists(offered)) {
      if (Covers(offered, *older) && Covers(*older, offered) &&
          OwnText(*older, rules::kUpdateDriverFiles) != nullptr)
        return older;
    }
    return nullptr;
  }

  bool ReplaceEntry(const TUpdate& offered, const TDriverEntry& entry) {
    bool isKnown = false;
    for (const auto& [number, older, there] : known.Drivers(offered, entry)) {
      const TProperty* const own = OwnText(*older, rules::kUpdateDriverFiles);
      // They have one name, of which a driver's ending is no part.
      const bool isSame = own != nullptr && Covers(offered, *older) &&
                          IsWindows(there->name) == IsWindows(entry.name);
      if (!isSame) continue;
      isKnown = true;
      if (!Judge(entry.name, there->version, entry.version)) continue;
      const auto at = static_cast<std::uint32_t>(there->version.data() - own->Text().data());
      const auto end = static_cast<std::uint32_t>(at + there->version.size());
      TList& list = lists[older];
      list.versions.push_back({{at, end}, std::string(entry.version)});
      list.replaced.insert(ComparedName(entry.name));
      list.sources.insert(offered.element->Text(rules::kUpdateDriverSources));
    }
    return isKnown;
  }

  void EditDriverFiles() {
    for (const auto& [update, list] : lists) {
      const std::string before(OwnText(*update, rules::kUpdateDriverFiles)->Text());
      Set(*update, rules::kUpdateDriverFiles, Apply(before, list.versions) + list.behind);
      if (!list.replaced.empty()) EditDriverSources(*update, list);
    }
  }

  void EditDriverSources(const TUpdate& update, const TList& list) {
    const TProperty* const own = OwnText(update, rules::kUpdateDriverSources);
    std::string after;
    const auto add = [&](std::string_view text) {
      if (!text.empty()) after.append(after.empty() ? "" : " ").append(text);
    };
    rules::CutDriverList(own ? own->Text() : std::string_view(), [&](const TDriverEntry& entry) {
      const std::string name = ComparedName(entry.name.substr(entry.name.find(':') + 1));
      if (list.replaced.count(name) > 0) return;
      add(std::string(entry.name).append("-#").append(entry.version));
    });
    for (const std::string_view source : list.sources) add(source);
    Set(update, rules::kUpdateDriverSources, after);
  }

  void Set(const TUpdate& update, std::string_view name, const std::string& value) {
    if (const TProperty* const own = OwnText(update, name)) {
      edits.push_back({own->value, report::XmlText(value)});
    } else if (!value.empty()) {
      const std::uint32_t front = update.element->properties.front()->span.begin;
      edits.push_back({{front, front},
                       fmt::format("<PROPERTY NAME=\"{}\" TYPE=\"string\"><VALUE>{}</VALUE>"
                                   "</PROPERTY>",
                                   name, report::XmlText(value))});
    }
  }

  std::string Edited() {
    const TFile& file = catalogue.files.front();
    if (!objects.empty()) {
      if (file.rootEnd == 0) return CatalogueAround({}, objects);
      const bool hasGroup = file.groupEnd != 0;
      std::uint32_t end = hasGroup ? file.groupEnd : file.rootEnd;
      // Some tag stands before it.
      while (text[end - 1] == ' ' || text[end - 1] == '\t') --end;
      edits.push_back({{end, end},
                       hasGroup ? objects
                                : "  <DECLARATION>\n    <DECLGROUP>\n" + objects +
                                      "    </DECLGROUP>\n  </DECLARATION>\n"});
    }
    return Apply(text, edits);
  }

  // The spans do not overlap.
  static std::string Apply(std::string_view before, std::vector<TEdit> edits) {
    std::stable_sort(edits.begin(), edits.end(),
                     [](const TEdit& a, const TEdit& b) { return a.span.begin < b.span.begin; });
    std::string after;
    std::size_t at = 0;
    for (const TEdit& edit : edits) {
      if (edit.span.begin < at) continue;  // The same version, offered twice: the first counts.
      after.append(before.substr(at, edit.span.begin - at)).append(edit.text);
      at = edit.span.end;
    }
    return after.append(before.substr(at));
  }

  static constexpr std::size_t kMostRemarks = 1000;

  std::string_view text;
  TCatalogue catalogue;
  std::vector<TUpdate> updates;
  TOlderVersions known;
  std::set<const TUpdate*> changed;       // Firmware that has a new version.
  std::map<const TUpdate*, TList> lists;  // Changed lists of driver files.
  std::vector<TEdit> edits;
  std::string objects;
  TMerged merged;
  std::size_t untold = 0;  // Remarks beyond those that anybody reads.
};

}  // namespace

TMerged MergeInto(std::string_view older, const std::vector<TNewElement>& elements,
                  const std::filesystem::path& dataFolder) {
  const TCatalogue made = ReadCatalogueText(CatalogueText(elements), dataFolder);
  const std::vector<TUpdate> offered = UpdatesOf(made);
  TMerging merging(older, offered, dataFolder);
  for (std::size_t i = 0; i < offered.size(); ++i) merging.Add(offered[i], elements[i]);
  return merging.Take();
}

}  // namespace svc::catalogue
