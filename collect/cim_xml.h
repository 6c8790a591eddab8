// Instances as a CIM-XML document (DMTF DSP0201).
#ifndef COLLECT_CIM_XML_H_
#define COLLECT_CIM_XML_H_

#include <string>
#include <vector>

#include "collect/inventory.h"

namespace svc::collect {

// One document, UTF-8, with the instances in their order. Pure; any thread.
std::string ToCimXml(const std::vector<TInstance>& instances);

}  // namespace svc::collect

#endif  // COLLECT_CIM_XML_H_
