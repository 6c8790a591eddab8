// A log that can be looked at.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/hskcore/root_object.h"

namespace svc::testing {

class TRecordingLogger final : public NQRXHSK20::ILogger {
 public:
  void Log(int level, std::string_view message) override { lines.emplace_back(level, message); }
  bool IsLogged(int) const noexcept override { return true; }

  std::vector<std::pair<int, std::string>> lines;
};

}  // namespace svc::testing
