// For each line FORMAT, FIRST, SECOND (tabs between) the order of the two: "<", "==" or ">". For a
// line "guid", TEXT the GUID of an identifier.
#include <boost/uuid/uuid_io.hpp>
#include <iostream>
#include <string>

#include "plugins/public_firmware/catalogue.h"

int main() {
  using namespace svc::publicfirmware;
  std::string line;
  while (std::getline(std::cin, line)) {
    const std::size_t first = line.find('\t');
    const std::string word = line.substr(0, first);
    const std::string rest = line.substr(first + 1);
    if (word == "guid") {
      std::cout << GuidOf(rest) << '\n';
      continue;
    }
    const std::size_t second = rest.find('\t');
    const int order =
        CompareVersions(rest.substr(0, second), rest.substr(second + 1), FormatOfName(word));
    std::cout << (order == 0 ? "==" : order < 0 ? "<" : ">") << '\n';
  }
}
