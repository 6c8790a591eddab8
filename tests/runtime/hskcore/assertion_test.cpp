#include <gtest/gtest.h>

#include <boost/assert.hpp>
#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <functional>
#include <regex>
#include <string>

#include "host/hskcore/cim.h"
#include "host/hskcore/root_object.h"
#include "runtime/hskcore/host_setup.h"
#include "tests/runtime/hskcore/recording_logger.h"

namespace svc::testing {
namespace {

TEST(EmptyHandle, IsLoggedAsAnErrorAndThrown) {
  const auto logger = boost::make_shared<TRecordingLogger>();
  InstallLogger(logger);
  boost::shared_ptr<NQRXHSK20::ICIMClass> cimClass;
  std::string thrown;
  try {
    NQRXHSK20::TRootObject::GetPluginManager()->GetClass(cimClass, "A", {});
  } catch (const NQRXHSK20::THSKException&) {
    FAIL() << "an outcome, not a defect";
  } catch (const NQRXHSK20::TAssertionFailed& failure) {
    thrown = failure.what();
  }
  InstallLogger({});
  ASSERT_EQ(logger->lines.size(), 1u);
  EXPECT_EQ(logger->lines[0].first, 0);
  EXPECT_EQ(logger->lines[0].second, thrown);
  EXPECT_TRUE(std::regex_match(
      thrown, std::regex(R"(Assertion "px != 0" failed \(shared_ptr\.hpp:[0-9]+\))")))
      << thrown;
}

TEST(Assertion, ThatFailsSaysWhatAndWhere) {
  const auto logger = boost::make_shared<TRecordingLogger>();
  InstallLogger(logger);
  const auto textOf = [](const std::function<void()>& fail) -> std::string {
    try {
      fail();
    } catch (const NQRXHSK20::TAssertionFailed& failure) {
      return failure.what();
    }
    return "nothing was thrown";
  };
  for (const char* path : {"file.cpp", "/a/b/file.cpp", "C:\\a\\file.cpp", "a\\b/file.cpp"}) {
    EXPECT_EQ(textOf([&] { boost::assertion_failed("a == b", "F", path, 12); }),
              "Assertion \"a == b\" failed (file.cpp:12)");
    EXPECT_EQ(textOf([&] { boost::assertion_failed_msg("a == b", "why", "F", path, 0); }),
              "Assertion \"a == b\" failed: why (file.cpp:0)");
  }
  InstallLogger({});
  ASSERT_EQ(logger->lines.size(), 8u);
  for (std::size_t i = 0; i < logger->lines.size(); i += 2) {
    EXPECT_EQ(logger->lines[i].second, "Assertion \"a == b\" failed (file.cpp:12)");
    EXPECT_EQ(logger->lines[i + 1].second, "Assertion \"a == b\" failed: why (file.cpp:0)");
  }
}

}  // namespace
}  // namespace svc::testing
