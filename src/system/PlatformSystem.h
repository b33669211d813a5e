#pragma once

#include "system/WindowsApi.h"

// The rest of the platform's functions with text, by wide text on every Windows. Each function takes and
// returns what the platform's wide function of its name does. Without wide functions text is converted, and
// an `LMessageException` "Conversion error" is thrown when that fails.

namespace LCommon::System {

/// Without wide functions a record of another size than the wide one (276 bytes) or the extended wide one
/// (284 bytes) fails with the last error 87 (`ERROR_INVALID_PARAMETER`).
BOOL GetVersionExU(LPOSVERSIONINFOW version);

HMODULE LoadLibraryU(LPCWSTR name);
HMODULE GetModuleHandleU(LPCWSTR name);

// The room is in units. Without wide functions a text that does not fit may be answered with more room than
// it needs, because the platform counts bytes.
UINT GetSystemDirectoryU(LPWSTR buffer, UINT room);
UINT GetWindowsDirectoryU(LPWSTR buffer, UINT room);
DWORD GetEnvironmentVariableU(LPCWSTR name, LPWSTR buffer, DWORD room);

BOOL CreateProcessU(LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES process,
                    LPSECURITY_ATTRIBUTES thread, BOOL inheritHandles, DWORD flags, LPVOID environment,
                    LPCWSTR directory, LPSTARTUPINFOW startup, LPPROCESS_INFORMATION information);
HANDLE CreateMutexU(LPSECURITY_ATTRIBUTES security, BOOL initialOwner, LPCWSTR name);
int MessageBoxU(HWND owner, LPCWSTR text, LPCWSTR caption, UINT type);

}  // namespace LCommon::System
