// Devices that answer the collector as a test says: calls of the kernel that only real ones would
// answer end here. A request that a device would not take is refused as the kernel refuses it.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace svc::collect {

struct TScript {
  // The management controller: what it answers to Get Device ID, or the error of each step.
  std::string deviceId;
  int errorOfSending = 0;
  int errorOfReceiving = 0;
  bool isSilent = false;

  // A network device: the running versions that its driver tells by devlink, whether the kernel
  // knows devlink, and what ends an answer in place of the rest of it (0 or -1, as of recvfrom).
  std::vector<std::pair<std::string, std::string>> running;
  bool hasDevlink = true;
  std::optional<int> end;
  // What its driver tells by ethtool; none where it is not asked for "eth0".
  std::string ethtool;

  // A RAID controller behind SCSI host 3, and the status that it answers with.
  std::string product;
  std::string package;
  int statusOfRaid = 0;
  int errorOfRaid = 0;
  // The one number under which a device's node can be made, and whether it can be opened then.
  unsigned major = 0;
  bool isNodeOpen = true;
};

// Holds for this process, and for those that it starts, until the devices are the machine's again.
void SetScript(const TScript& script);
void EndScript();

}  // namespace svc::collect
