#pragma once

#include "foundation/UnicodeString.h"

namespace DriverManagement {

/// Removes the first device of the "LegacyDriver" class whose service is `name`, whatever the letter case; no
/// such device is success. False with the platform's last error when the class or a device cannot be read
/// (also where Windows has no setup functions: error 120) or the device does not go.
bool RemoveLegacyDeviceNode(LUnicodeString name);

}  // namespace DriverManagement
