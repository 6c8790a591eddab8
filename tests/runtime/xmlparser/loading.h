// Documents loaded into a namespace, and what came of it.
#pragma once

#include <boost/shared_ptr.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "host/hskcore/cim.h"

namespace svc::xml {

struct TLoaded {
  int status = 0;       // 0: taken; otherwise the exception's status code ...
  std::string message;  // ... and text.
  boost::shared_ptr<NQRXHSK20::ICIMNamespace> objects;
  std::vector<boost::shared_ptr<NQRXHSK20::ICIMClass>> classes;
};

// As the plug-in loads a catalogue: through TXmlParser::Parse, from a block of just this size.
TLoaded LoadBlock(std::string_view document, bool asCatalogue402 = false);
// As the host loads an inventory: through a file.
TLoaded LoadFile(std::string_view document);

// Puts objects into the frame that makes a document of them; they begin on its line 2.
std::string InFrame(std::string_view objects);
// The same with a class K, declared on line 2, before them.
std::string WithClass(std::string_view objects);

using TInstances = std::vector<boost::shared_ptr<NQRXHSK20::ICIMInstance>>;
TInstances InstancesOf(const TLoaded& loaded, std::string_view className);
NQRXHSK20::TCIMValue ValueOf(const boost::shared_ptr<NQRXHSK20::ICIMInstance>& instance,
                             std::string_view property);
// The value of property P of the only instance of class K, "(null)" for null.
std::string OnlyValue(const TLoaded& loaded);

}  // namespace svc::xml
