#pragma once

#include "drivermanagement/ServiceRegistration.h"

namespace DriverManagement {

/// The entry of a kernel driver that is not Plug and Play. Windows keeps a device node for such a driver,
/// which goes with the entry.
class BaseLegacyDriverRegistration : public BaseServiceRegistration {
 public:
  /// As the base's constructor, for the kernel driver type without an account.
  BaseLegacyDriverRegistration(LUnicodeString name, LUnicodeString displayName, LUnicodeString description,
                               unsigned int startType, unsigned int errorControl, LUnicodeString imagePath,
                               LUnicodeString loadOrderGroup, LUnicodeStringArray dependencies);

  /// The base's result, which a device node that cannot be removed does not change.
  RemoveResult Remove(unsigned int flags) override;
};

}  // namespace DriverManagement
