#include "host/hskcore/root_object.h"

#include <gtest/gtest.h>

#include "host/hskcore/schema_helper.h"
#include "tests/runtime/hskcore/cim_reading.h"

namespace svc::testing {
namespace {

using NQRXHSK20::CIMContext;
using NQRXHSK20::TCIMSchemaHelper;
using NQRXHSK20::TInstanceCallback;

class MachineType : public ::testing::Test {
 protected:
  TNamespaceHandle inventory = MakeInMemoryNamespace();
};

TEST_F(MachineType, IsTheFirstThatIsNotEmpty) {
  Declare(inventory, "QRXSG_ComputerSystem");
  Declare(inventory, "Server", "QRXSG_ComputerSystem");
  Add(inventory, "QRXSG_ComputerSystem", "Model", "x");
  Add(inventory, "Server", "MachineType", "");
  Add(inventory, "Server", "machinetype", "4620");
  Add(inventory, "QRXSG_ComputerSystem", "MachineType", "8853");
  EXPECT_EQ(TCIMSchemaHelper::GetMachineType(inventory), "4620");
}

TEST_F(MachineType, MayBeANumber) {
  Declare(inventory, "QRXSG_ComputerSystem");
  TNamespaceWriter writer(inventory);
  writer.BeginInstance("QRXSG_ComputerSystem");
  writer.WriteValue("MachineType", ECIMType::kUint16, "4620");
  writer.Finish();
  EXPECT_EQ(TCIMSchemaHelper::GetMachineType(inventory), "4620");
}

TEST_F(MachineType, IsAnErrorWhereThereIsNone) {
  EXPECT_EQ(StatusOf([&] { TCIMSchemaHelper::GetMachineType(inventory); }),
            THSKStatusCode::kClassNotFound);
  Declare(inventory, "QRXSG_ComputerSystem");
  EXPECT_EQ(StatusOf([&] { TCIMSchemaHelper::GetMachineType(inventory); }),
            THSKStatusCode::kFailed);
  Add(inventory, "QRXSG_ComputerSystem", "MachineType", "");
  EXPECT_EQ(CauseOf([&] { TCIMSchemaHelper::GetMachineType(inventory); }),
            "The inventory names no machine type: no instance of \"QRXSG_ComputerSystem\" has a "
            "\"MachineType\"");
}

// A namespace of another host: one instance, of which no property can be read.
struct TUnreadable : ICIMNamespace, ICIMClass, ICIMInstance {
  explicit TUnreadable(THSKStatusCode status) : status(status) {}
  void GetClass(TClassHandle& found, std::string_view, const CIMContext&) override {
    found = TClassHandle(new TUnreadable(status));
  }
  void CreateInstance(TInstanceHandle&, const CIMContext&) override {}
  void EnumerateInstances(const TInstanceCallback& callback, bool, const CIMContext&) override {
    callback(TInstanceHandle(new TUnreadable(status)));
  }
  void Commit(const CIMContext&) override {}
  void GetProperty(TPropertyHandle&, std::string_view, const CIMContext&) const override {
    throw THSKException("not to be read", status);
  }
  void SetPropertyValue(std::string_view, const TCIMValue&, const CIMContext&) override {}

  THSKStatusCode status;
};

TEST(MachineTypeThatCannotBeRead, IsNoneAndOtherFailuresPass) {
  const auto cause = [](THSKStatusCode status) {
    const TNamespaceHandle foreign(static_cast<ICIMNamespace*>(new TUnreadable(status)));
    try {
      TCIMSchemaHelper::GetMachineType(foreign);
    } catch (const THSKException& error) {
      return std::pair(error.GetStatusCode(), error.GetMessageText());
    }
    return std::pair(THSKStatusCode{}, std::string());
  };
  EXPECT_EQ(cause(THSKStatusCode::kFileUnreadable),
            std::pair(THSKStatusCode::kFileUnreadable, std::string("not to be read")));
  EXPECT_EQ(cause(THSKStatusCode::kNoSuchProperty),
            std::pair(THSKStatusCode::kFailed,
                      std::string("The inventory names no machine type: no instance of "
                                  "\"QRXSG_ComputerSystem\" has a \"MachineType\"")));
}

}  // namespace
}  // namespace svc::testing
