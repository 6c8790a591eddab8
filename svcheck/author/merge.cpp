// `svcheck catalogue build --merge`: changes a catalogue where it offers something in an older
// version, and adds what it does not offer. Everything else stays as it is written, byte for byte.
#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "base/error.h"
#include "report/text.h"
#include "report/verdict.h"
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

class TMerging {
 public:
  TMerging(std::string_view older, const std::filesystem::path& dataFolder)
      : text(older),
        catalogue(ReadCatalogueText(std::string(older), dataFolder)),
        updates(UpdatesOf(catalogue)) {
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
    merged.text = Edited();
    return std::move(merged);
  }

 private:
  // Counts what becomes of an older version. True where the offered one takes its place.
  bool Judge(std::string_view name, std::string_view older, std::string_view offered) {
    const auto order = report::CompareVersions(older, offered);
    if (!order) {
      merged.remarks.push_back(fmt::format("{}: {} stays, since it has no order with {}",
                                           report::PlainLine(name), report::PlainLine(older),
                                           report::PlainLine(offered)));
    }
    const bool isReplaced = order && *order < 0;
    ++(isReplaced ? merged.replaced : merged.kept);
    return isReplaced;
  }

  bool ReplaceFirmware(const TUpdate& offered, const TNewElement& made) {
    bool isKnown = false;
    for (const TUpdate& older : updates) {
      const bool isSame = older.ReadsVersion() && older.component == offered.component &&
                          older.isBios == offered.isBios && Covers(offered, older);
      if (!isSame || OwnText(older, rules::kUpdateVersion) == nullptr) continue;
      isKnown = true;
      const auto textOf = [](const TUpdate& update, std::string_view property) {
        return OfferedVersion(update.element->Text(property));
      };
      // A generation of diagnostics goes by its build.
      const bool byBuild =
          textOf(older, rules::kUpdateVersion) == textOf(offered, rules::kUpdateVersion);
      const std::string_view told = byBuild ? rules::kUpdateBuild : rules::kUpdateVersion;
      if (!Judge(offered.name, textOf(older, told), textOf(offered, told))) continue;
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

  const TUpdate* GroupOf(const TUpdate& offered) const {
    const auto group = std::find_if(updates.begin(), updates.end(), [&](const TUpdate& older) {
      return older.component == offered.component && Covers(offered, older) &&
             Covers(older, offered) && OwnText(older, rules::kUpdateDriverFiles) != nullptr;
    });
    return group == updates.end() ? nullptr : &*group;
  }

  bool ReplaceEntry(const TUpdate& offered, const TDriverEntry& entry) {
    bool isKnown = false;
    for (const TUpdate& older : updates) {
      const bool isSame = older.component == offered.component && Covers(offered, older);
      const TProperty* const own = isSame ? OwnText(older, rules::kUpdateDriverFiles) : nullptr;
      if (own == nullptr) continue;
      for (const TDriverEntry& known : *older.drivers) {
        if (!AreSame(known.name, entry.name, offered.IsAdapter())) continue;
        isKnown = true;
        if (!Judge(entry.name, known.version, entry.version)) continue;
        const auto at = static_cast<std::uint32_t>(known.version.data() - own->Text().data());
        const auto end = static_cast<std::uint32_t>(at + known.version.size());
        lists[&older].versions.push_back({{at, end}, std::string(entry.version)});
        lists[&older].replaced.insert(ComparedName(entry.name));
        lists[&older].sources.insert(offered.element->Text(rules::kUpdateDriverSources));
      }
    }
    return isKnown;
  }

  static bool AreSame(std::string_view older, std::string_view offered, bool isAdapter) {
    if (isAdapter) return EqualWords(older, offered);
    return ComparedName(older) == ComparedName(offered) && IsWindows(older) == IsWindows(offered);
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
      while (end > 0 && (text[end - 1] == ' ' || text[end - 1] == '\t')) --end;
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

  std::string_view text;
  TCatalogue catalogue;
  std::vector<TUpdate> updates;
  std::map<const TUpdate*, TList> lists;  // Changed lists of driver files.
  std::vector<TEdit> edits;
  std::string objects;
  TMerged merged;
};

}  // namespace

TMerged MergeInto(std::string_view older, const std::vector<TNewElement>& elements,
                  const std::filesystem::path& dataFolder) {
  TMerging merging(older, dataFolder);
  const TCatalogue made = ReadCatalogueText(CatalogueText(elements), dataFolder);
  const std::vector<TUpdate> offered = UpdatesOf(made);
  for (std::size_t i = 0; i < offered.size(); ++i) merging.Add(offered[i], elements[i]);
  return merging.Take();
}

}  // namespace svc::catalogue
