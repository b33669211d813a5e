#include "system/PlatformServices.h"

#include "system/PlatformCall.h"

namespace LCommon::System {

SC_HANDLE OpenSCManagerU(LPCWSTR machine, LPCWSTR database, DWORD access) {
  return WideOrFailure(SC_HANDLE(), OpenSCManagerW, machine, database, access);
}

SC_HANDLE OpenServiceU(SC_HANDLE manager, LPCWSTR name, DWORD access) {
  return WideOrFailure(SC_HANDLE(), OpenServiceW, manager, name, access);
}

SC_HANDLE CreateServiceU(SC_HANDLE manager, LPCWSTR name, LPCWSTR displayName, DWORD access, DWORD type,
                         DWORD start, DWORD errorControl, LPCWSTR binaryPath, LPCWSTR loadOrderGroup,
                         LPDWORD tag, LPCWSTR dependencies, LPCWSTR account, LPCWSTR password) {
  return WideOrFailure(SC_HANDLE(), CreateServiceW, manager, name, displayName, access, type, start,
                       errorControl, binaryPath, loadOrderGroup, tag, dependencies, account, password);
}

BOOL QueryServiceConfigU(SC_HANDLE service, LPQUERY_SERVICE_CONFIGW config, DWORD size, LPDWORD needed) {
  return WideOrFailure(FALSE, QueryServiceConfigW, service, config, size, needed);
}

BOOL ChangeServiceConfigU(SC_HANDLE service, DWORD type, DWORD start, DWORD errorControl, LPCWSTR binaryPath,
                          LPCWSTR loadOrderGroup, LPDWORD tag, LPCWSTR dependencies, LPCWSTR account,
                          LPCWSTR password, LPCWSTR displayName) {
  return WideOrFailure(FALSE, ChangeServiceConfigW, service, type, start, errorControl, binaryPath,
                       loadOrderGroup, tag, dependencies, account, password, displayName);
}

BOOL ChangeServiceConfig2U(SC_HANDLE service, DWORD level, LPVOID information) {
  const auto function = Platform().functions.changeServiceConfig2;
  return CallIf(Platform().unicode && function, FALSE, function, service, level, information);
}

BOOL StartServiceU(SC_HANDLE service, DWORD argumentCount, LPCWSTR* arguments) {
  return WideOrFailure(FALSE, StartServiceW, service, argumentCount, arguments);
}

BOOL StartServiceCtrlDispatcherU(const SERVICE_TABLE_ENTRYW* table) {
  return WideOrFailure(FALSE, StartServiceCtrlDispatcherW, table);
}

SERVICE_STATUS_HANDLE RegisterServiceCtrlHandlerU(LPCWSTR name, LPHANDLER_FUNCTION handler) {
  return WideOrFailure(SERVICE_STATUS_HANDLE(), RegisterServiceCtrlHandlerW, name, handler);
}

}  // namespace LCommon::System
