#pragma once

#include "drivermanagement/BaseObject.h"
#include "foundation/Exception.h"

namespace DriverManagement {

// What drivers and services have in common: they consist of components and can run. `object` is the driver or
// service itself, whose `Activate` or `Deactivate` is called, `components` what it consists of. A result
// outside its enumeration is the assertion "Unreachable point" reported from `location`.

/// Installs the components and then, with `flags` other than 0, activates the object, unless a restart is due
/// first. A start that has to wait turns the result into its reboot form, and activation work turns
/// `installUpToDate` into `installUpdated`.
BaseObject::InstallResult InstallAndActivate(BaseObject& object, BaseObject& components, unsigned int flags,
                                             LLocation location);

/// With `flags` other than 0 deactivates the object, and then removes the components.
BaseObject::RemoveResult DeactivateAndRemove(BaseObject& object, BaseObject& components, unsigned int flags,
                                             LLocation location);

}  // namespace DriverManagement
