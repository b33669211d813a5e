#pragma once

#include "system/WindowsApi.h"

// Device installation, from setupapi.dll as it is found at start-up. Each function takes and returns what the
// platform's function of its name does; where that is missing it fails with 0 (`INVALID_HANDLE_VALUE` in
// place of a device information set) and the last error 120 (`ERROR_CALL_NOT_IMPLEMENTED`).

namespace LCommon::System {

BOOL SetupDiClassGuidsFromNameU(PCWSTR className, LPGUID list, DWORD capacity, PDWORD needed);
HDEVINFO SetupDiGetClassDevsU(const GUID* classGuid, PCWSTR enumerator, HWND parent, DWORD flags);
BOOL SetupDiDestroyDeviceInfoListU(HDEVINFO set);
BOOL SetupDiEnumDeviceInfoU(HDEVINFO set, DWORD index, PSP_DEVINFO_DATA device);
BOOL SetupDiGetDeviceRegistryPropertyU(HDEVINFO set, PSP_DEVINFO_DATA device, DWORD property, PDWORD type,
                                       BYTE* buffer, DWORD size, PDWORD needed);
BOOL SetupDiCallClassInstallerU(DI_FUNCTION function, HDEVINFO set, PSP_DEVINFO_DATA device);

}  // namespace LCommon::System
