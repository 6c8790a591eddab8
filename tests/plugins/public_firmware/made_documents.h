// CIM-XML as the tests of public firmware write it: the devices of an inventory, the releases of a
// catalogue. Names and values are written as they are given.
#pragma once

#include <string>
#include <vector>

namespace svc::publicfirmware {

using TTexts = std::vector<std::string>;

// Nothing where the value is empty.
inline std::string Property(const std::string& name, const std::string& value) {
  if (value.empty()) return {};
  return "<PROPERTY NAME=\"" + name + "\" TYPE=\"string\"><VALUE>" + value + "</VALUE></PROPERTY>";
}

inline std::string Array(const std::string& name, const TTexts& values) {
  std::string text = "<PROPERTY.ARRAY NAME=\"" + name + "\" TYPE=\"string\"><VALUE.ARRAY>";
  for (const std::string& value : values) text += "<VALUE>" + value + "</VALUE>";
  return text + "</VALUE.ARRAY></PROPERTY.ARRAY>";
}

inline std::string Class(const std::string& name, const std::string& defaults = {}) {
  return "<VALUE.OBJECT><CLASS NAME=\"" + name + "\">" + defaults + "</CLASS></VALUE.OBJECT>";
}

inline std::string Instance(const std::string& name, const std::string& properties = {}) {
  return "<VALUE.OBJECT><INSTANCE CLASSNAME=\"" + name + "\">" + properties +
         "</INSTANCE></VALUE.OBJECT>";
}

inline std::string Document(const std::string& objects) {
  return "<CIM><DECLARATION><DECLGROUP>" + objects + "</DECLGROUP></DECLARATION></CIM>";
}

}  // namespace svc::publicfirmware
