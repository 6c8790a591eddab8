// One server as a Redfish service tells it: the system, its firmware and its devices.
#ifndef COLLECT_REDFISH_SERVER_H_
#define COLLECT_REDFISH_SERVER_H_

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "collect/cim_xml.h"
#include "collect/firmware_device.h"
#include "collect/redfish/service.h"

namespace svc::collect {

// The source of what is found.
inline constexpr const char* kRedfish = "redfish";

// What all parts of the reading share. `told` are the resources whose firmware the inventory has.
struct TServer {
  TService& service;
  TInventory& inventory;
  bool redact = false;
  TJson system = nullptr;
  std::vector<std::string> otherSystems = {};
  std::vector<TJson> firmware = {};  // The members of the service's firmware inventory.

  struct TTold {
    std::string place;
    std::string version;
    std::string_view words;  // By which texts name it, parted by blanks.
  };
  std::vector<TTold> told = {};
  // Each is compared with each item of the firmware inventory: no server has so many.
  void Tell(TTold one) {
    constexpr std::size_t kMaxTold = 2000;
    if (told.size() < kMaxTold) told.push_back(std::move(one));
  }
};

// Reads the server with an open service: of several systems the one that `id` names by its id or
// place, without one the first that can be read, and says so. Throws TError where there is no such
// system, or the service refuses to tell.
void ReadServer(const std::string& id, TServer& server);

// Its parts. What cannot be read is noted and left out.

// Storage controllers with their drives, network adapters, and trusted platform modules.
void ReadDevices(TServer& server);
// Everything of the firmware inventory that is not told by then, or has ids by which catalogues
// know it.
void ReadFirmwareInventory(TServer& server);

}  // namespace svc::collect

#endif  // COLLECT_REDFISH_SERVER_H_
