#include "svcheck/session/record_origins.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <new>
#include <system_error>
#include <unordered_map>
#include <utility>

#include "host/hskcore/exception.h"
#include "host/hskcore/root_object.h"
#include "host/hskcore/schema_helper.h"
#include "host/hskcore/value.h"
#include "host/xmlparser/xml_parser.h"
#include "rules/driver_list.h"
#include "rules/names.h"
#include "rules/system_codes.h"
#include "runtime/xmlparser/document_text.h"
#include "svcheck/session/request.h"

using namespace NQRXHSK20;
namespace svc {

using TElement = const ICIMInstance*;
using TStretch = TRecordOrigins::TStretch;

void TRecordOrigins::TCatalogueReads::OnGetClass(std::string_view className) {
  if (next != nullptr) next->OnGetClass(className);
}

void TRecordOrigins::TCatalogueReads::OnGetProperty(const ICIMInstance& element,
                                                    std::string_view name) {
  origins.ReadElement(element, name);
  if (next != nullptr) next->OnGetProperty(element, name);
}

// Records are told by the look for their class, one for each of them.
void TRecordOrigins::TInventoryReads::OnGetClass(std::string_view className) {
  if (className == rules::kResultClass) origins.CountRecord();
  if (next != nullptr) next->OnGetClass(className);
}

void TRecordOrigins::TInventoryReads::OnGetProperty(const ICIMInstance& instance,
                                                    std::string_view name) {
  if (next != nullptr) next->OnGetProperty(instance, name);
}

// Firmware is told by other properties than the systems: where the driver files follow right behind
// these, the element is for the system and its drivers are offered.
void TRecordOrigins::ReadElement(const ICIMInstance& element, std::string_view property) {
  if (isForSystem && current == &element && property == rules::kUpdateDriverFiles) {
    offering.push_back(&element);
  }
  current = &element;
  isForSystem = property == rules::kUpdateSystems;
}

void TRecordOrigins::CountRecord() {
  ++records;
  if (!offering.empty()) return;
  if (firmware.empty() || firmware.back().element != current) {
    firmware.push_back({firmwareRecords, current});
  }
  ++firmwareRecords;
}

namespace {

// Which lists of driver files gave the records of drivers. Equal entries may stand in many lists,
// and a record names neither its list nor its place in it: but for each entry a query delivers one
// record for each running driver of its name, as many each time. So of each name the records,
// divided by its entries, are those of one entry.
class TDriverLists {
 public:
  // `first` is the number of the first record of a driver.
  TDriverLists(const report::IRecordSource& records, std::size_t first)
      : first(first), end(records.Count()) {
    report::TRecord record;
    for (std::size_t number = first; number < end; ++number) {
      records.Read(number, record);
      ++names[record.name].records;
    }
  }

  // Appends the stretches of the elements, in whose order their lists were compared.
  void Append(const std::vector<TElement>& elements, std::vector<TStretch>& stretches) {
    std::vector<const TList*> lists;
    for (const TElement element : elements) {
      const TList& list = *lists.emplace_back(&ListOf(*element));
      for (TName* const name : list) ++name->entries;
    }
    const bool isDivisible = std::all_of(names.begin(), names.end(), [](const auto& name) {
      return name.second.entries != 0 && name.second.records % name.second.entries == 0;
    });
    if (!isDivisible) return stretches.push_back({first, nullptr});
    std::size_t number = first;
    for (std::size_t i = 0; i < elements.size(); ++i) {
      const std::size_t begin = number;
      for (const TName* const name : *lists[i]) number += name->records / name->entries;
      if (number != begin) stretches.push_back({begin, elements[i]});
    }
  }

 private:
  struct TName {
    std::size_t records = 0;
    std::size_t entries = 0;
  };
  using TList = std::vector<TName*>;  // The names of its entries that have records.

  // Lists that are one text in memory, such as the default of a class, are cut once.
  const TList& ListOf(const ICIMInstance& element) {
    boost::shared_ptr<ICIMProperty> property;
    try {
      element.GetProperty(property, rules::kUpdateDriverFiles, {});
    } catch (const THSKException&) {
      return own.emplace_back();  // Without one there is none.
    }
    const TCIMValue& value = property->Value({});
    const auto view = value.TextView();
    if (!view) return own.emplace_back(Cut(JoinedText(value)));
    const auto [known, isNew] = shared.try_emplace(view->data());
    if (isNew) known->second = Cut(*view);
    return known->second;
  }

  // As a query reads it: of an array each element with a blank behind it.
  static std::string JoinedText(const TCIMValue& value) {
    if (value.IsNull()) return {};
    if (!value.IsArray()) return value.ToString(10);
    std::string text;
    for (const TCIMValue& element : static_cast<const std::vector<TCIMValue>&>(value)) {
      text += element.ToString(10) + ' ';
    }
    return text;
  }

  TList Cut(std::string_view text) {
    TList list;
    rules::CutDriverList(text, [&](const rules::TDriverListEntry& entry) {
      if (!entry.IsOffered()) return;
      const auto found = names.find(std::string(form.Of(entry.name)));
      if (found != names.end()) list.push_back(&found->second);
    });
    return list;
  }

  std::size_t first;
  std::size_t end;
  rules::TDriverNameForm form;
  std::unordered_map<std::string, TName> names;
  std::unordered_map<const char*, TList> shared;  // By the place of the text.
  std::deque<TList> own;
};

// Where an element stands.
struct TFound {
  const std::string* file;
  std::size_t line;
};
using TPlaces = std::unordered_map<TElement, TFound>;

// Of the elements of the stretches, in one walk through each document.
TPlaces PlacesOf(const std::vector<TStretch>& stretches,
                 const std::vector<TRecordOrigins::TDocument>& documents) {
  std::map<std::pair<std::size_t, std::size_t>, TElement> wanted;  // By document and offset.
  for (const TStretch& stretch : stretches) {
    if (stretch.element == nullptr) continue;
    if (const auto place = PlaceOf(*stretch.element); place && place->document < documents.size()) {
      wanted.emplace(std::pair(place->document, place->offset), stretch.element);
    }
  }
  TPlaces places;
  for (auto first = wanted.begin(); first != wanted.end();) {
    const std::size_t number = first->first.first;
    std::vector<std::size_t> offsets;
    auto end = first;
    for (; end != wanted.end() && end->first.first == number; ++end) {
      offsets.push_back(end->first.second);
    }
    const auto lines = xml::LinesOfInstances(documents[number].native, offsets);
    for (const std::size_t line : lines) {
      if (line != 0) places.emplace(first->second, TFound{&documents[number].name, line});
      ++first;
    }
  }
  return places;
}

class TNamedRecords : public report::IRecordSource {
 public:
  TNamedRecords(std::shared_ptr<const report::IRecordSource> records,
                boost::shared_ptr<ICIMNamespace> catalogue, std::vector<TStretch> stretches,
                const std::vector<TRecordOrigins::TDocument>& given)
      : records(std::move(records)),
        catalogue(std::move(catalogue)),
        stretches(std::move(stretches)),
        documents(given),
        places(PlacesOf(this->stretches, documents)) {}

  std::size_t Count() const noexcept override { return records->Count(); }
  void Read(std::size_t number, report::TRecord& record) const override {
    records->Read(number, record);
    const auto behind = std::upper_bound(
        stretches.begin(), stretches.end(), number,
        [](std::size_t searched, const TStretch& stretch) { return searched < stretch.first; });
    record.update = behind == stretches.begin() ? nullptr : UpdateOf(std::prev(behind)->element);
  }

 private:
  // Records follow each other by element.
  std::shared_ptr<const report::TUpdate> UpdateOf(TElement element) const {
    if (element == lastElement) return lastUpdate;
    lastElement = element;
    const auto place = places.find(element);
    lastUpdate =
        place == places.end()
            ? nullptr
            : std::make_shared<const report::TUpdate>(report::TUpdate{
                  TextOf(*element, rules::kUpdateName), TextOf(*element, rules::kUpdateDirectory),
                  *place->second.file, place->second.line});
    return lastUpdate;
  }

  std::shared_ptr<const report::IRecordSource> records;
  boost::shared_ptr<ICIMNamespace> catalogue;  // Keeps the elements.
  std::vector<TStretch> stretches;
  std::vector<TRecordOrigins::TDocument> documents;
  TPlaces places;
  mutable TElement lastElement = nullptr;
  mutable std::shared_ptr<const report::TUpdate> lastUpdate;
};

}  // namespace

std::shared_ptr<const report::IRecordSource> TRecordOrigins::With(
    const std::shared_ptr<const report::IRecordSource>& source,
    const boost::shared_ptr<ICIMNamespace>& catalogue,
    const std::vector<TDocument>& documents) const {
  if (!catalogue || source->Count() == 0) return source;
  std::vector<TStretch> stretches = firmware;
  if (records != source->Count()) {
    stretches.push_back({firmwareRecords, nullptr});  // Some of the drivers' were not delivered.
  } else if (firmwareRecords != records) {
    TDriverLists(*source, firmwareRecords).Append(offering, stretches);
  }
  return std::make_shared<TNamedRecords>(source, catalogue, std::move(stretches), documents);
}

constexpr std::string_view kMachineClass = "QRXSG_ComputerSystem";
constexpr std::string_view kMachineType = "MachineType";

// The parser reads a block of the C runtime's allocator, zeroed behind the text.
void ParseDocument(const boost::shared_ptr<ICIMNamespace>& target, const std::string& document,
                   EDocument kind) {
  const std::unique_ptr<char, decltype(&std::free)> block(
      static_cast<char*>(std::calloc(document.size() + 1, 1)), &std::free);
  if (!block) throw std::bad_alloc();
  std::memcpy(block.get(), document.data(), document.size());
  TCIMXMLParser parser(target);
  if (kind == EDocument::kCatalogue) parser.SetSV402Mode();
  parser.Parse(block.get());
}

std::vector<boost::shared_ptr<ICIMInstance>> InstancesOf(
    const boost::shared_ptr<ICIMNamespace>& source, std::string_view className) {
  std::vector<boost::shared_ptr<ICIMInstance>> instances;
  const CIMContext context = {{TCIMSchemaHelper::kContextName, TCIMSchemaHelper::kPluginNSPName}};
  boost::shared_ptr<ICIMClass> cimClass;
  try {
    source->GetClass(cimClass, className, context);
  } catch (const THSKException& exception) {
    if (exception.GetStatusCode() != THSKStatusCode::kClassNotFound) throw;
    return instances;
  }
  cimClass->EnumerateInstances(TAddToVectorCallback<ICIMInstance>(instances), true, CIMContext());
  return instances;
}

std::string TextOf(const ICIMInstance& instance, std::string_view property) {
  return StoredText(instance, property).value_or("");
}

report::TMachine MachineIn(const boost::shared_ptr<ICIMNamespace>& inventory) {
  report::TMachine machine;
  for (const auto& instance : InstancesOf(inventory, kMachineClass)) {
    machine = {TextOf(*instance, kMachineType), TextOf(*instance, "Manufacturer"),
               TextOf(*instance, "Model"), TextOf(*instance, "SerialNumber"),
               TextOf(*instance, "Name")};
    if (!machine.type.empty()) break;
  }
  if (!machine.host.empty()) return machine;
  for (const auto& instance : InstancesOf(inventory, rules::kSystemClass)) {
    machine.host = TextOf(*instance, "CSName");
  }
  return machine;
}

// The first machine that tells a type is the one whose type counts.
void SetMachineType(const boost::shared_ptr<ICIMNamespace>& inventory, const std::string& type) {
  ParseDocument(inventory,
                "<CIM><DECLARATION><DECLGROUP><VALUE.OBJECT><CLASS NAME=\"QRXSG_ComputerSystem\">"
                "<PROPERTY NAME=\"MachineType\"/></CLASS></VALUE.OBJECT></DECLGROUP></DECLARATION>"
                "</CIM>");
  const auto machines = InstancesOf(inventory, kMachineClass);
  if (!machines.empty()) {
    return machines.front()->SetPropertyValue(kMachineType, TCIMValue(type), CIMContext());
  }
  boost::shared_ptr<ICIMClass> machineClass;
  inventory->GetClass(machineClass, kMachineClass, CIMContext());
  boost::shared_ptr<ICIMInstance> machine;
  machineClass->CreateInstance(machine, CIMContext());
  machine->SetPropertyValue(kMachineType, TCIMValue(type), CIMContext());
  machine->Commit(CIMContext());
}

report::TOperatingSystem SystemIn(const boost::shared_ptr<ICIMNamespace>& inventory) {
  report::TOperatingSystem system;
  for (const auto& instance : InstancesOf(inventory, rules::kSystemClass)) {
    system = {TextOf(*instance, "Caption"), TextOf(*instance, rules::kSystemVersion),
              TextOf(*instance, rules::kSystemPlatform)};
  }
  return system;
}

std::string WhyNoMachineType(const boost::shared_ptr<ICIMNamespace>& inventory) {
  const bool hasMachine = !InstancesOf(inventory, kMachineClass).empty();
  return std::string("the inventory has no QRXSG_ComputerSystem") +
         (hasMachine ? " with a MachineType" : "") +
         "; collect it anew as root, or add the type to it";
}

std::optional<std::int64_t> TimeOf(const std::filesystem::path& file) {
  std::error_code error;
  const auto time = std::filesystem::last_write_time(file, error);
  if (error) return {};
  return std::chrono::duration_cast<std::chrono::seconds>(
             std::filesystem::file_time_type::clock::to_sys(time).time_since_epoch())
      .count();
}

report::TCatalogue CatalogueIn(const std::filesystem::path& folder) {
  const auto written = TimeOf(folder / rules::kIndexFile);
  return {"folder", folder.string(), {}, written ? written : TimeOf(folder / kOfferFile)};
}

std::optional<std::string> SystemCodeIn(const boost::shared_ptr<ICIMNamespace>& inventory) {
  rules::TOperatingSystem system;
  try {
    for (const auto& instance : InstancesOf(inventory, rules::kSystemClass)) {
      boost::shared_ptr<ICIMProperty> type;
      instance->GetProperty(type, rules::kSystemType, CIMContext());
      system = {TextOf(*instance, rules::kSystemVersion),
                static_cast<std::uint16_t>(type->Value(CIMContext())),
                TextOf(*instance, rules::kSystemBuild), TextOf(*instance, rules::kSystemPlatform)};
    }
  } catch (const THSKException&) {
    return {};
  }
  return rules::CodeOf(system);
}

}  // namespace svc
