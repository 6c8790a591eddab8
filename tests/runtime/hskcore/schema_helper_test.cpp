#include "host/hskcore/schema_helper.h"

#include <gtest/gtest.h>

#include "tests/runtime/hskcore/cim_reading.h"

namespace svc::testing {
namespace {

using NQRXHSK20::TCIMSchemaHelper;

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

TEST_F(MachineType, IsAnErrorWhereThereIsNone) {
  EXPECT_EQ(StatusOf([&] { TCIMSchemaHelper::GetMachineType(inventory); }),
            THSKStatusCode::kClassNotFound);
  Declare(inventory, "QRXSG_ComputerSystem");
  EXPECT_EQ(StatusOf([&] { TCIMSchemaHelper::GetMachineType(inventory); }),
            THSKStatusCode::kFailed);
  Add(inventory, "QRXSG_ComputerSystem", "MachineType", "");
  EXPECT_EQ(StatusOf([&] { TCIMSchemaHelper::GetMachineType(inventory); }),
            THSKStatusCode::kFailed);
}

}  // namespace
}  // namespace svc::testing
