#include "loading.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <memory>

#include "host/hskcore/exception.h"
#include "host/xmlparser/namespace_populator.h"
#include "host/xmlparser/xml_parser.h"
#include "runtime/hskcore/in_memory_namespace.h"

namespace svc::xml {

using NQRXHSK20::ICIMClass;
using NQRXHSK20::ICIMInstance;

namespace {

struct TFree {
  void operator()(char* block) const { std::free(block); }
};

template <typename TLoad>
TLoaded Load(TLoad load) {
  TLoaded loaded;
  loaded.objects = MakeInMemoryNamespace();
  try {
    loaded.classes = load(loaded.objects);
  } catch (const NQRXHSK20::THSKException& error) {
    loaded.status = static_cast<int>(error.GetStatusCode());
    loaded.message = error.GetMessageText();
  }
  return loaded;
}

}  // namespace

TLoaded LoadBlock(std::string_view document, bool asCatalogue402) {
  const std::unique_ptr<char, TFree> block(
      static_cast<char*>(std::calloc(document.size() ? document.size() : 1, 1)));
  document.copy(block.get(), document.size());
  return Load([&](const auto& target) {
    NQRXHSK20::TCIMXMLParser parser(target);
    if (asCatalogue402) parser.SetSV402Mode();
    parser.Parse(block.get());
    return parser.GetClassesCollected();
  });
}

TLoaded LoadFile(std::string_view document) {
  const auto* test = testing::UnitTest::GetInstance()->current_test_info();
  const std::string path = testing::TempDir() + "/" + test->name() + ".xml";
  std::ofstream(path, std::ios::binary) << document;
  TLoaded loaded = Load([&](const auto& target) {
    return NQRXHSK20::TNamespacePopulator::PopulateFromXMLFile(target, path);
  });
  std::remove(path.c_str());
  return loaded;
}

std::string InFrame(std::string_view objects) {
  return "<CIM><DECLARATION><DECLGROUP>\n" + std::string(objects) +
         "</DECLGROUP></DECLARATION></CIM>";
}

std::string WithClass(std::string_view objects) {
  return InFrame("<VALUE.OBJECT><CLASS NAME=\"K\"></CLASS></VALUE.OBJECT>\n" +
                 std::string(objects));
}

TInstances InstancesOf(const TLoaded& loaded, std::string_view className) {
  boost::shared_ptr<ICIMClass> cimClass;
  loaded.objects->GetClass(cimClass, className, {});
  TInstances instances;
  cimClass->EnumerateInstances(NQRXHSK20::TAddToVectorCallback<ICIMInstance>(instances), true, {});
  return instances;
}

NQRXHSK20::TCIMValue ValueOf(const boost::shared_ptr<ICIMInstance>& instance,
                             std::string_view property) {
  boost::shared_ptr<NQRXHSK20::ICIMProperty> handle;
  instance->GetProperty(handle, property, {});
  return handle->Value({});
}

std::string OnlyValue(const TLoaded& loaded) {
  const TInstances instances = InstancesOf(loaded, "K");
  if (instances.size() != 1) return "(" + std::to_string(instances.size()) + " instances)";
  const NQRXHSK20::TCIMValue value = ValueOf(instances[0], "P");
  return value.IsNull() ? "(null)" : value.ToString(10);
}

}  // namespace svc::xml
