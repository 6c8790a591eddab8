#include "svcheck/publisher/description.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "host/hskcore/cim.h"
#include "host/hskcore/exception.h"
#include "host/hskcore/namespace_provider.h"
#include "host/hskcore/root_object.h"
#include "host/xmlparser/namespace_populator.h"
#include "host/xmlparser/xml_parser.h"
#include "rules/names.h"
#include "runtime/hskcore/path_of.h"

namespace svc::repository {
namespace {

using boost::shared_ptr;
using NQRXHSK20::ICIMClass;
using NQRXHSK20::ICIMInstance;
using NQRXHSK20::ICIMNamespace;
using NQRXHSK20::ICIMProperty;
using NQRXHSK20::TCIMValue;
using NQRXHSK20::THSKException;

struct TFree {
  void operator()(char* block) const { std::free(block); }
};
using TBlock = std::unique_ptr<char, TFree>;

shared_ptr<ICIMNamespace> NewNamespace(const std::string& dataFolder) {
  const auto provider = NQRXHSK20::TRootObject::GetNamespaceProviderManager()->GetProvider("inmem");
  auto result = provider->CreateNamespace({}, 0, "root/cimv2");
  NQRXHSK20::TNamespacePopulator::PopulateFromXMLFile(result,
                                                      dataFolder + "/sv/sv.definitions.xml");
  return result;
}

// The parser wants a block of the C library's.
TBlock ReadFile(const std::string& path) {
  std::ifstream file(PathOf(path), std::ios::binary | std::ios::ate);
  const std::streamoff size = file ? static_cast<std::streamoff>(file.tellg()) : -1;
  if (size < 0) throw std::runtime_error(path + " cannot be read: " + std::strerror(errno));
  if (size > NQRXHSK20::TCIMXMLParser::kMaxSpecificationDocumentSize)
    throw std::runtime_error(path + " is too large to be loaded by a query");
  TBlock block(static_cast<char*>(std::calloc(static_cast<std::size_t>(size) + 1, 1)));
  if (!block || !file.seekg(0).read(block.get(), size))
    throw std::runtime_error(path + " cannot be read");
  return block;
}

void Load(const shared_ptr<ICIMNamespace>& target, const std::string& path) {
  const TBlock block = ReadFile(path);
  NQRXHSK20::TCIMXMLParser parser(target);
  parser.SetSV402Mode();
  try {
    parser.Parse(block.get());
  } catch (const THSKException& failure) {
    throw THSKException(path + ": " + failure.GetMessageText(), failure.GetStatusCode());
  }
}

std::vector<std::string> Texts(const ICIMInstance& instance, std::string_view property) {
  shared_ptr<ICIMProperty> found;
  try {
    instance.GetProperty(found, property, {});
  } catch (const THSKException&) {
    return {};
  }
  const TCIMValue& value = found->Value({});
  if (value.IsNull()) return {};
  if (!value.IsArray()) return {value.ToString(10)};
  std::vector<std::string> texts;
  for (const TCIMValue& element : static_cast<const std::vector<TCIMValue>&>(value))
    texts.push_back(element.ToString(10));
  return texts;
}

TElement ElementOf(const ICIMInstance& instance) {
  const auto name = Texts(instance, rules::kUpdateName);
  return {name.empty() ? "" : name.front(), Texts(instance, rules::kUpdateMachineTypes),
          Texts(instance, rules::kUpdateSystems)};
}

}  // namespace

std::vector<TElement> ReadDescription(const std::string& path, const std::string& dataFolder) {
  const auto target = NewNamespace(dataFolder);
  Load(target, path);
  shared_ptr<ICIMClass> updates;
  target->GetClass(updates, rules::kUpdateClass, {});
  std::vector<TElement> elements;
  updates->EnumerateInstances(
      [&elements](const shared_ptr<ICIMInstance>& instance) {
        elements.push_back(ElementOf(*instance));
      },
      true, {});
  return elements;
}

}  // namespace svc::repository
