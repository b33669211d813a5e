#pragma once

#include <cstdint>

#include "drivermanagement/VersionFacts.h"
#include "foundation/PtrRef.h"
#include "foundation/UnicodeString.h"
#include "system/File.h"

namespace DriverManagement {

// Talking to a loaded driver through its device. `device` is the device's path ("\\.\name"). Failures not
// named pass as `LCommon::System::File` exceptions.

/// Opens the device for reading, shared with everybody; `File::NotFoundException` when no driver provides it.
LPtrRef<LCommon::System::File> OpenDevice(LUnicodeString device);

/// Does a loaded driver provide the device?
bool IsDeviceExist(LUnicodeString device);

/// Asks the loaded driver what it is and tells whether it meets the expectation: the same build type, no
/// lower version, the same target OS. What the driver does not tell, and `buildUnknown` or
/// `UnspecifiedVersion` as expectation, speaks against nothing. False when no driver provides the device.
bool IsDriverStateUpToDate(LUnicodeString device, unsigned int controlCode, BuildType expectedBuild,
                           std::uint64_t expectedVersion, std::uint64_t expectedTargetOs);

}  // namespace DriverManagement
