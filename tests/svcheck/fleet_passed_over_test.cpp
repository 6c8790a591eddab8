// Which update elements need not be seen for the next machine of a kind.
#include "svcheck/fleet/machine_check.h"

#include <gtest/gtest.h>

#include "rules/names.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/hskcore/namespace_writer.h"
#include "svcheck/session/record_origins.h"

namespace svc::fleet {
namespace {

using NQRXHSK20::ECIMType;

constexpr std::string_view kNothing;
constexpr std::string_view kTypes = rules::kUpdateMachineTypes;
constexpr std::string_view kSystems = rules::kUpdateSystems;
constexpr std::string_view kOffer = rules::kUpdateVersion;
constexpr const char* kClass = "Element";

// By number, after a query that read of each element everything up to the property here.
std::vector<bool> PassedOverAfter(const std::vector<std::string_view>& read) {
  const auto catalogue = MakeInMemoryNamespace();
  TNamespaceWriter writer(catalogue);
  writer.BeginClass(kClass, "");
  for (const std::string_view property : {kTypes, kSystems, kOffer})
    writer.WriteNull(property, ECIMType::kString, false);
  writer.Finish();
  for (std::size_t number = 0; number < read.size(); ++number) {
    writer.BeginInstance(kClass);
    writer.Finish();
  }
  TElementReads reads;
  SetReadObserver(catalogue, &reads);
  const auto elements = InstancesOf(catalogue, kClass);
  for (std::size_t number = 0; number < read.size(); ++number) {
    for (const std::string_view property : {kTypes, kSystems, kOffer}) {
      if (read[number].empty()) break;
      boost::shared_ptr<NQRXHSK20::ICIMProperty> handle;
      elements.at(number)->GetProperty(handle, property, {});
      if (property == read[number]) break;
    }
  }
  SetReadObserver(catalogue, nullptr);
  return reads.PassedOver();
}

TEST(PassedOver, AreElementsThatWereNotTakenUpButForOneOfOtherMachinesAndOneOfThisOne) {
  EXPECT_EQ(PassedOverAfter({kOffer, kTypes, kTypes, kSystems, kTypes, kSystems, kOffer, kSystems}),
            (std::vector{false, false, true, false, true, true, false, true}));
}

TEST(PassedOver, IsNeitherTheOnlyOneOfOtherMachinesNorOfThisOneWhereverItStands) {
  const auto none = [](std::size_t count) { return std::vector<bool>(count); };
  EXPECT_EQ(PassedOverAfter({kTypes, kSystems}), none(2));
  EXPECT_EQ(PassedOverAfter({kSystems, kTypes}), none(2));
  EXPECT_EQ(PassedOverAfter({kOffer, kTypes}), none(2));
  EXPECT_EQ(PassedOverAfter({kOffer, kSystems}), none(2));
  EXPECT_EQ(PassedOverAfter({kNothing, kSystems}), none(2)) << "nothing is known of the first one";
  EXPECT_EQ(PassedOverAfter({}), none(0));
}

TEST(PassedOver, IsNoneThatAQueryReadNothingOf) {
  EXPECT_EQ(PassedOverAfter({kTypes, kNothing, kTypes, kNothing, kSystems}),
            (std::vector{false, false, true, false, false}));
}

}  // namespace
}  // namespace svc::fleet
