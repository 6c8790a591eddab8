// The one fake host of the tests: what the host's libraries offer to a plug-in, filled and scripted
// by a test, with every call noted.
//
// The object model, logger, providers and plug-in manager are fakes that stand in the real core
// library's places. The parser, the plug-in manager's and the acquisition library are replaced when
// a test is linked (fake_xmlparser.cpp, fake_plugin_manager.cpp, fake_acquire.cpp) and are driven
// by what stands here. One host at a time; used from one thread.
#pragma once

#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/acquire/download_manager.h"
#include "host/plugin.nsp/plugin_manager.h"
#include "tests/support/call_script.h"
#include "tests/support/fake_cim.h"
#include "tests/support/recording_logger.h"

namespace svc::test {

struct TRecord {
  std::string type;
  std::string name;
  std::string installedVersion;
  std::string catalogueVersion;
  bool operator==(const TRecord& other) const = default;
};
using TRecords = std::vector<TRecord>;
void PrintTo(const TRecord& record, std::ostream* stream);

// A message that a download sends to its callback.
struct TDownloadMessage {
  std::int32_t kind;
  std::string text;
  std::int32_t code;
};

// What the acquisition library is to do, and what it was told.
struct TFakeDownload {
  int result = 0;
  std::vector<TDownloadMessage> messages;
  std::optional<KPLAcquistion::HTTPProxyInfo> proxy;
};

// What a parser puts into the namespace for a document.
using TDocument = std::function<void(TFakeNamespace&)>;

class TFakeHost {
 public:
  // Becomes the process's host.
  TFakeHost();
  ~TFakeHost();
  TFakeHost(const TFakeHost&) = delete;
  TFakeHost& operator=(const TFakeHost&) = delete;

  // REQUIRES: there is a host.
  static TFakeHost& Current();

  // The result records that were committed to the inventory.
  TRecords Records() const;
  // The namespace that the "inmem" provider made last; empty when nobody holds it any more.
  boost::shared_ptr<TFakeNamespace> Catalogue() const { return catalogue.lock(); }

  // First, so that they outlive all that notes its calls in them.
  TCallScript script;
  TRecordingLogger logger;

  // Holds the class of the result records and nothing else.
  boost::shared_ptr<TFakeNamespace> inventory;
  // By text. A document that is not listed fails with status 1.
  std::map<std::string, TDocument> documents;
  // Of the block that the last one was parsed from.
  std::size_t documentBlock = 0;
  // What the definitions file declares.
  TDocument definitions;
  TFakeDownload download;
  boost::weak_ptr<TFakeNamespace> catalogue;
  boost::shared_ptr<NQRXHSK20::TPluginManagerNamespace> pluginManager;
};

}  // namespace svc::test
