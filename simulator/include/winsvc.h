#pragma once

#include "winnt.h"

DECLARE_HANDLE(SC_HANDLE);
DECLARE_HANDLE(SERVICE_STATUS_HANDLE);

#define SC_MANAGER_CONNECT 0x0001u
#define SC_MANAGER_CREATE_SERVICE 0x0002u
#define SC_MANAGER_ALL_ACCESS 0xF003Fu
#define SERVICE_QUERY_CONFIG 0x0001u
#define SERVICE_CHANGE_CONFIG 0x0002u
#define SERVICE_QUERY_STATUS 0x0004u
#define SERVICE_START 0x0010u
#define SERVICE_STOP 0x0020u
#define SERVICE_PAUSE_CONTINUE 0x0040u
#define SERVICE_INTERROGATE 0x0080u
#define SERVICE_USER_DEFINED_CONTROL 0x0100u
#define SERVICE_ALL_ACCESS 0xF01FFu
#define SERVICE_NO_CHANGE 0xFFFFFFFFu

#define SERVICE_KERNEL_DRIVER 0x01u
#define SERVICE_FILE_SYSTEM_DRIVER 0x02u
#define SERVICE_WIN32_OWN_PROCESS 0x10u
#define SERVICE_WIN32_SHARE_PROCESS 0x20u
#define SERVICE_BOOT_START 0u
#define SERVICE_SYSTEM_START 1u
#define SERVICE_AUTO_START 2u
#define SERVICE_DEMAND_START 3u
#define SERVICE_DISABLED 4u
#define SERVICE_ERROR_IGNORE 0u
#define SERVICE_ERROR_NORMAL 1u
#define SERVICE_ERROR_SEVERE 2u
#define SERVICE_ERROR_CRITICAL 3u

#define SERVICE_STOPPED 1u
#define SERVICE_START_PENDING 2u
#define SERVICE_STOP_PENDING 3u
#define SERVICE_RUNNING 4u
#define SERVICE_ACCEPT_STOP 1u
#define SERVICE_CONTROL_STOP 1u
#define SERVICE_CONTROL_PAUSE 2u
#define SERVICE_CONTROL_CONTINUE 3u
#define SERVICE_CONTROL_INTERROGATE 4u
#define SERVICE_CONFIG_DESCRIPTION 1u

struct SERVICE_STATUS {
  DWORD dwServiceType;
  DWORD dwCurrentState;
  DWORD dwControlsAccepted;
  DWORD dwWin32ExitCode;
  DWORD dwServiceSpecificExitCode;
  DWORD dwCheckPoint;
  DWORD dwWaitHint;
};
using LPSERVICE_STATUS = SERVICE_STATUS*;

struct QUERY_SERVICE_CONFIGW {
  DWORD dwServiceType;
  DWORD dwStartType;
  DWORD dwErrorControl;
  LPWSTR lpBinaryPathName;
  LPWSTR lpLoadOrderGroup;
  DWORD dwTagId;
  LPWSTR lpDependencies;
  LPWSTR lpServiceStartName;
  LPWSTR lpDisplayName;
};
using LPQUERY_SERVICE_CONFIGW = QUERY_SERVICE_CONFIGW*;

struct SERVICE_DESCRIPTIONW {
  LPWSTR lpDescription;
};

using LPSERVICE_MAIN_FUNCTIONW = void(WINAPI*)(DWORD argumentCount, LPWSTR* arguments);
using LPHANDLER_FUNCTION = void(WINAPI*)(DWORD control);

struct SERVICE_TABLE_ENTRYW {
  LPWSTR lpServiceName;
  LPSERVICE_MAIN_FUNCTIONW lpServiceProc;
};

static_assert(sizeof(SERVICE_STATUS) == 28);
static_assert(sizeof(void*) != 8 || sizeof(QUERY_SERVICE_CONFIGW) == 64);

extern "C" {

SC_HANDLE WINAPI OpenSCManagerW(LPCWSTR machine, LPCWSTR database, DWORD access);
SC_HANDLE WINAPI OpenServiceW(SC_HANDLE manager, LPCWSTR name, DWORD access);
SC_HANDLE WINAPI CreateServiceW(SC_HANDLE manager, LPCWSTR name, LPCWSTR displayName, DWORD access,
                                DWORD type, DWORD start, DWORD errorControl, LPCWSTR binaryPath,
                                LPCWSTR loadOrderGroup, LPDWORD tag, LPCWSTR dependencies, LPCWSTR account,
                                LPCWSTR password);
BOOL WINAPI ChangeServiceConfigW(SC_HANDLE service, DWORD type, DWORD start, DWORD errorControl,
                                 LPCWSTR binaryPath, LPCWSTR loadOrderGroup, LPDWORD tag,
                                 LPCWSTR dependencies, LPCWSTR account, LPCWSTR password,
                                 LPCWSTR displayName);
BOOL WINAPI ChangeServiceConfig2W(SC_HANDLE service, DWORD level, LPVOID information);
BOOL WINAPI QueryServiceConfigW(SC_HANDLE service, LPQUERY_SERVICE_CONFIGW config, DWORD size,
                                LPDWORD needed);
BOOL WINAPI QueryServiceStatus(SC_HANDLE service, LPSERVICE_STATUS status);
BOOL WINAPI StartServiceW(SC_HANDLE service, DWORD argumentCount, LPCWSTR* arguments);
BOOL WINAPI ControlService(SC_HANDLE service, DWORD control, LPSERVICE_STATUS status);
BOOL WINAPI DeleteService(SC_HANDLE service);
BOOL WINAPI CloseServiceHandle(SC_HANDLE handle);
BOOL WINAPI StartServiceCtrlDispatcherW(const SERVICE_TABLE_ENTRYW* table);
SERVICE_STATUS_HANDLE WINAPI RegisterServiceCtrlHandlerW(LPCWSTR name, LPHANDLER_FUNCTION handler);
BOOL WINAPI SetServiceStatus(SERVICE_STATUS_HANDLE service, LPSERVICE_STATUS status);

BOOL WINAPI InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision);
BOOL WINAPI SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL acl,
                                      BOOL defaulted);

}  // extern "C"

#define OpenSCManager OpenSCManagerW
#define OpenService OpenServiceW
#define CreateService CreateServiceW
#define ChangeServiceConfig ChangeServiceConfigW
#define ChangeServiceConfig2 ChangeServiceConfig2W
#define QueryServiceConfig QueryServiceConfigW
#define StartService StartServiceW
#define StartServiceCtrlDispatcher StartServiceCtrlDispatcherW
#define RegisterServiceCtrlHandler RegisterServiceCtrlHandlerW
