#include "tests/soak/queries.h"

#include <boost/make_shared.hpp>

#include "host/hskcore/cim.h"
#include "host/xmlparser/namespace_populator.h"
#include "host/xmlparser/xml_parser.h"
#include "runtime/hskcore/host_setup.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/plugin.nsp/plugin_loader.h"

using namespace NQRXHSK20;

namespace svc::test {
namespace {

using TInstances = std::vector<boost::shared_ptr<ICIMInstance>>;

std::string RecordText(const ICIMInstance& record) {
  std::string text;
  for (const char* name : {"Type", "Name", "InstalledVersion", "SVVersion"}) {
    boost::shared_ptr<ICIMProperty> property;
    record.GetProperty(property, name, {});
    text += property->Value({}).ToString(10) + '|';
  }
  return text;
}

}  // namespace

TQueries::TQueries() : before(std::filesystem::current_path()) {
  std::filesystem::current_path(SVC_DATA);
  manager = boost::make_shared<TPluginManagerNamespace>();
  InstallPluginManager(manager);
  query = LoadPlugin(SVC_PLUGIN_LIBRARY, *manager)->GetQueryInterface();
}

TQueries::~TQueries() {
  InstallPluginManager({});
  std::filesystem::current_path(before);
}

std::vector<std::string> TQueries::RunQuery() const {
  const auto inventory = MakeInMemoryNamespace();
  DeclareBuiltinClasses(inventory);
  TNamespacePopulator::PopulateFromXMLFile(inventory, "sample/inventory.xml");
  CIMContext context = {{"svPath", "sample/catalogue"}};
  query->RunQuery(inventory, nullptr, context);

  boost::shared_ptr<ICIMClass> results;
  inventory->GetClass(results, "QRXSG_SVResult", {});
  TInstances instances;
  results->EnumerateInstances(TAddToVectorCallback<ICIMInstance>(instances), true, {});
  std::vector<std::string> records;
  for (const auto& instance : instances) records.push_back(RecordText(*instance));
  return records;
}

}  // namespace svc::test
