// Names the cases of a parameterised test by their field `name`.
#pragma once

#include <gtest/gtest.h>

#include <string>

namespace svc::test {

struct TCaseName {
  template <typename TCase>
  std::string operator()(const testing::TestParamInfo<TCase>& info) const {
    return std::string(info.param.name);
  }
};

}  // namespace svc::test
