#pragma once

#include "windows.h"

using HDEVINFO = PVOID;
using DI_FUNCTION = UINT;

#define DIF_REMOVE 0x00000005u
#define SPDRP_SERVICE 0x00000004u
#define DIGCF_PRESENT 0x00000002u

struct SP_DEVINFO_DATA {
  DWORD cbSize;
  GUID ClassGuid;
  DWORD DevInst;
  ULONG_PTR Reserved;
};
using PSP_DEVINFO_DATA = SP_DEVINFO_DATA*;

static_assert(sizeof(void*) != 8 || sizeof(SP_DEVINFO_DATA) == 32);

extern "C" {

BOOL WINAPI SetupDiClassGuidsFromNameW(PCWSTR className, LPGUID list, DWORD capacity, PDWORD needed);
HDEVINFO WINAPI SetupDiGetClassDevsW(const GUID* classGuid, PCWSTR enumerator, HWND parent, DWORD flags);
BOOL WINAPI SetupDiEnumDeviceInfo(HDEVINFO set, DWORD index, PSP_DEVINFO_DATA device);
BOOL WINAPI SetupDiGetDeviceRegistryPropertyW(HDEVINFO set, PSP_DEVINFO_DATA device, DWORD property,
                                              PDWORD type, BYTE* buffer, DWORD size, PDWORD needed);
BOOL WINAPI SetupDiCallClassInstaller(DI_FUNCTION function, HDEVINFO set, PSP_DEVINFO_DATA device);
BOOL WINAPI SetupDiDestroyDeviceInfoList(HDEVINFO set);

}  // extern "C"
