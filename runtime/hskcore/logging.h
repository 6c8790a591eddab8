// The log as a file of JSON lines.
#pragma once

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>
#include <memory>
#include <string>
#include <string_view>

#include "host/hskcore/export.h"
#include "host/hskcore/root_object.h"

namespace svc {

// Writes one object a line for each entry, {"level":4,"message":"In RunQuery"}, in the order of the
// calls; bytes that are no UTF-8 become U+FFFD. May be used from any thread.
class HSKCORE_API TJsonLogger final : public NQRXHSK20::ILogger {
 public:
  // Is told the first failure to write, once: where and why.
  using TErrorCallback = boost::function<void(const std::string&)>;

  // Writes the entries of the levels 0 to `highestLevel` to a file, which it makes or empties. In
  // the place of another user's link, or of a file with further names, it makes a new one.
  // Throws THSKException (kFailed) when the file cannot be opened.
  static boost::shared_ptr<TJsonLogger> Open(const std::string& path, int highestLevel,
                                             const TErrorCallback& onError);

  // Closes the file; what is still to be written is written.
  ~TJsonLogger() override;
  void Log(int level, std::string_view message) override;
  bool IsLogged(int level) const noexcept override { return level <= highestLevel; }
  // Hands everything to the operating system. False when any entry was lost.
  bool Flush();

 private:
  struct TSink;
  TJsonLogger(std::unique_ptr<TSink> sink, int highestLevel);

  std::unique_ptr<TSink> sink;
  int highestLevel;
};

// A log that keeps nothing. May be used from any thread.

class TNullLogger final : public NQRXHSK20::ILogger {
 public:
  void Log(int, std::string_view) override {}
  bool IsLogged(int) const noexcept override { return false; }
};

// The process's one; never destroyed.
HSKCORE_API NQRXHSK20::ILogger& NullLogger() noexcept;

}  // namespace svc
