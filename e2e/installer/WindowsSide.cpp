#include "WindowsSide.h"

#include <sddl.h>
#include <setupapi.h>

#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string>

#include "components/RemovalService.h"

namespace {

using DriverManagement::Gen4::WinNT::kvdel01::DisplayName;
using DriverManagement::Gen4::WinNT::kvdel01::ServiceName;

const std::wstring ServicesKey = L"System\\CurrentControlSet\\Services\\";

void Demand(bool succeeded, const char* what, DWORD error = GetLastError()) {
  if (succeeded) return;
  std::printf("failed: %s, error %lu\n", what, error);
  std::exit(1);
}

void DemandSuccess(DWORD error) {
  Demand(error == ERROR_SUCCESS, "a change", error);
}

HKEY OpenKey(const std::wstring& path, REGSAM access) {
  HKEY key = nullptr;
  SetLastError(static_cast<DWORD>(RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, access, &key)));
  return key;
}

// Null when there is no such service.
SC_HANDLE Open(const wchar_t* name, DWORD access) {
  static const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
  const SC_HANDLE service = OpenServiceW(manager, name, access);
  Demand(service != nullptr || GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST, "OpenService");
  return service;
}

// Null leaves the image path as it is.
DWORD SetImagePath(SC_HANDLE service, const wchar_t* path) {
  constexpr DWORD same = SERVICE_NO_CHANGE;
  const BOOL changed = ChangeServiceConfigW(service, same, same, same, path, nullptr, nullptr, nullptr,
                                            nullptr, nullptr, nullptr);
  const DWORD error = changed ? ERROR_SUCCESS : GetLastError();
  CloseServiceHandle(service);
  return error;
}

bool IsMarkedForDeletion(const wchar_t* name) {
  const SC_HANDLE service = Open(name, SERVICE_CHANGE_CONFIG);
  const DWORD error = service == nullptr ? ERROR_SUCCESS : SetImagePath(service, nullptr);
  // An entry that may not be written (see DenyWriting) does not tell, and counts as not marked.
  Demand(error == ERROR_SUCCESS || error == ERROR_SERVICE_MARKED_FOR_DELETE || error == ERROR_ACCESS_DENIED,
         "ChangeServiceConfig", error);
  return error == ERROR_SERVICE_MARKED_FOR_DELETE;
}

// False when there is no such service (any more).
bool QueryRemovalService(SERVICE_STATUS_PROCESS& status) {
  const SC_HANDLE service = Open(ServiceName, SERVICE_QUERY_STATUS);
  if (service == nullptr) return false;
  DWORD size = 0;
  const bool queried = QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status),
                                            sizeof status, &size) != FALSE;
  Demand(queried || GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST, "QueryServiceStatusEx");
  CloseServiceHandle(service);
  return queried;
}

DWORD RemovalServiceProcess() {
  SERVICE_STATUS_PROCESS status = {};
  Demand(QueryRemovalService(status) && status.dwProcessId != 0, "the service does not run");
  return status.dwProcessId;
}

}  // namespace

void Say(const char* what, const wchar_t* detail) {
  std::printf(*detail != 0 ? "%s %ls\n" : "%s\n", what, detail);
  std::fflush(stdout);
}

void MakeDeviceNode(const wchar_t* driver) {
  static constexpr GUID legacyClass = {
      0x8ECC055D, 0x047F, 0x11D1, {0xA5, 0x37, 0x00, 0x00, 0xF8, 0x75, 0x3E, 0xD1}};
  std::wstring id = std::wstring(L"ROOT\\LEGACY_") + driver + L"\\0000";
  CharUpperW(id.data());
  const HDEVINFO set = SetupDiCreateDeviceInfoList(&legacyClass, nullptr);
  SP_DEVINFO_DATA device = {};
  device.cbSize = sizeof device;
  Demand(SetupDiCreateDeviceInfoW(set, id.c_str(), &legacyClass, nullptr, nullptr, 0, &device),
         "SetupDiCreateDeviceInfo");
  const std::wstring service = driver;
  Demand(SetupDiSetDeviceRegistryPropertyW(set, &device, SPDRP_SERVICE,
                                           reinterpret_cast<const BYTE*>(service.c_str()),
                                           static_cast<DWORD>((service.size() + 1) * sizeof(wchar_t))),
         "SetupDiSetDeviceRegistryProperty");
  Demand(SetupDiRegisterDeviceInfo(set, &device, 0, nullptr, nullptr, nullptr), "SetupDiRegisterDeviceInfo");
  SetupDiDestroyDeviceInfoList(set);
  Say("made", id.c_str());
}

void NameImageForWine(const wchar_t* driver) {
  const std::wstring path = std::wstring(L"\\SystemRoot\\system32\\drivers\\") + driver + L".sys";
  DemandSuccess(SetImagePath(Open(driver, SERVICE_CHANGE_CONFIG), path.c_str()));
}

void PrintMarkedForDeletion() {
  for (const wchar_t* const name :
       {L"kvlnk03", L"kvlnk04", L"kvvol02", L"kvaux02", L"kvenv01", L"kvenv01a", L"kvdel01"}) {
    if (IsMarkedForDeletion(name)) Say("marked", name);
  }
}

void DenyWriting(const wchar_t* driver) {
  PSECURITY_DESCRIPTOR readOnly = nullptr;
  Demand(ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:P(A;;KR;;;WD)", SDDL_REVISION_1, &readOnly,
                                                              nullptr),
         "ConvertStringSecurityDescriptorToSecurityDescriptor");
  for (const std::wstring& path : {ServicesKey + driver, ServicesKey + driver + L"\\LifeTime"}) {
    RegSetKeySecurity(OpenKey(path, KEY_ALL_ACCESS), DACL_SECURITY_INFORMATION, readOnly);
    OpenKey(path, KEY_ALL_ACCESS);
    std::printf("access %lu\n", GetLastError());
  }
}

void StartRemovalService() {
  Demand(StartServiceW(Open(ServiceName, SERVICE_START), 0, nullptr), "StartService");
  Say("started");
}

void KillRemovalService() {
  const HANDLE process = OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, RemovalServiceProcess());
  Demand(TerminateProcess(process, 1), "TerminateProcess");
  Demand(WaitForSingleObject(process, INFINITE) == WAIT_OBJECT_0, "WaitForSingleObject");
  Say("killed");
}

HeldRemovalService::HeldRemovalService(const wchar_t* driver)
    : m_process(OpenProcess(PROCESS_ALL_ACCESS, FALSE, RemovalServiceProcess())),
      m_held(CreateEventW(nullptr, TRUE, FALSE, L"Global\\KvLabHeld")) {
  DemandSuccess(RegSetKeyValueW(HKEY_LOCAL_MACHINE, L"Software\\KvLab", L"HoldAt", REG_SZ, driver,
                                static_cast<DWORD>((std::wcslen(driver) + 1) * sizeof *driver)));
  static constexpr wchar_t library[] = L"C:\\lab\\labhold.dll";
  void* const name = VirtualAllocEx(m_process, nullptr, sizeof library, MEM_COMMIT, PAGE_READWRITE);
  Demand(WriteProcessMemory(m_process, name, library, sizeof library, nullptr), "WriteProcessMemory");
  const FARPROC load = GetProcAddress(GetModuleHandleW(L"kernel32"), "LoadLibraryW");
  const HANDLE thread = CreateRemoteThread(
      m_process, nullptr, 0, reinterpret_cast<LPTHREAD_START_ROUTINE>(reinterpret_cast<void*>(load)), name, 0,
      nullptr);
  DWORD loaded = 0;
  Demand(WaitForSingleObject(thread, INFINITE) == WAIT_OBJECT_0 && GetExitCodeThread(thread, &loaded) &&
             loaded != 0,
         "LoadLibrary in the service");
}

void HeldRemovalService::Kill() {
  const HANDLE ends[] = {m_held, m_process};
  Demand(WaitForMultipleObjects(2, ends, FALSE, INFINITE) == WAIT_OBJECT_0,
         "the service ended before it came to this driver");
  KillRemovalService();
}

void PrintRemovalServiceState(bool atTheEnd) {
  SERVICE_STATUS_PROCESS status = {};
  while (QueryRemovalService(status)) {
    const bool hasRun = status.dwWin32ExitCode != ERROR_SERVICE_NEVER_STARTED;
    // One that has deleted itself goes a little after it has stopped.
    if (!atTheEnd ||
        (status.dwCurrentState == SERVICE_STOPPED && hasRun && !IsMarkedForDeletion(ServiceName))) {
      std::printf("state %lu exit code %lu\n", status.dwCurrentState, status.dwWin32ExitCode);
      return;
    }
    Sleep(20);
  }
  Say("gone");
}

void AnswerMessageBox() {
  HWND box = nullptr;
  while ((box = FindWindowW(nullptr, DisplayName)) == nullptr)
    Sleep(20);
  HWND text = nullptr;
  wchar_t content[1024] = L"";
  while (content[0] == 0) {  // the box is there before its text is
    text = FindWindowExW(box, text, L"Static", nullptr);
    if (text != nullptr) SendMessageW(text, WM_GETTEXT, 1024, reinterpret_cast<LPARAM>(content));
  }
  Say("caption", DisplayName);
  Say("text", content);
  std::getchar();
  Demand(PostMessageW(box, WM_CLOSE, 0, 0), "PostMessage");
}
