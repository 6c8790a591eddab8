// The devices that the client of public firmware services, fwupd, knows of a machine: it talks to
// many kinds that nothing else reads. Pure; any thread.
#ifndef COLLECT_CLIENT_DEVICES_H_
#define COLLECT_CLIENT_DEVICES_H_

#include <cstddef>
#include <string_view>
#include <vector>

#include "collect/firmware_device.h"

namespace svc::collect {

// What is taken: far more than any machine has.
inline constexpr std::size_t kMostClientBytes = 4U << 20U;
inline constexpr std::size_t kMostClientDevices = 4096;
inline constexpr std::size_t kMostClientItems = 256;  // Of one list of a device.

// The devices of what `fwupdmgr get-devices --json` prints, in its order; those without an
// identifier are left out, for no catalogue can offer them anything. What a device does not tell,
// or tells in another form than it should, is empty. Throws TError for what is no such answer, for
// more than is taken, and with the client's own words where that answers that it failed.
std::vector<TFirmwareDevice> ReadClientDevices(std::string_view json);

}  // namespace svc::collect

#endif  // COLLECT_CLIENT_DEVICES_H_
