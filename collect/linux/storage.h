// What a MegaRAID SAS controller tells of itself.
#ifndef COLLECT_LINUX_STORAGE_H_
#define COLLECT_LINUX_STORAGE_H_

#include <optional>
#include <string>
#include <string_view>

#include "collect/linux/tree.h"

namespace svc::collect {

struct TRaidController {
  std::string product;
  std::string package;  // the version of its firmware package
};

// From the answer to MR_DCMD_CTRL_GET_INFO (struct megasas_ctrl_info in Linux, drivers/scsi/
// megaraid/megaraid_sas.h); nothing when it is too short.
std::optional<TRaidController> ParseControllerInfo(std::string_view info);

// Asks the controller behind SCSI host number `host` of this machine through the driver's control
// device. Where it gives none, `problem` says why.
std::optional<TRaidController> AskRaidController(const TTree& tree, unsigned host,
                                                 std::string& problem);

}  // namespace svc::collect

#endif  // COLLECT_LINUX_STORAGE_H_
