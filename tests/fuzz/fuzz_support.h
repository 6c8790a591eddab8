// What the fuzz targets share.
#pragma once

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "host/hskcore/cim.h"

// Called once for each input; defined by each target. Always 0.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace svc::fuzz {

inline std::string_view AsText(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// Ends the process with a message when a property of the code under test does not hold.
void Require(bool holds, const char* what);

// A folder for the files of one process, in memory as far as the machine has a file system there.
class TScratchFolder {
 public:
  TScratchFolder();
  ~TScratchFolder();
  TScratchFolder(const TScratchFolder&) = delete;
  TScratchFolder& operator=(const TScratchFolder&) = delete;

  void Write(const char* file, std::string_view bytes) const;
  const std::filesystem::path& Root() const { return root; }

 private:
  std::filesystem::path root;
};

boost::shared_ptr<NQRXHSK20::ICIMNamespace> NewNamespace();

// Parses a document in a block of exactly its size, as the catalogue loader does. False when it
// is refused.
bool ParseDocument(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target,
                   std::string_view document, bool isCatalogue);

// Declares the classes that catalogues and inventories use, each with the given properties.
void DeclareClass(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target,
                  const std::string& name, const std::vector<std::string>& properties);

// Reads every property that `names` lists of every instance of a class; returns their number.
std::size_t ReadAll(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& source,
                    const std::string& className, const std::vector<std::string>& names);

}  // namespace svc::fuzz
