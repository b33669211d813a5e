#include "drivermanagement/LegacyDriverRegistration.h"

#include "drivermanagement/LegacyDeviceNode.h"
#include "system/WindowsApi.h"

namespace DriverManagement {

BaseLegacyDriverRegistration::BaseLegacyDriverRegistration(LUnicodeString name, LUnicodeString displayName,
                                                           LUnicodeString description, unsigned int startType,
                                                           unsigned int errorControl,
                                                           LUnicodeString imagePath,
                                                           LUnicodeString loadOrderGroup,
                                                           LUnicodeStringArray dependencies)
    : BaseServiceRegistration(name, displayName, description, SERVICE_KERNEL_DRIVER, startType, errorControl,
                              imagePath, loadOrderGroup, dependencies, LUnicodeString(), LUnicodeString()) {}

BaseObject::RemoveResult BaseLegacyDriverRegistration::Remove(unsigned int flags) {
  const RemoveResult result = BaseServiceRegistration::Remove(flags);
  RemoveLegacyDeviceNode(m_name);
  return result;
}

}  // namespace DriverManagement
