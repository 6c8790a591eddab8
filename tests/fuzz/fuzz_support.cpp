#include "tests/fuzz/fuzz_support.h"

#include <stdlib.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>

#include "host/hskcore/root_object.h"
#include "host/xmlparser/xml_parser.h"

using namespace NQRXHSK20;
namespace fs = std::filesystem;

namespace svc::fuzz {

void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "Does not hold: %s\n", what);
  std::abort();
}

TScratchFolder::TScratchFolder() {
  std::string name = fs::is_directory("/dev/shm") ? "/dev/shm/fuzz.XXXXXX" : "/tmp/fuzz.XXXXXX";
  Require(mkdtemp(name.data()) != nullptr, "a folder can be made");
  root = name;
}

TScratchFolder::~TScratchFolder() { fs::remove_all(root); }

void TScratchFolder::Write(const char* file, std::string_view bytes) const {
  std::ofstream(root / file, std::ios::binary) << bytes;
}

boost::shared_ptr<ICIMNamespace> NewNamespace() {
  return TRootObject::GetNamespaceProviderManager()->GetProvider("inmem")->CreateNamespace(
      CIMContext(), 0, "root/cimv2");
}

bool ParseDocument(const boost::shared_ptr<ICIMNamespace>& target, std::string_view document,
                   bool isCatalogue) {
  const std::unique_ptr<char, decltype(&std::free)> block(
      static_cast<char*>(std::calloc(document.size(), 1)), &std::free);
  std::memcpy(block.get(), document.data(), document.size());
  try {
    TCIMXMLParser parser(target);
    if (isCatalogue) parser.SetSV402Mode();
    parser.Parse(block.get());
    parser.GetClassesCollected();
  } catch (const THSKException& exception) {
    Require(!exception.GetMessageText().empty(), "a refusal says why");
    return false;
  }
  return true;
}

void DeclareClass(const boost::shared_ptr<ICIMNamespace>& target, const std::string& name,
                  const std::vector<std::string>& properties) {
  std::string document = "<CIM><DECLARATION><DECLGROUP><VALUE.OBJECT><CLASS NAME=\"" + name + "\">";
  for (const std::string& property : properties) {
    document += "<PROPERTY NAME=\"" + property + "\" TYPE=\"string\"/>";
  }
  document += "</CLASS></VALUE.OBJECT></DECLGROUP></DECLARATION></CIM>";
  Require(ParseDocument(target, document, false), "the declarations parse");
}

std::size_t ReadAll(const boost::shared_ptr<ICIMNamespace>& source, const std::string& className,
                    const std::vector<std::string>& names) {
  std::vector<boost::shared_ptr<ICIMInstance>> instances;
  boost::shared_ptr<ICIMClass> cimClass;
  source->GetClass(cimClass, className, CIMContext());
  cimClass->EnumerateInstances(TAddToVectorCallback<ICIMInstance>(instances), true, CIMContext());
  for (const auto& instance : instances) {
    for (const std::string& name : names) {
      boost::shared_ptr<ICIMProperty> property;
      instance->GetProperty(property, name, CIMContext());
      property->Value(CIMContext()).ToString(10);
    }
  }
  return instances.size();
}

}  // namespace svc::fuzz
