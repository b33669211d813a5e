#pragma once

#include "system/WindowsApi.h"

// The service control manager. Each function takes and returns what the platform's wide function of its name
// does. Without wide functions there is no service control manager: the functions fail with null or 0 and the
// last error 120 (`ERROR_CALL_NOT_IMPLEMENTED`).

namespace LCommon::System {

SC_HANDLE OpenSCManagerU(LPCWSTR machine, LPCWSTR database, DWORD access);
SC_HANDLE OpenServiceU(SC_HANDLE manager, LPCWSTR name, DWORD access);
SC_HANDLE CreateServiceU(SC_HANDLE manager, LPCWSTR name, LPCWSTR displayName, DWORD access, DWORD type,
                         DWORD start, DWORD errorControl, LPCWSTR binaryPath, LPCWSTR loadOrderGroup,
                         LPDWORD tag, LPCWSTR dependencies, LPCWSTR account, LPCWSTR password);
BOOL QueryServiceConfigU(SC_HANDLE service, LPQUERY_SERVICE_CONFIGW config, DWORD size, LPDWORD needed);
BOOL ChangeServiceConfigU(SC_HANDLE service, DWORD type, DWORD start, DWORD errorControl, LPCWSTR binaryPath,
                          LPCWSTR loadOrderGroup, LPDWORD tag, LPCWSTR dependencies, LPCWSTR account,
                          LPCWSTR password, LPCWSTR displayName);
/// Looked up at run time: fails in the same way where Windows lacks it.
BOOL ChangeServiceConfig2U(SC_HANDLE service, DWORD level, LPVOID information);
BOOL StartServiceU(SC_HANDLE service, DWORD argumentCount, LPCWSTR* arguments);
BOOL StartServiceCtrlDispatcherU(const SERVICE_TABLE_ENTRYW* table);
SERVICE_STATUS_HANDLE RegisterServiceCtrlHandlerU(LPCWSTR name, LPHANDLER_FUNCTION handler);

}  // namespace LCommon::System
