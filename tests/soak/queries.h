// Whole queries on the open host: the real plug-in, the sample server, its catalogue.
#pragma once

#include <boost/shared_ptr.hpp>
#include <filesystem>
#include <string>
#include <vector>

#include "host/plugin.nsp/plugin_manager.h"

namespace svc::test {

// The host with its plug-in. RunQuery may be called from several threads at once.
class TQueries {
 public:
  // Enters the data folder, for as long as it lives.
  TQueries();
  ~TQueries();
  TQueries(const TQueries&) = delete;
  TQueries& operator=(const TQueries&) = delete;

  // Runs a query on a namespace of its own; gives its records, each as one text.
  std::vector<std::string> RunQuery() const;

 private:
  std::filesystem::path before;
  boost::shared_ptr<NQRXHSK20::TPluginManagerNamespace> manager;
  NQRXHSK20::IPluginAdvancedQueryCallbacks* query = nullptr;
};

}  // namespace svc::test
