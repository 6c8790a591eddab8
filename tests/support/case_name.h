// Names the cases of a parameterised test by their field `name`.
#ifndef TESTS_SUPPORT_CASE_NAME_H_
#define TESTS_SUPPORT_CASE_NAME_H_

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

#endif  // TESTS_SUPPORT_CASE_NAME_H_
