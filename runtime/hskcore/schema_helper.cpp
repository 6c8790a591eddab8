#include "host/hskcore/schema_helper.h"

#include <vector>

#include "host/hskcore/exception.h"

namespace NQRXHSK20 {

namespace {

// Empty when the instance has none.
std::string MachineTypeOf(const boost::shared_ptr<ICIMInstance>& system) {
  try {
    boost::shared_ptr<ICIMProperty> property;
    system->GetProperty(property, "MachineType", {});
    return property->Value({}).ToString(10);
  } catch (const THSKException& error) {
    if (error.GetStatusCode() != THSKStatusCode::kNoSuchProperty) {
      throw;
    }
    return {};
  }
}

}  // namespace

const char* const TCIMSchemaHelper::kContextName = "Namespace";
const char* const TCIMSchemaHelper::kPluginNSPName = "plugin.nsp";

std::string TCIMSchemaHelper::GetMachineType(const boost::shared_ptr<ICIMNamespace>& inventory) {
  boost::shared_ptr<ICIMClass> systemClass;
  inventory->GetClass(systemClass, "QRXSG_ComputerSystem", {});
  std::vector<boost::shared_ptr<ICIMInstance>> systems;
  systemClass->EnumerateInstances(TAddToVectorCallback<ICIMInstance>(systems), true, {});
  for (const auto& system : systems) {
    std::string machineType = MachineTypeOf(system);
    if (!machineType.empty()) {
      return machineType;
    }
  }
  throw THSKException(
      "The inventory names no machine type: no instance of \"QRXSG_ComputerSystem\" has a "
      "\"MachineType\"",
      THSKStatusCode::kFailed);
}

}  // namespace NQRXHSK20
