#pragma once

#include "windef.h"

#define VS_FF_DEBUG 0x01u
#define VS_FF_PRIVATEBUILD 0x08u
#define VS_FF_SPECIALBUILD 0x20u

struct VS_FIXEDFILEINFO {
  DWORD dwSignature;
  DWORD dwStrucVersion;
  DWORD dwFileVersionMS;
  DWORD dwFileVersionLS;
  DWORD dwProductVersionMS;
  DWORD dwProductVersionLS;
  DWORD dwFileFlagsMask;
  DWORD dwFileFlags;
  DWORD dwFileOS;
  DWORD dwFileType;
  DWORD dwFileSubtype;
  DWORD dwFileDateMS;
  DWORD dwFileDateLS;
};

static_assert(sizeof(VS_FIXEDFILEINFO) == 52);

extern "C" {

DWORD WINAPI GetFileVersionInfoSizeA(LPCSTR file, LPDWORD handle);
BOOL WINAPI GetFileVersionInfoA(LPCSTR file, DWORD handle, DWORD size, LPVOID data);
BOOL WINAPI VerQueryValueA(LPCVOID block, LPCSTR subBlock, LPVOID* value, PUINT length);

}  // extern "C"
