#include "svcheck/session/driver_sources.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "report/text.h"
#include "rules/driver_list.h"
#include "rules/names.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "svcheck/session/instances.h"

using namespace NQRXHSK20;

namespace svc {

namespace {

// Longer than the texts of any module. Many drivers may share one that is longer still.
constexpr std::size_t kLongest = 256;

// Empty for a text that is too long.
std::string_view ShortText(const ICIMInstance& instance, std::string_view property) {
  const auto view = StoredView(instance, property);
  return view && view->size() <= kLongest ? *view : std::string_view();
}

// What drivers of a name and a version were built of.
class TSources {
 public:
  void Add(std::string_view name, std::string_view version, std::string_view source) {
    names.emplace(name);
    const auto [known, isNew] = sources.try_emplace(KeyOf(name, version), source);
    if (!isNew && known->second != source) known->second.clear();
  }
  // Empty where none is known, or more than one.
  std::string_view Find(std::string_view name, std::string_view version) const {
    const auto found = sources.find(KeyOf(name, version));
    return found == sources.end() ? std::string_view() : found->second;
  }
  bool Knows(std::string_view name) const { return names.count(std::string(name)) > 0; }
  bool IsEmpty() const { return sources.empty(); }

 private:
  static std::string KeyOf(std::string_view name, std::string_view version) {
    return std::string(name).append(1, '\0').append(version);
  }

  std::unordered_set<std::string> names;
  std::unordered_map<std::string, std::string> sources;
};

// One that does not state its source counts as one that may be of another.
TSources InstalledIn(const boost::shared_ptr<ICIMNamespace>& inventory) {
  TSources sources;
  rules::TDriverNameForm form;
  std::vector<boost::shared_ptr<ICIMInstance>> silent;
  for (const auto& driver : InstancesOf(inventory, rules::kDriverClass)) {
    const std::string_view source = report::Trim(ShortText(*driver, rules::kDriverSource));
    if (source.empty()) {
      silent.push_back(driver);
      continue;
    }
    std::string_view file = ShortText(*driver, rules::kDriverPath);
    file.remove_prefix(file.rfind('\\') + 1);
    if (file.empty()) continue;
    sources.Add(form.Of(file), ShortText(*driver, rules::kDriverVersion), source);
  }
  if (sources.IsEmpty()) return sources;
  for (const auto& driver : silent) {
    std::string_view file = ShortText(*driver, rules::kDriverPath);
    file.remove_prefix(file.rfind('\\') + 1);
    const std::string_view name = form.Of(file);
    if (sources.Knows(name)) sources.Add(name, ShortText(*driver, rules::kDriverVersion), "");
  }
  return sources;
}

// Of the drivers that are installed. A list that many elements inherit is read once.
TSources OfferedIn(const boost::shared_ptr<ICIMNamespace>& catalogue, const TSources& installed) {
  TSources sources;
  rules::TDriverNameForm form;
  std::unordered_set<const char*> known;
  for (const auto& element : InstancesOf(catalogue, rules::kUpdateClass)) {
    const auto list = StoredView(*element, rules::kUpdateDriverSources);
    if (!list || !known.insert(list->data()).second) continue;
    rules::CutDriverList(*list, [&](const rules::TDriverListEntry& entry) {
      const std::size_t colon = entry.name.find(':');
      if (colon == entry.name.npos || colon == 0 || entry.name.size() > kLongest) return;
      const std::string_view name = form.Of(entry.name.substr(colon + 1));
      if (installed.Knows(name) && entry.version.size() <= kLongest) {
        sources.Add(name, entry.version, entry.name.substr(0, colon));
      }
    });
  }
  return sources;
}

class TSourcedRecords : public report::IRecordSource {
 public:
  TSourcedRecords(std::shared_ptr<const report::IRecordSource> records, TSources installed,
                  TSources offered)
      : records(std::move(records)), installed(std::move(installed)), offered(std::move(offered)) {}

  std::size_t Count() const noexcept override { return records->Count(); }
  void Read(std::size_t number, report::TRecord& record) const override {
    records->Read(number, record);
    record.hasSameSource = IsOfSameSource(record);
    if (record.hasSameSource) record.compared = report::EVerdict::kCurrent;
  }

 private:
  bool IsOfSameSource(const report::TRecord& record) const {
    if (record.type != rules::kDriverType) return false;
    const std::string_view source = installed.Find(record.name, record.installed);
    return !source.empty() && source == offered.Find(record.name, record.offered);
  }

  std::shared_ptr<const report::IRecordSource> records;
  TSources installed;
  TSources offered;
};

}  // namespace

std::shared_ptr<const report::IRecordSource> WithSources(
    std::shared_ptr<const report::IRecordSource> records,
    const boost::shared_ptr<ICIMNamespace>& inventory,
    const boost::shared_ptr<ICIMNamespace>& catalogue) {
  if (!catalogue || records->Count() == 0) return records;
  TSources installed = InstalledIn(inventory);
  if (installed.IsEmpty()) return records;
  TSources offered = OfferedIn(catalogue, installed);
  if (offered.IsEmpty()) return records;
  return std::make_shared<TSourcedRecords>(std::move(records), std::move(installed),
                                           std::move(offered));
}

}  // namespace svc
