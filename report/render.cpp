#include "report/render.h"

#include <algorithm>

namespace svc::report {

const TFormat* FormatOfName(std::string_view name) noexcept {
  const auto found = std::find_if(kFormats.begin(), kFormats.end(),
                                  [&](const TFormat& format) { return format.name == name; });
  return found == kFormats.end() ? nullptr : &*found;
}

}  // namespace svc::report
