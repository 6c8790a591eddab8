// What a trusted platform module answers. Pure; any thread.
#ifndef COLLECT_LINUX_PLATFORM_FIRMWARE_H_
#define COLLECT_LINUX_PLATFORM_FIRMWARE_H_

#include <optional>
#include <string_view>

#include "collect/firmware_device.h"

namespace svc::collect {

// From the answer to TPM2_GetCapability for its properties (TCG, TPM 2.0 Library, Part 3); nothing
// where that is an error or cut short.
std::optional<TFirmwareDevice> ParseTpm2Properties(std::string_view answer);

// From the file "caps" of a TPM 1.2 (Linux, Documentation/ABI/stable/sysfs-class-tpm); nothing
// where it tells no firmware version.
std::optional<TFirmwareDevice> ParseTpm1Capabilities(std::string_view text);

}  // namespace svc::collect

#endif  // COLLECT_LINUX_PLATFORM_FIRMWARE_H_
