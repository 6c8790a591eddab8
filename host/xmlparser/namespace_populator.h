// Filling a namespace from a file, on the thread that uses the namespace.
#ifndef HOST_XMLPARSER_NAMESPACE_POPULATOR_H_
#define HOST_XMLPARSER_NAMESPACE_POPULATOR_H_

#include <boost/shared_ptr.hpp>
#include <string>
#include <vector>

#include "host/hskcore/cim.h"
#include "host/hskcore/export.h"

namespace NQRXHSK20 {

class XMLPARSER_API TNamespacePopulator {
 public:
  // Creates the classes and instances of a CIM-XML file in `target` and returns the classes. A pipe
  // is read to its end, for which the call waits where the host lets it.
  // Throws THSKException: kFileNotFound, kFileUnreadable, kNoBuffer, or as TXmlParser::Parse; the
  // text names the file, and the line where there is one.
  static std::vector<boost::shared_ptr<ICIMClass>> PopulateFromXMLFile(
      boost::shared_ptr<ICIMNamespace> target, const std::string& path);
};

}  // namespace NQRXHSK20

#endif  // HOST_XMLPARSER_NAMESPACE_POPULATOR_H_
