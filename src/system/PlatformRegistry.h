#pragma once

#include "system/WindowsApi.h"

// The registry by wide names on every Windows. Each function takes and returns what the platform's wide
// function of its name does. Without wide functions text is converted, and an `LMessageException` "Conversion
// error" is thrown when that fails.

namespace LCommon::System {

// Wide only: asserts "0" without wide functions.
LSTATUS RegCreateKeyExU(HKEY key, LPCWSTR name, DWORD reserved, LPWSTR className, DWORD options,
                        REGSAM access, LPSECURITY_ATTRIBUTES security, PHKEY result, LPDWORD disposition);
LSTATUS RegDeleteKeyU(HKEY key, LPCWSTR name);
LSTATUS RegEnumKeyExU(HKEY key, DWORD index, LPWSTR name, LPDWORD nameLength, LPDWORD reserved,
                      LPWSTR className, LPDWORD classLength, PFILETIME lastWrite);
LSTATUS RegDeleteValueU(HKEY key, LPCWSTR name);

// Wide or 8-bit.
LSTATUS RegOpenKeyExU(HKEY key, LPCWSTR name, DWORD options, REGSAM access, PHKEY result);

/// Without wide functions the text of string types (1, 2 and 7) is converted and stored with one more zero
/// byte; other data passes unchanged.
LSTATUS RegSetValueExU(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size);

/// Without wide functions the text of string types is converted; the size answered is that of the wide text,
/// and the answer is 234 (`ERROR_MORE_DATA`), with as much data as there is room for, when it is larger than
/// the room.
LSTATUS RegQueryValueExU(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size);

}  // namespace LCommon::System
