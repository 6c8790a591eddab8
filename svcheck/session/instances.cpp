#include "svcheck/session/instances.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <system_error>

#include "host/hskcore/exception.h"
#include "host/hskcore/root_object.h"
#include "host/hskcore/schema_helper.h"
#include "host/xmlparser/xml_parser.h"
#include "rules/names.h"
#include "rules/system_codes.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "svcheck/session/request.h"

using namespace NQRXHSK20;

namespace svc {

namespace {

constexpr std::string_view kMachineClass = "QRXSG_ComputerSystem";
constexpr std::string_view kMachineType = "MachineType";

}  // namespace

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
