#include <gtest/gtest.h>

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <string>

#include "host/hskcore/cim.h"
#include "host/hskcore/root_object.h"
#include "runtime/hskcore/host_setup.h"
#include "tests/runtime_hskcore/recording_logger.h"

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
  EXPECT_NE(thrown.find("px != 0"), std::string::npos);
}

}  // namespace
}  // namespace svc::testing
