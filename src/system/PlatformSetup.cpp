#include "system/PlatformSetup.h"

#include "system/PlatformCall.h"

namespace LCommon::System {

BOOL SetupDiClassGuidsFromNameU(PCWSTR className, LPGUID list, DWORD capacity, PDWORD needed) {
  return LoadedOrFailure(FALSE, Platform().functions.setupDiClassGuidsFromName, className, list, capacity,
                         needed);
}

HDEVINFO SetupDiGetClassDevsU(const GUID* classGuid, PCWSTR enumerator, HWND parent, DWORD flags) {
  return LoadedOrFailure(static_cast<HDEVINFO>(INVALID_HANDLE_VALUE),
                         Platform().functions.setupDiGetClassDevs, classGuid, enumerator, parent, flags);
}

BOOL SetupDiDestroyDeviceInfoListU(HDEVINFO set) {
  return LoadedOrFailure(FALSE, Platform().functions.setupDiDestroyDeviceInfoList, set);
}

BOOL SetupDiEnumDeviceInfoU(HDEVINFO set, DWORD index, PSP_DEVINFO_DATA device) {
  return LoadedOrFailure(FALSE, Platform().functions.setupDiEnumDeviceInfo, set, index, device);
}

BOOL SetupDiGetDeviceRegistryPropertyU(HDEVINFO set, PSP_DEVINFO_DATA device, DWORD property, PDWORD type,
                                       BYTE* buffer, DWORD size, PDWORD needed) {
  return LoadedOrFailure(FALSE, Platform().functions.setupDiGetDeviceRegistryProperty, set, device, property,
                         type, buffer, size, needed);
}

BOOL SetupDiCallClassInstallerU(DI_FUNCTION function, HDEVINFO set, PSP_DEVINFO_DATA device) {
  return LoadedOrFailure(FALSE, Platform().functions.setupDiCallClassInstaller, function, set, device);
}

}  // namespace LCommon::System
