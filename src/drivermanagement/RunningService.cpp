#include "drivermanagement/RunningService.h"

#include "drivermanagement/BaseObject.h"
#include "system/ServiceControl.h"
#include "system/WindowsApi.h"

namespace DriverManagement {

using ServiceManager = LCommon::System::ServiceControl::Manager;
using LCommon::System::ServiceControl::Service;

void StartByName(LUnicodeString name) {
  const auto service = Service::Open(ServiceManager::Open(SC_MANAGER_CONNECT), name, SERVICE_START);
  try {
    service->Start();
  } catch (const Service::AlreadyRunningException&) {
    // It runs, which is what was asked.
  }
}

void StopByName(LUnicodeString name, LLocation location) {
  const auto service = Service::Open(ServiceManager::Open(SC_MANAGER_CONNECT), name, SERVICE_STOP);
  try {
    if (service->Stop()->currentState == SERVICE_STOP_PENDING) {
      throw BaseObject::UsageConflictException(location);
    }
  } catch (const Service::NotRunningException&) {
    // It does not run, which is what was asked.
  }
}

}  // namespace DriverManagement
