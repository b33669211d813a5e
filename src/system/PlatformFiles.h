#pragma once

#include "system/WindowsApi.h"

// Files, devices and file mappings by wide names on every Windows. Each function takes and returns what the
// platform's wide function of its name does. Without wide functions text is converted, an `LMessageException`
// "Conversion error" is thrown when that fails, and what does not exist there behaves as said below.

namespace LCommon::System {

// Wide only: asserts "0" without wide functions.
DWORD GetFullPathNameU(LPCWSTR name, DWORD room, LPWSTR buffer, LPWSTR* filePart);
DWORD QueryDosDeviceU(LPCWSTR device, LPWSTR buffer, DWORD room);
UINT GetDriveTypeU(LPCWSTR root);

// Looked up at run time: without the function, and `MoveFileExU` also without wide functions, 0 with the last
// error 120 (`ERROR_CALL_NOT_IMPLEMENTED`).
BOOL MoveFileExU(LPCWSTR source, LPCWSTR target, DWORD flags);
BOOL GetVolumePathNameU(LPCWSTR name, LPWSTR buffer, DWORD room);

// Wide or 8-bit.
HANDLE CreateFileU(LPCWSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security, DWORD disposition,
                   DWORD flagsAndAttributes, HANDLE templateFile);
HANDLE FindFirstFileU(LPCWSTR name, LPWIN32_FIND_DATAW data);
DWORD GetFileAttributesU(LPCWSTR name);
BOOL SetFileAttributesU(LPCWSTR name, DWORD attributes);
BOOL DeleteFileU(LPCWSTR name);
HANDLE CreateFileMappingU(HANDLE file, LPSECURITY_ATTRIBUTES security, DWORD protection, DWORD sizeHigh,
                          DWORD sizeLow, LPCWSTR name);

}  // namespace LCommon::System
